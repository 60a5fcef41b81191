#pragma once

#include <cstdint>

#include "kav/date_time.h"
#include "kav/four_cc.h"

namespace norvik::kav {

// The fields of a movie's header; a movie without one has these defaults.
struct MovieInfo {
  std::uint32_t timescale = 0;         // units per second
  std::uint64_t duration = 0;          // units of timescale
  NorvikKavDateTime creationTime;      // of the movie
  NorvikKavDateTime modificationTime;  // of the movie
  float rate = 1;                      // 1 is normal speed
  float volume = 1;                    // 1 is full volume
  bool isFragmented = false;           // announces fragments
};

// The number of samples of one track, for reserving space.
struct TrackTotals {
  std::uint32_t sampleCount = 0;  // samples that carry media
  std::uint32_t gapCount = 0;     // empty-edit samples
};

// A top-level box of a file.
struct BoxPlace {
  FourCc type = 0;          // four-character code
  std::uint64_t start = 0;  // offset of the first header byte
  std::uint64_t size = 0;   // bytes, header included, at most up to the end of the file
};

}  // namespace norvik::kav
