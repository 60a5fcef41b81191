#pragma once

#include <cstdint>
#include <vector>

#include "kav/impl/boxes/track_boxes.h"

namespace norvik::kav::impl {

// The media time of a segment in which nothing is shown.
inline constexpr std::uint64_t kNoMedia = static_cast<std::uint64_t>(kEmptyEdit);

// One stretch of a track's presentation.
struct EditSegment {
  std::uint64_t duration = 0;   // movie timescale; 0 with a media time: the rest of the media
  std::uint64_t mediaTime = 0;  // media timescale; kNoMedia where nothing is shown
  std::uint64_t presentationStart = 0;  // movie timescale
  std::uint64_t endDelay = 0;  // media timescale: how much later than its duration says it ends

  bool isEmpty() const { return mediaTime == kNoMedia; }
};

// The segments that an edit list describes, one after another from time 0. Edit lists count on the
// composition timeline, while samples are picked by decoding time; firstCompositionOffset, the
// composition offset of the track's first sample, is what lies between the two and is taken off
// every media time. Without that the leading key frame of nearly every movie with B-frames would
// fall in front of its own edit. An offset from 2^31 on is a negative one and takes nothing off.
//
// What is taken off the last media segment is its endDelay: its end keeps its place in the media.
// It would otherwise cut off pictures that the list shows, since no segment after it has room to
// show them.
std::vector<EditSegment> makeEditSegments(const ElstBox& edits,
                                          std::uint32_t firstCompositionOffset);

// What makeEditSegments takes off the first media time of the list: the time by which the samples
// of the track are then shown later than the list says, in the media timescale.
std::uint64_t editShift(const ElstBox& edits, std::uint32_t firstCompositionOffset);

// Whether any media time of the list is one that an offset could be taken off.
bool hasShiftedMedia(const ElstBox& edits);

}  // namespace norvik::kav::impl
