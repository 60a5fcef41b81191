#pragma once

#include <cstdint>

#include "kav/impl/boxes/track_boxes.h"
#include "kav/wrapping.h"

namespace norvik::kav::impl {

// Builds the edit list of a track while its samples arrive. Gap markers open gaps: stretches of the
// presentation without media. They become empty edits and are removed from the decoding times.
//
// Order of calls: addGap and addSample in the order of their times, then finish once.
class EditTimeline {
 public:
  // Adds two edits to the list for every gap, and one more. addGap, addSample and finish throw
  // editListFull if the list has no room for them, or would grow beyond ElstBox::kMostWritten.
  EditTimeline(std::uint32_t timescale, std::uint32_t movieTimescale, ElstBox& edits);

  // Begins a gap at a time. Within an open gap it has no effect.
  void addGap(std::uint64_t time);

  // Adds a sample at a time; returns its decoding time in the media, without the gaps before it.
  std::uint64_t addSample(std::uint64_t time);

  // Completes the edit list.
  void finish();

  // The duration of the media so far, in the track's timescale.
  std::uint64_t mediaDuration() const {
    return wrappingSubtract(wrappingAdd(tail_, lastTime_), gapTime_);
  }

  std::uint64_t toMovieTime(std::uint64_t time) const;

  // The number of gaps begun.
  std::uint32_t gapCount() const { return gapCount_; }

 private:
  std::uint32_t timescale_;
  std::uint32_t movieTimescale_;
  std::uint32_t movieTick_;  // in track units
  ElstBox& edits_;
  std::uint64_t segmentStart_ = 0;
  std::uint64_t gapTime_ = 0;  // of all closed gaps
  std::uint64_t lastTime_ = 0;
  std::uint64_t tail_ = 0;  // the time shown after the last time
  bool inGap_ = false;
  bool editPending_ = true;
  std::uint32_t gapCount_ = 0;
};

// One movie tick in track units: the duration of a track's last sample, which no later decoding
// time gives. It is 1 for a track whose units are no finer than the movie's.
std::uint32_t ticksPerMovieTick(std::uint32_t timescale, std::uint32_t movieTimescale);

}  // namespace norvik::kav::impl
