#include "kav/impl/writing/edit_timeline.h"

#include "kav/rescale_time.h"

namespace norvik::kav::impl {

std::uint32_t ticksPerMovieTick(std::uint32_t timescale, std::uint32_t movieTimescale) {
  if (timescale <= movieTimescale) return 1;
  const std::uint64_t rounded = timescale + std::uint64_t{(movieTimescale - 1) / 2};
  return static_cast<std::uint32_t>(rounded / movieTimescale);
}

EditTimeline::EditTimeline(std::uint32_t timescale, std::uint32_t movieTimescale, ElstBox& edits)
    : timescale_(timescale),
      movieTimescale_(movieTimescale),
      movieTick_(ticksPerMovieTick(timescale, movieTimescale)),
      edits_(edits) {}

std::uint64_t EditTimeline::toMovieTime(std::uint64_t time) const {
  return rescaleTime(time, timescale_, movieTimescale_);
}

void EditTimeline::addGap(std::uint64_t time) {
  if (inGap_) return;
  tail_ = 0;
  lastTime_ = time;
  inGap_ = true;
  ++gapCount_;
  const std::uint64_t duration = toMovieTime(wrappingSubtract(time, segmentStart_));
  if (editPending_) {
    edits_.addEdit(duration, static_cast<std::int64_t>(wrappingSubtract(segmentStart_, gapTime_)));
  } else {
    edits_.setLastSegmentDuration(duration);
    editPending_ = true;
  }
  segmentStart_ = time;
}

std::uint64_t EditTimeline::addSample(std::uint64_t time) {
  if (inGap_) {
    const std::uint64_t gap = wrappingSubtract(time, segmentStart_);
    edits_.addEdit(toMovieTime(gap), kEmptyEdit);
    segmentStart_ = time;
    gapTime_ = wrappingAdd(gapTime_, gap);
    inGap_ = false;
    editPending_ = true;
  } else {
    tail_ = movieTick_;
  }
  lastTime_ = time;
  return wrappingSubtract(time, gapTime_);
}

void EditTimeline::finish() {
  const std::uint64_t end =
      toMovieTime(wrappingAdd(wrappingSubtract(tail_, segmentStart_), lastTime_));
  if (inGap_) return;
  if (editPending_) {
    edits_.addEdit(end, static_cast<std::int64_t>(wrappingSubtract(segmentStart_, gapTime_)));
    editPending_ = false;
  } else {
    edits_.setLastSegmentDuration(end);
  }
}

}  // namespace norvik::kav::impl
