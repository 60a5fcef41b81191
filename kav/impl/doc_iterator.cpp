#include "kav/impl/doc_iterator.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "kav/impl/edit_segments.h"
#include "kav/impl/media_iter_creator.h"
#include "kav/impl/presentation_iterator.h"
#include "kav/rescale_time.h"
#include "kav/wrapping.h"

namespace norvik::kav::impl {
namespace {

// Up to this many tracks the earliest head is found by asking every track in turn.
constexpr std::size_t kMostScannedTracks = 16;

// The composition offset of the first sample of a track's media, where the edit list needs it.
std::uint32_t firstCompositionOffset(MediaIterCreator& creator, const ElstBox& edits) {
  if (!hasShiftedMedia(edits)) return 0;
  const SamplePtr first = creator.createMediaIterator(0)->next();
  return first == nullptr ? 0 : first->info.compositionOffset;
}

// One track on its way to its iterator.
struct TrackPlan {
  const TrackRecord& track;
  std::unique_ptr<MediaIterCreator> creator;
  const ElstBox* edits;
  std::uint32_t firstOffset;
};

TrackPlan planTrack(const TrackRecord& track, const DocIteratorOptions& options) {
  auto creator =
      std::make_unique<MediaIterCreator>(track, options.context, options.ignoreEditLists);
  const ElstBox* edits = options.ignoreEditLists ? nullptr : track.edits();
  const std::uint32_t offset = edits == nullptr ? 0 : firstCompositionOffset(*creator, *edits);
  return {track, std::move(creator), edits, offset};
}

std::unique_ptr<SampleIterator> createTrackIterator(TrackPlan plan, std::uint32_t movieTimescale,
                                                    const DocIteratorOptions& options) {
  const std::uint32_t timescale = plan.track.info.mediaTimescale;
  const std::uint64_t start = rescaleTime(options.start.time, options.start.timescale, timescale);
  const std::uint64_t end = rescaleTime(options.end.time, options.end.timescale, timescale);
  if (plan.edits == nullptr) return plan.creator->createMediaIterator(start, end);
  std::vector<EditSegment> segments = makeEditSegments(*plan.edits, plan.firstOffset);
  return std::make_unique<PresentationIter>(std::move(plan.creator), std::move(segments),
                                            movieTimescale, timescale, end);
}

}  // namespace

std::vector<std::unique_ptr<SampleIterator>> createTrackIterators(
    std::span<const TrackRecord> tracks, std::uint32_t movieTimescale,
    const DocIteratorOptions& options) {
  std::vector<std::unique_ptr<SampleIterator>> iterators;
  iterators.reserve(tracks.size());
  for (const TrackRecord& track : tracks) {
    iterators.push_back(createTrackIterator(planTrack(track, options), movieTimescale, options));
  }
  return iterators;
}

std::uint64_t editShift(const TrackRecord& track, const DocIteratorOptions& options) {
  const TrackPlan plan = planTrack(track, options);
  return plan.edits == nullptr ? 0 : editShift(*plan.edits, plan.firstOffset);
}

DocIterator::DocIterator(std::vector<std::unique_ptr<SampleIterator>> tracks) {
  tracks_.reserve(tracks.size());
  for (auto& iterator : tracks) {
    SamplePtr head = iterator->next();
    tracks_.push_back({std::move(iterator), std::move(head)});
  }
  if (tracks_.size() <= kMostScannedTracks) {
    earliest_ = scanForEarliest();
    return;
  }
  leaves_ = std::bit_ceil(tracks_.size());
  winners_.resize(2 * leaves_);
  // Places beyond the last track are played by the last track, which changes no result.
  for (std::size_t i = 0; i < leaves_; ++i) {
    winners_[leaves_ + i] = std::min(i, tracks_.size() - 1);
  }
  for (std::size_t node = leaves_ - 1; node > 0; --node) {
    const std::size_t left = winners_[2 * node];
    const std::size_t right = winners_[2 * node + 1];
    winners_[node] = comesBefore(right, left) ? right : left;
  }
  earliest_ = winners_[1];
}

bool DocIterator::comesBefore(std::size_t a, std::size_t b) const {
  const Sample* x = tracks_[a].head.get();
  const Sample* y = tracks_[b].head.get();
  if (x == nullptr || y == nullptr) return x != nullptr;
  // Seconds compared exactly, by multiplying across; for times beyond any real movie the products
  // wrap.
  return wrappingMultiply(x->info.decodingTime, y->info.timescale) <
         wrappingMultiply(y->info.decodingTime, x->info.timescale);
}

std::size_t DocIterator::scanForEarliest() const {
  std::size_t best = 0;
  for (std::size_t i = 1; i < tracks_.size(); ++i) {
    if (comesBefore(i, best)) best = i;
  }
  return best;
}

void DocIterator::findEarliestAgain(std::size_t track) {
  if (leaves_ == 0) {
    earliest_ = scanForEarliest();
    return;
  }
  for (std::size_t node = (leaves_ + track) / 2; node > 0; node /= 2) {
    const std::size_t left = winners_[2 * node];
    const std::size_t right = winners_[2 * node + 1];
    winners_[node] = comesBefore(right, left) ? right : left;
  }
  earliest_ = winners_[1];
}

bool DocIterator::hasNext() { return !tracks_.empty() && tracks_[earliest_].head != nullptr; }

SamplePtr DocIterator::next() {
  if (tracks_.empty()) return nullptr;
  Track& track = tracks_[earliest_];
  if (track.head == nullptr) return nullptr;
  SamplePtr chosen = std::move(track.head);
  try {
    track.head = track.iterator->hasNext() ? track.iterator->next() : nullptr;
  } catch (...) {
    // The other tracks go on without this one.
    findEarliestAgain(earliest_);
    throw;
  }
  findEarliestAgain(earliest_);
  return chosen;
}

}  // namespace norvik::kav::impl
