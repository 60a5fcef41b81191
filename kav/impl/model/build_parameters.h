#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "kav/date_time.h"
#include "kav/four_cc.h"

namespace norvik::kav::impl {

// The parameters for building a movie header.
struct MovieParameters {
  NorvikKavDateTime creationTime;
  NorvikKavDateTime modificationTime;
  std::uint32_t timescale = 0;  // units per second
  std::uint64_t duration = 0;   // units of timescale
  float rate = 1;
  float volume = 1;
};

// The parameters for building a track with all its boxes.
struct TrackParameters {
  std::uint32_t trackId = 0;
  FourCc handlerType = 0;
  std::vector<std::uint8_t> handlerName;  // its closing zero included, if it has one
  std::uint32_t timescale = 0;            // units per second
  std::uint32_t movieTimescale = 0;       // units per second
  std::uint64_t mediaDuration = 0;        // units of timescale
  NorvikKavDateTime creationTime;
  NorvikKavDateTime modificationTime;
  float width = 0;
  float height = 0;
  float volume = 0;
  std::array<char, 4> language{'u', 'n', 'd', '\0'};
  std::vector<std::uint32_t> hintedTrackIds;  // the tracks that a hint track refers to

  std::uint32_t editCapacity = 0;        // n: the edit list has room for 2 n + 1 edits
  std::uint32_t sampleCapacity = 0;      // samples announced
  std::uint32_t lastSampleDuration = 1;  // units of timescale
  bool hasSampleDependencies = false;    // the sample table gets an sdtp box
  std::uint32_t descriptionCount = 0;    // sample descriptions to come
  std::uint32_t descriptionLength = 0;   // header bytes of one on average, rounded up
};

}  // namespace norvik::kav::impl
