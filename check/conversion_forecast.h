#pragma once

#include <vector>

#include "check/finding.h"
#include "check/report.h"
#include "sources/film_file.h"

namespace quarrypack::check {

// What a conversion would do to a film.
struct Forecast {
  std::uint64_t pictures = 0;    // that it would write; 0 if it would write none
  std::vector<HitSamples> hits;  // by track
};

// Runs the conversion of a movie without writing it, and notes what it would do. Reads the caption
// samples, and the heads of the pictures that captions go into. For a movie without caption track
// only notes that there is nothing to convert. Throws what reading the tables of the movie throws.
Forecast forecastConversion(sources::FilmFile& film, Findings& findings);

}  // namespace quarrypack::check
