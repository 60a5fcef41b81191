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
  std::uint64_t endDelay = 0;  // media timescale: how much later it ends than its duration says

  bool isEmpty() const { return mediaTime == kNoMedia; }
};

// The segments that an edit list describes, one after another from time 0. Edit lists count on the
// composition timeline, but samples are selected by decoding time. firstCompositionOffset, the
// composition offset of the track's first sample, is the difference and is subtracted from every
// media time. Otherwise the leading key frame of nearly every movie with B-frames would fall before
// its own edit. An offset of 2^31 or more is negative and is not subtracted.
//
// The amount subtracted from the last media segment becomes its endDelay, which keeps its end at
// the same place in the media. Otherwise pictures that the list shows would be cut off, because no
// later segment has room for them.
std::vector<EditSegment> makeEditSegments(const ElstBox& edits,
                                          std::uint32_t firstCompositionOffset);

// The amount that makeEditSegments subtracts from the first media time of the list: the samples of
// the track are shown later than the list says by that time, in the media timescale.
std::uint64_t editShift(const ElstBox& edits, std::uint32_t firstCompositionOffset);

// Whether an offset could be subtracted from any media time of the list.
bool hasShiftedMedia(const ElstBox& edits);

}  // namespace norvik::kav::impl
