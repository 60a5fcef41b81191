#pragma once

#include <vector>

#include "kav/movie.h"

namespace quarrypack::sources {

// The complete boxes in a container without fields of its own, which must lie in the file. Reads
// only their headers, so a movie box with large tables is not read as a whole. The list ends at a
// box whose size is smaller than its header or larger than the rest of the container. Throws what
// Movie::readAt throws.
std::vector<norvik::kav::BoxPlace> childBoxes(norvik::kav::Movie& movie,
                                              const norvik::kav::BoxPlace& container);

}  // namespace quarrypack::sources
