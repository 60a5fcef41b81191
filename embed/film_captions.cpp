#include "embed/film_captions.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <span>
#include <utility>

#include "captions/caption_atoms.h"
#include "embed/caption_times.h"
#include "embed/edit_list.h"
#include "embed/refusal.h"
#include "kav/big_endian.h"

namespace quarrypack::embed {

using captions::BytePair;
using captions::FieldPairs;
using captions::Time;
using captions::timeOfUnits;
using norvik::kav::fourCc;
using norvik::kav::loadU32;
using norvik::kav::Sample;

namespace {

// Fifty hours of pairs in both fields, and a thousand edits of as many captions.
constexpr std::size_t kMostPairs = std::size_t{1} << 24;
constexpr std::uint64_t kMostEditSteps = std::uint64_t{1} << 28;

// A sample of captions is a few pairs. A long one is read as far as this.
constexpr std::uint32_t kLongestSample = 1 << 20;

// The duration of the last sample as the time table states it; 0 in fragments, whose tables are
// empty.
std::uint32_t lastDuration(const FilmTrack& track) {
  constexpr std::size_t kFieldBytes = 8;
  constexpr std::size_t kEntry = 8;
  const auto stts = track.box.find("mdia/minf/stbl/stts");
  if (!stts || stts->payload().size() < kFieldBytes + kEntry) return 0;
  const std::span<const std::uint8_t> payload = stts->payload();
  const std::size_t count =
      std::min<std::size_t>(loadU32(payload.data() + 4), (payload.size() - kFieldBytes) / kEntry);
  return count == 0 ? 0 : loadU32(payload.data() + kFieldBytes + count * kEntry - 4);
}

Time timeOf(std::uint64_t ticks, std::uint32_t timescale) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
  const Time time = timeOfUnits(static_cast<std::int64_t>(std::min(ticks, kMost)), timescale);
  return std::min(time, kLatestPicture);
}

// Reads one caption track. A sample is held back until the next one tells how long it lasts.
class CaptionWalk {
 public:
  CaptionWalk(Film& film, const FilmTrack& track)
      : film_(film),
        track_(track),
        edits_(EditList::of(track.box, film.timescale(), track.timescale())) {}

  std::array<FieldPairs, kFields> read() {
    film_.forEachSample(track_, [this](const Sample& sample, std::uint32_t) {
      if (hasHeld_) flush(sample.info.decodingTime);
      hold(sample);
    });
    if (hasHeld_) flush(std::nullopt);
    return std::move(fields_);
  }

 private:
  void hold(const Sample& sample) {
    hasHeld_ = true;
    decodingTime_ = sample.info.decodingTime;
    const Time start = timeOfUnits(sample.presentationTime(), track_.timescale());
    start_ = std::clamp(start, -kLatestPicture, kLatestPicture);
    for (std::vector<BytePair>& pairs : pairs_) pairs.clear();
    bytes_.resize(std::min(sample.info.size, kLongestSample));
    film_.movie().readAt(sample.fileOffset, bytes_);
    for (const captions::CaptionAtom& atom : captions::CaptionAtoms(bytes_)) {
      if (!atom.field()) continue;
      std::vector<BytePair>& pairs = pairs_[indexOf(*atom.field())];
      for (std::size_t i = 0; i < atom.wholePairCount(); ++i) pairs.push_back(atom.pair(i));
    }
  }

  // next: the decoding time of the next sample; none after the last one.
  void flush(std::optional<std::uint64_t> next) {
    const std::uint64_t ticks =
        next ? (*next > decodingTime_ ? *next - decodingTime_ : 0) : lastDuration(track_);
    const Time duration = timeOf(ticks, track_.timescale());
    steps_ += edits_.edits().size();
    edits_.placeCaption(start_, [&](Time start) {
      for (std::size_t i = 0; i < kFields; ++i) {
        appendSamplePairs(fields_[i], pairs_[i], {start, duration, !next});
      }
      requireFew();
    });
    requireFew();
  }

  void requireFew() const {
    if (steps_ <= kMostEditSteps && fields_[0].size() + fields_[1].size() <= kMostPairs) return;
    throw Refusal(track_.label +
                  ": it has more captions than any film, or its edit list repeats "
                  "them too often");
  }

  Film& film_;
  const FilmTrack& track_;
  EditList edits_;
  std::array<FieldPairs, kFields> fields_;
  std::uint64_t steps_ = 0;
  std::vector<std::uint8_t> bytes_;

  // The sample that is held back.
  bool hasHeld_ = false;
  std::uint64_t decodingTime_ = 0;
  Time start_{0};
  std::array<std::vector<BytePair>, kFields> pairs_;
};

// The order of either is kept, ascending or not.
void mergeInto(FieldPairs& all, FieldPairs more) {
  if (all.empty()) {
    all = std::move(more);
    return;
  }
  if (more.empty()) return;
  FieldPairs merged;
  merged.reserve(all.size() + more.size());
  auto next = all.begin();
  for (const captions::TimedPair& pair : more) {
    while (next != all.end() && next->time <= pair.time) merged.push_back(*next++);
    merged.push_back(pair);
  }
  merged.insert(merged.end(), next, all.end());
  all = std::move(merged);
}

}  // namespace

std::array<FieldPairs, kFields> readCaptionTracks(Film& film) {
  std::array<FieldPairs, kFields> fields;
  for (const FilmTrack& track : film.tracks()) {
    if (!track.isCaptions()) continue;
    std::array<FieldPairs, kFields> own = CaptionWalk(film, track).read();
    for (std::size_t i = 0; i < kFields; ++i) mergeInto(fields[i], std::move(own[i]));
  }
  return fields;
}

std::vector<std::uint32_t> captionTrackIds(const Film& film) {
  std::vector<std::uint32_t> ids;
  for (const FilmTrack& track : film.tracks()) {
    if (track.isCaptions()) ids.push_back(track.id());
  }
  return ids;
}

std::vector<Splice> captionBytes(Film& film) {
  UnusedRanges unused;
  const auto forEachRangeOf = [&film](bool captions, const Film::VisitRange& visit) {
    for (const FilmTrack& track : film.tracks()) {
      if (track.isCaptions() == captions) film.forEachRange(track, visit);
    }
  };
  forEachRangeOf(true,
                 [&](std::uint64_t offset, std::uint64_t length) { unused.add(offset, length); });
  unused.unite();
  forEachRangeOf(false,
                 [&](std::uint64_t offset, std::uint64_t length) { unused.keep(offset, length); });
  return unused.splices();
}

}  // namespace quarrypack::embed
