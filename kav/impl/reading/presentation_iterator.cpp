#include "kav/impl/reading/presentation_iterator.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "kav/rescale_time.h"
#include "kav/wrapping.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint64_t kLatest = std::numeric_limits<std::uint64_t>::max();

}  // namespace

PresentationIter::PresentationIter(std::unique_ptr<IMediaIterCreator> creator,
                                   std::vector<EditSegment> segments, std::uint32_t movieTimescale,
                                   std::uint32_t mediaTimescale, std::uint64_t start,
                                   std::uint64_t end)
    : creator_(std::move(creator)),
      segments_(std::move(segments)),
      movieTimescale_(movieTimescale),
      mediaTimescale_(mediaTimescale),
      start_(start),
      end_(end) {
  openSegment();
  fetch();
}

// A segment without a duration shows the rest of the media.
std::uint64_t PresentationIter::endOf(const EditSegment& segment) const {
  if (segment.duration == 0) return kLatest;
  const std::uint64_t end = rescaleTime(wrappingAdd(segment.presentationStart, segment.duration),
                                        movieTimescale_, mediaTimescale_);
  return end + std::min(segment.endDelay, kLatest - end);
}

void PresentationIter::nextSegment() {
  ++segment_;
  openSegment();
}

// Goes to the first segment, from segment_ on, that may overlap the range.
void PresentationIter::openSegment() {
  media_.reset();
  for (; segment_ != segments_.size(); ++segment_) {
    const EditSegment& segment = segments_[segment_];
    segmentStart_ = rescaleTime(segment.presentationStart, movieTimescale_, mediaTimescale_);
    if (segment.isEmpty()) {
      if (segmentStart_ >= start_) return;
      continue;
    }
    segmentEnd_ = endOf(segment);
    const std::uint64_t skipped = start_ - std::min(start_, segmentStart_);
    if (skipped > kLatest - segment.mediaTime || (skipped != 0 && segmentEnd_ <= start_)) continue;
    firstTime_ = segment.mediaTime + skipped;
    media_ = creator_->createMediaIterator(firstTime_);
    return;
  }
}

bool PresentationIter::fetchFromMedia() {
  const std::uint64_t mediaTime = segments_[segment_].mediaTime;
  while (media_->take(held_)) {
    if (held_.info.decodingTime < firstTime_) continue;
    held_.info.decodingTime =
        wrappingAdd(held_.info.decodingTime, wrappingSubtract(segmentStart_, mediaTime));
    if (held_.info.decodingTime >= segmentEnd_) break;
    if (held_.isOfFragment) fragmentSequence_ = held_.fragmentSequence;
    return true;
  }
  return false;
}

void PresentationIter::holdEmptySample() {
  held_ = *creator_->createEmptySample(segmentStart_);
  if (fragmentSequence_) held_.fragmentSequence = *fragmentSequence_;
}

void PresentationIter::fetch() {
  holds_ = false;
  while (!holds_ && segment_ < segments_.size()) {
    if (segments_[segment_].isEmpty()) {
      holdEmptySample();
      nextSegment();
      holds_ = true;
      return;
    }
    // When the media ends inside a segment, the walk continues with the next one.
    holds_ = fetchFromMedia();
    if (!holds_) nextSegment();
  }
}

bool PresentationIter::hasNext() { return holds_ && held_.info.decodingTime < end_; }

bool PresentationIter::take(Sample& sample) {
  if (!hasNext()) return false;
  sample = held_;
  fetch();
  return true;
}

}  // namespace norvik::kav::impl
