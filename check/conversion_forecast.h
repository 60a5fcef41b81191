#pragma once

#include <vector>

#include "check/finding.h"
#include "check/report.h"
#include "sources/film_file.h"

namespace quarrypack::check {

// Runs the conversion of a movie without writing it, and notes what it would do. Returns the
// samples that it would damage, by track. Reads the caption samples, and the first bytes of
// pictures. For a movie without a caption track, it notes only that there is nothing to convert.
// Throws what reading the tables of the movie throws.
std::vector<HitSamples> forecastConversion(sources::FilmFile& film, Findings& findings);

}  // namespace quarrypack::check
