#include "kav/impl/reading/doc_iterator.h"

#include <algorithm>
#include <bit>
#include <optional>
#include <utility>

#include "kav/impl/boxes/fragment_boxes.h"
#include "kav/impl/reading/edit_segments.h"
#include "kav/impl/reading/media_iter_creator.h"
#include "kav/impl/reading/presentation_iterator.h"
#include "kav/rescale_time.h"
#include "kav/wrapping.h"

namespace norvik::kav::impl {
namespace {

// Up to this many tracks the earliest head is found by asking every track in turn.
constexpr std::size_t kMostScannedTracks = 16;

// Whether a time is earlier than another. Exact for all times, which their products would not be.
bool isEarlier(const ScaledTime& a, const ScaledTime& b) {
  const std::uint64_t seconds = a.time / a.timescale;
  const std::uint64_t otherSeconds = b.time / b.timescale;
  if (seconds != otherSeconds) return seconds < otherSeconds;
  return a.time % a.timescale * b.timescale < b.time % b.timescale * a.timescale;
}

// As rescaleTime, seconds apart from their fraction: a stream that counts from 1970 in fine units
// passes 64 bits otherwise.
std::uint64_t inTimescale(const ScaledTime& time, std::uint32_t timescale) {
  const std::uint64_t seconds = time.time / time.timescale;
  const std::uint64_t fraction = time.time % time.timescale;
  return wrappingAdd(wrappingMultiply(seconds, timescale),
                     rescaleTime(fraction, time.timescale, timescale));
}

// The decoding time of the first sample of a track, as a movie with fragments states it; nothing
// for a track without samples.
std::optional<std::uint64_t> beginOf(const TrackRecord& track) {
  if (track.hasSamplesInTables()) return 0;
  const FragmentPlaces::Place* first = track.root->fragmentOf(track.info.trackId, 0);
  if (first == nullptr) return std::nullopt;
  return first->fragment->partsOf(track.info.trackId).front()->decodeTime().value_or(0);
}

// The time 0 of a movie: the earliest time at which one of its tracks begins. The fragments of an
// excerpt keep the times of the whole, from which it is taken off. No more is read for it than for
// the first samples of the tracks, which are wanted next.
ScaledTime beginOf(std::span<const TrackRecord> tracks) {
  std::optional<ScaledTime> earliest;
  for (const TrackRecord& track : tracks) {
    if (!track.isFragmented() || track.info.mediaTimescale == 0) continue;
    const std::optional<std::uint64_t> begin = beginOf(track);
    if (!begin) continue;
    const ScaledTime time{*begin, track.info.mediaTimescale};
    if (!earliest || isEarlier(time, *earliest)) earliest = time;
    if (time.time == 0) break;
  }
  return earliest.value_or(kWholeFileStart);
}

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

TrackPlan planTrack(const TrackRecord& track, const DocIteratorOptions& options,
                    const ScaledTime& begin) {
  auto creator = std::make_unique<MediaIterCreator>(track, options.context, options.ignoreEditLists,
                                                    inTimescale(begin, track.info.mediaTimescale));
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
  const ScaledTime begin = beginOf(tracks);
  for (const TrackRecord& track : tracks) {
    iterators.push_back(
        createTrackIterator(planTrack(track, options, begin), movieTimescale, options));
  }
  return iterators;
}

std::uint64_t editShift(const TrackRecord& track, const DocIteratorOptions& options) {
  // The composition offset of the first sample does not depend on where the movie begins.
  const TrackPlan plan = planTrack(track, options, kWholeFileStart);
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
