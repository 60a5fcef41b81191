#pragma once

#include <cstdint>

#include "kav/movie.h"

namespace quarrypack {

// How much later the samples of a track come than its edit list states.
struct EditShift {
  std::uint64_t ticks = 0;      // units of 1/timescale seconds
  std::uint32_t timescale = 0;  // of the track
};

EditShift editShiftOf(const norvik::kav::Movie& movie, const norvik::kav::Track& track);

// The delay that keeps a caption with its picture, in ticks of the caption track.
//
// The edit list of a video with B-frames removes the reorder delay. The library selects samples by
// decoding time, so it cannot follow such an edit to the tick and delivers the pictures later.
// Captions are delayed by the same time, less the time by which their own edit list has already
// moved them. A caption track that was moved further than the video is not delayed.
std::uint64_t captionDelay(const EditShift& video, const EditShift& captions);

}  // namespace quarrypack
