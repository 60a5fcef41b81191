#pragma once

#include "check/finding.h"
#include "sources/film_file.h"

namespace quarrypack::check {

// Notes what a conversion would not keep of a movie, or could not use, as far as its boxes show
// that. Reads no samples. Throws what reading the movie throws.
void noteTraits(sources::FilmFile& film, Findings& findings);

}  // namespace quarrypack::check
