#pragma once

#include <cstdint>

namespace quarrypack {

// By how much the samples of a track come later than its edit list says.
struct EditShift {
  std::uint64_t ticks = 0;      // units of 1/timescale seconds
  std::uint32_t timescale = 0;  // of the track
};

// By how much a caption has to be delayed to stay with its picture, in ticks of the caption track.
//
// The edit list of a video with B-frames takes the reorder delay off. The library cannot follow it
// to the tick, because it picks samples by decoding time, and delivers the pictures later. Captions
// are delayed by the same time, less what their own edit list has already moved them by. A caption
// track that was moved further than the video is left where it is.
std::uint64_t captionDelay(const EditShift& video, const EditShift& captions);

}  // namespace quarrypack
