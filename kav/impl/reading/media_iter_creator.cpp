#include "kav/impl/reading/media_iter_creator.h"

#include <limits>
#include <memory>

#include "kav/impl/reading/fragmented_track_iterator.h"
#include "kav/impl/reading/track_iterator.h"

namespace norvik::kav::impl {

MediaIterCreator::MediaIterCreator(const TrackRecord& track, std::uint64_t context,
                                   bool ignoreEditLists, std::uint64_t movieBegin)
    : track_(track),
      context_(context),
      ignoreEditLists_(ignoreEditLists),
      fragmented_(track.isFragmented()),
      movieBegin_(movieBegin),
      passedRuns_(std::make_shared<PassedRuns>()) {}

std::unique_ptr<SampleIterator> MediaIterCreator::createMediaIterator(std::uint64_t start) {
  return createMediaIterator(start, std::numeric_limits<std::uint64_t>::max());
}

std::unique_ptr<SampleIterator> MediaIterCreator::createMediaIterator(std::uint64_t start,
                                                                      std::uint64_t end) {
  if (fragmented_) {
    return std::make_unique<FragmentedTrackIterator>(track_, context_, start, end, passedRuns_,
                                                     movieBegin_);
  }
  return std::make_unique<TrackIterator>(track_, context_, start, end);
}

SamplePtr MediaIterCreator::createEmptySample(std::uint64_t time) {
  // Without a sample before it, an empty edit belongs to the first fragment.
  return std::make_unique<Sample>(emptySample(track_, time, context_, fragmented_ ? 1 : 0));
}

}  // namespace norvik::kav::impl
