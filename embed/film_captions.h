#pragma once

#include <cstdint>
#include <vector>

#include "embed/film.h"
#include "embed/offset_map.h"

namespace quarrypack::embed {

// The ids of the caption tracks.
std::vector<std::uint32_t> captionTrackIds(const Film& film);

// The bytes that no track but caption tracks uses, at ascending offsets. Throws what
// Film::forEachRange throws.
std::vector<Splice> captionBytes(Film& film);

}  // namespace quarrypack::embed
