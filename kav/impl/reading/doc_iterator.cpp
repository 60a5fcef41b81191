#include "kav/impl/reading/doc_iterator.h"

#include <algorithm>
#include <bit>
#include <limits>
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

// Up to this many tracks, the earliest head is found by checking every track in turn.
constexpr std::size_t kMostScannedTracks = 16;

// Whether a time is earlier than another. Exact for all times; products of them would overflow.
bool isEarlier(const Moment& a, const Moment& b) {
  const std::uint64_t seconds = a.time / a.timescale;
  const std::uint64_t otherSeconds = b.time / b.timescale;
  if (seconds != otherSeconds) return seconds < otherSeconds;
  return a.time % a.timescale * b.timescale < b.time % b.timescale * a.timescale;
}

// Like rescaleTime, but converts whole seconds and the fraction separately: a stream that counts
// from 1970 in fine units would exceed 64 bits otherwise.
std::uint64_t inTimescale(const Moment& time, std::uint32_t timescale) {
  const std::uint64_t seconds = time.time / time.timescale;
  const std::uint64_t fraction = time.time % time.timescale;
  return wrappingAdd(wrappingMultiply(seconds, timescale),
                     rescaleTime(fraction, time.timescale, timescale));
}

// The same for the bound of a range, which may be any time: one that is too late for 64 bits lies
// after every sample.
std::uint64_t boundInTimescale(const Moment& bound, std::uint32_t timescale) {
  constexpr std::uint64_t kLatest = std::numeric_limits<std::uint64_t>::max();
  if (bound.timescale == 0 || timescale == 0) return 0;
  if (bound.time / bound.timescale >= kLatest / timescale) return kLatest;
  return inTimescale(bound, timescale);
}

// The decoding time of the first sample of a track, as a movie with fragments states it; nothing
// for a track without samples.
std::optional<std::uint64_t> beginOf(const TrackRecord& track) {
  if (track.hasSamplesInTables()) return 0;
  const FragmentDirectory::Place* first = track.root->fragmentOf(track.info().trackId, 0);
  if (first == nullptr) return std::nullopt;
  return first->fragment->partsOf(track.info().trackId).front()->decodeTime().value_or(0);
}

// The time 0 of a movie: the earliest time at which one of its tracks begins. The fragments of an
// excerpt keep the times of the whole movie, from which it is subtracted. This reads no more than
// the first samples of the tracks, which are needed next.
Moment beginOf(std::span<const TrackRecord> tracks) {
  std::optional<Moment> earliest;
  for (const TrackRecord& track : tracks) {
    if (!track.isFragmented() || track.info().mediaTimescale == 0) continue;
    const std::optional<std::uint64_t> begin = beginOf(track);
    if (!begin) continue;
    const Moment time{*begin, track.info().mediaTimescale};
    if (!earliest || isEarlier(time, *earliest)) earliest = time;
    if (time.time == 0) break;
  }
  return earliest.value_or(kStartOfMovie);
}

// The composition offset of the first sample of a track's media, where the edit list needs it.
std::uint32_t firstCompositionOffset(MediaIterCreator& creator, const ElstBox& edits) {
  if (!hasShiftedMedia(edits)) return 0;
  Sample first;
  return creator.createMediaIterator(0)->take(first) ? first.info.compositionOffset : 0;
}

// A track before its iterator is made.
struct TrackPlan {
  const TrackRecord& track;
  std::unique_ptr<MediaIterCreator> creator;
  const ElstBox* edits;
  std::uint32_t firstOffset;
};

TrackPlan planTrack(const TrackRecord& track, const SampleOptions& options, const Moment& begin) {
  auto creator = std::make_unique<MediaIterCreator>(
      track, options.context, !options.applyEdits, inTimescale(begin, track.info().mediaTimescale));
  const ElstBox* edits = options.applyEdits ? track.edits() : nullptr;
  const std::uint32_t offset = edits == nullptr ? 0 : firstCompositionOffset(*creator, *edits);
  return {track, std::move(creator), edits, offset};
}

std::unique_ptr<SampleIterator> createTrackIterator(TrackPlan plan, std::uint32_t movieTimescale,
                                                    const SampleOptions& options) {
  const std::uint32_t timescale = plan.track.info().mediaTimescale;
  const std::uint64_t start = boundInTimescale(options.from, timescale);
  const std::uint64_t end = boundInTimescale(options.to, timescale);
  if (plan.edits == nullptr) return plan.creator->createMediaIterator(start, end);
  std::vector<EditSegment> segments = makeEditSegments(*plan.edits, plan.firstOffset);
  return std::make_unique<PresentationIter>(std::move(plan.creator), std::move(segments),
                                            movieTimescale, timescale, start, end);
}

}  // namespace

std::vector<std::unique_ptr<SampleIterator>> createTrackIterators(
    std::span<const TrackRecord> tracks, std::uint32_t movieTimescale,
    const SampleOptions& options) {
  std::vector<std::unique_ptr<SampleIterator>> iterators;
  iterators.reserve(tracks.size());
  const Moment begin = beginOf(tracks);
  for (const TrackRecord& track : tracks) {
    if (options.trackIndex && *options.trackIndex != track.track->index) continue;
    iterators.push_back(
        createTrackIterator(planTrack(track, options, begin), movieTimescale, options));
  }
  return iterators;
}

std::uint64_t editShift(const TrackRecord& track, const SampleOptions& options) {
  // The composition offset of the first sample does not depend on where the movie begins.
  const TrackPlan plan = planTrack(track, options, kStartOfMovie);
  return plan.edits == nullptr ? 0 : editShift(*plan.edits, plan.firstOffset);
}

DocIterator::DocIterator(std::vector<std::unique_ptr<SampleIterator>> tracks) {
  tracks_.reserve(tracks.size());
  for (auto& iterator : tracks) {
    Track& track = tracks_.emplace_back();
    track.iterator = std::move(iterator);
    track.hasHead = track.iterator->take(track.head);
  }
  if (tracks_.empty()) return;
  if (tracks_.size() <= kMostScannedTracks) {
    earliest_ = scanForEarliest();
    return;
  }
  leaves_ = std::bit_ceil(tracks_.size());
  winners_.resize(2 * leaves_);
  // Places after the last track also refer to the last track, which changes no result.
  for (std::size_t i = 0; i < leaves_; ++i) {
    winners_[leaves_ + i] = std::min(i, tracks_.size() - 1);
  }
  for (std::size_t node = leaves_ - 1; node > 0; --node) {
    winners_[node] = winnerOf(winners_[2 * node], winners_[2 * node + 1]);
  }
  earliest_ = &tracks_[winners_[1]];
}

bool DocIterator::comesBefore(const Track& a, const Track& b) {
  if (!a.hasHead || !b.hasHead) return a.hasHead;
  const NorvikKavSampleInfo& x = a.head.info;
  const NorvikKavSampleInfo& y = b.head.info;
  // Compares seconds exactly, by multiplying across; for times beyond any real movie the products
  // wrap.
  return wrappingMultiply(x.decodingTime, y.timescale) <
         wrappingMultiply(y.decodingTime, x.timescale);
}

std::size_t DocIterator::winnerOf(std::size_t left, std::size_t right) const {
  return comesBefore(tracks_[right], tracks_[left]) ? right : left;
}

DocIterator::Track* DocIterator::scanForEarliest() {
  Track* best = tracks_.data();
  for (Track& track : std::span(tracks_).subspan(1)) {
    if (comesBefore(track, *best)) best = &track;
  }
  return best;
}

void DocIterator::findEarliestAgain() {
  if (leaves_ == 0) {
    earliest_ = scanForEarliest();
    return;
  }
  const auto track = static_cast<std::size_t>(earliest_ - tracks_.data());
  for (std::size_t node = (leaves_ + track) / 2; node > 0; node /= 2) {
    winners_[node] = winnerOf(winners_[2 * node], winners_[2 * node + 1]);
  }
  earliest_ = &tracks_[winners_[1]];
}

bool DocIterator::hasNext() { return earliest_ != nullptr && earliest_->hasHead; }

bool DocIterator::take(Sample& sample) {
  if (!hasNext()) return false;
  Track& track = *earliest_;
  sample = track.head;
  track.hasHead = false;
  try {
    track.hasHead = track.iterator->take(track.head);
  } catch (...) {
    // The other tracks continue without this one.
    findEarliestAgain();
    throw;
  }
  findEarliestAgain();
  return true;
}

}  // namespace norvik::kav::impl
