#include "kav/impl/reading/presentation_iterator.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "kav/rescale_time.h"
#include "kav/wrapping.h"

namespace norvik::kav::impl {

PresentationIter::PresentationIter(std::unique_ptr<IMediaIterCreator> creator,
                                   std::vector<EditSegment> segments, std::uint32_t movieTimescale,
                                   std::uint32_t mediaTimescale, std::uint64_t end)
    : creator_(std::move(creator)),
      segments_(std::move(segments)),
      movieTimescale_(movieTimescale),
      mediaTimescale_(mediaTimescale),
      end_(end) {
  openSegment();
  held_ = fetch();
}

// A segment without a duration shows the rest of the media.
std::uint64_t PresentationIter::endOf(const EditSegment& segment) const {
  constexpr std::uint64_t kLatest = std::numeric_limits<std::uint64_t>::max();
  if (segment.duration == 0) return kLatest;
  const std::uint64_t end = rescaleTime(wrappingAdd(segment.presentationStart, segment.duration),
                                        movieTimescale_, mediaTimescale_);
  return end + std::min(segment.endDelay, kLatest - end);
}

void PresentationIter::nextSegment() {
  ++segment_;
  openSegment();
}

void PresentationIter::openSegment() {
  media_.reset();
  if (segment_ == segments_.size()) return;
  const EditSegment& segment = segments_[segment_];
  segmentStart_ = rescaleTime(segment.presentationStart, movieTimescale_, mediaTimescale_);
  if (segment.isEmpty()) return;
  segmentEnd_ = endOf(segment);
  media_ = creator_->createMediaIterator(segment.mediaTime);
}

SamplePtr PresentationIter::fetchFromMedia() {
  const std::uint64_t mediaTime = segments_[segment_].mediaTime;
  while (SamplePtr sample = media_->next()) {
    if (sample->info.decodingTime < mediaTime) continue;
    sample->info.decodingTime =
        wrappingAdd(sample->info.decodingTime, wrappingSubtract(segmentStart_, mediaTime));
    if (sample->info.decodingTime >= segmentEnd_) break;
    if (sample->isOfFragment) fragmentSequence_ = sample->fragmentSequence;
    return sample;
  }
  return nullptr;
}

SamplePtr PresentationIter::createEmptySample() const {
  SamplePtr sample = creator_->createEmptySample(segmentStart_);
  if (fragmentSequence_) sample->fragmentSequence = *fragmentSequence_;
  return sample;
}

SamplePtr PresentationIter::fetch() {
  while (segment_ < segments_.size()) {
    if (segments_[segment_].isEmpty()) {
      SamplePtr sample = createEmptySample();
      nextSegment();
      return sample;
    }
    // Media that runs out inside a segment goes on with the next one.
    if (SamplePtr sample = fetchFromMedia()) return sample;
    nextSegment();
  }
  return nullptr;
}

bool PresentationIter::hasNext() { return held_ != nullptr && held_->info.decodingTime < end_; }

SamplePtr PresentationIter::next() {
  if (!hasNext()) return nullptr;
  SamplePtr current = std::move(held_);
  held_ = fetch();
  return current;
}

}  // namespace norvik::kav::impl
