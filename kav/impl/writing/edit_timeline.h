#pragma once

#include <cstdint>

#include "kav/impl/boxes/track_boxes.h"
#include "kav/wrapping.h"

namespace norvik::kav::impl {

// Builds the edit list of a track while its samples come in. Gap markers open gaps: stretches of
// the presentation without media, which become empty edits and are taken out of the decoding times.
//
// Order of calls: addGap and addSample in the order of their times, finish once.
class EditTimeline {
 public:
  // Edits are added to the list: two for every gap and one more. addGap, addSample and finish throw
  // editListFull when it has no room for them, or would grow beyond ElstBox::kMostWritten.
  EditTimeline(std::uint32_t timescale, std::uint32_t movieTimescale, ElstBox& edits);

  // A gap begins at a time. Within an open gap it changes nothing.
  void addGap(std::uint64_t time);

  // A sample stands at a time; returns its decoding time in the media, without the gaps before it.
  std::uint64_t addSample(std::uint64_t time);

  // Completes the edit list.
  void finish();

  // The duration of the media so far, in the track's timescale.
  std::uint64_t mediaDuration() const {
    return wrappingSubtract(wrappingAdd(tail_, lastTime_), gapTime_);
  }

  std::uint64_t toMovieTime(std::uint64_t time) const;

  // How many gaps were begun.
  std::uint32_t gapCount() const { return gapCount_; }

 private:
  std::uint32_t timescale_;
  std::uint32_t movieTimescale_;
  ElstBox& edits_;
  std::uint64_t segmentStart_ = 0;
  std::uint64_t gapTime_ = 0;  // of all closed gaps
  std::uint64_t lastTime_ = 0;
  std::uint64_t tail_ = 0;  // what is shown behind the last time
  bool inGap_ = false;
  bool editPending_ = true;
  std::uint32_t gapCount_ = 0;
};

// One movie tick in track units: what the last sample of a track lasts, since no later decoding
// time tells. 1 for a track that counts no finer than the movie.
std::uint32_t ticksPerMovieTick(std::uint32_t timescale, std::uint32_t movieTimescale);

}  // namespace norvik::kav::impl
