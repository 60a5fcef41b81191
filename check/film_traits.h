#pragma once

#include "check/finding.h"
#include "sources/film_file.h"

namespace quarrypack::check {

// Notes what the tables of a movie say that a conversion does not keep or cannot use. Reads no
// samples. Throws what reading the movie throws.
void noteTraits(sources::FilmFile& film, Findings& findings);

}  // namespace quarrypack::check
