#pragma once

#include <cstdint>

#include "embed/film.h"

namespace quarrypack::embed {

// How long the longest track of a film with fragments lasts, caption tracks left out, in units of
// the movie's timescale, rounded up: the end of its last sample, or of its last edit, on the
// timeline of the movie, which begins with the earliest track, be it one of captions. Fragments do
// not tell how long the last sample lasts, so it counts as long as the one before. Reads the tables
// of all samples. Throws what Film::forEachSample throws.
std::uint64_t longestTrack(Film& film);

}  // namespace quarrypack::embed
