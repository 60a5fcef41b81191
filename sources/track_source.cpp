#include "sources/track_source.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>

#include "captions/caption_atoms.h"
#include "captions/caption_opening.h"
#include "captions/caption_times.h"
#include "sources/showings.h"

namespace quarrypack::sources {
namespace {

using captions::BytePair;
using captions::CaptionAtom;
using captions::CaptionAtoms;
using captions::Field;
using captions::FieldPairs;
using captions::Time;

// The pairs of one field of a track, sample by sample.
struct SampledPairs {
  std::vector<BytePair> pairs;
  std::vector<std::uint32_t> ends;  // of each sample, among the pairs

  std::span<const BytePair> sample(std::size_t index) const {
    const std::size_t begin = index == 0 ? 0 : ends[index - 1];
    return std::span(pairs).subspan(begin, ends[index] - begin);
  }
};

// A caption track in memory:
//
//     TrackPairs track(film, facts);
//     FieldPairs pairs = track.take(field);  // once for each field
class TrackPairs {
 public:
  TrackPairs(FilmFile& film, const FilmTrack& track) : track_(track) {
    // The number in a damaged file may be any.
    constexpr std::uint32_t kMostReserved = 1u << 20;
    const std::uint32_t expected = std::min(track.sampleCount, kMostReserved);
    spans_.reserve(expected);
    for (SampledPairs& field : sampled_) field.ends.reserve(expected);
    film.forEachSample(track, [&](const StoredSample& sample, bool) { add(film, sample); });
    sortByStart(spans_);
  }

  // The pairs of a field as the movie shows them; none of a field without captions. Frees what was
  // stored of the field: both are large.
  FieldPairs take(Field field) {
    const SampledPairs sampled = std::move(sampled_[indexOf(field)]);
    FieldPairs shown;
    if (isPadding(sampled.pairs)) return shown;
    shown.reserve(sampled.pairs.size());
    showCaptions(track_.edits, spans_,
                 [&](const MediaSpan& span, Time start) { show(sampled, span, start, shown); });
    captions::dropBeforeStart(shown, Time{0});
    return shown;
  }

  std::size_t oddAtoms() const { return oddAtoms_; }
  std::size_t otherAtoms() const { return otherAtoms_; }

 private:
  void add(FilmFile& film, const StoredSample& sample) {
    constexpr std::uint32_t kLargest = 64u << 20;
    if (sample.size > kLargest) throw SourceError("a sample of captions has more than 64 MiB");
    bytes_.resize(sample.size);
    if (sample.size > 0) film.readAt(sample.offset, bytes_);
    for (const CaptionAtom& atom : CaptionAtoms(bytes_)) addAtom(atom);
    for (SampledPairs& field : sampled_)
      field.ends.push_back(static_cast<std::uint32_t>(field.pairs.size()));
    MediaSpan span = sample.span;
    span.sample = static_cast<std::uint32_t>(spans_.size());
    spans_.push_back(span);
  }

  void addAtom(const CaptionAtom& atom) {
    const std::optional<Field> field = atom.field();
    if (!field) {
      ++otherAtoms_;
      return;
    }
    if (atom.pairCount() > atom.wholePairCount()) ++oddAtoms_;
    std::vector<BytePair>& pairs = sampled_[indexOf(*field)].pairs;
    if (pairs.size() + atom.wholePairCount() > kMostPairs) {
      throw SourceError("there are more captions than any film has");
    }
    for (std::size_t i = 0; i < atom.wholePairCount(); ++i) pairs.push_back(atom.pair(i));
  }

  static bool isPadding(std::span<const BytePair> pairs) {
    return std::all_of(pairs.begin(), pairs.end(),
                       [](const BytePair& pair) { return pair.isPadding(); });
  }

  void show(const SampledPairs& sampled, const MediaSpan& span, Time start, FieldPairs& shown) {
    const auto pairs = sampled.sample(span.sample);
    if (shown.size() + pairs.size() > kMostPairs) {
      throw SourceError("there are more captions than any film has");
    }
    // The last sample lasts until the end of the media, if that is known.
    const bool isLast = span.sample + 1 == spans_.size();
    const Time end = isLast ? std::max(track_.mediaDuration, span.start) : span.end;
    captions::appendSamplePairs(shown, pairs, {start, end - span.start, isLast});
  }

  const FilmTrack& track_;
  std::array<SampledPairs, 2> sampled_;
  std::vector<MediaSpan> spans_;
  std::vector<std::uint8_t> bytes_;  // of the current sample
  std::size_t oddAtoms_ = 0;
  std::size_t otherAtoms_ = 0;
};

// Enabled ones first.
std::vector<const FilmTrack*> captionTracks(const FilmFile& film) {
  std::vector<const FilmTrack*> tracks;
  for (const FilmTrack& track : film.tracks()) {
    if (track.isCaptions()) tracks.push_back(&track);
  }
  std::stable_partition(tracks.begin(), tracks.end(),
                        [](const FilmTrack* track) { return track->isEnabled; });
  return tracks;
}

std::string nameOf(const FilmTrack& track) { return "track " + std::to_string(track.id); }

std::string nameOf(Field field) { return field == Field::one ? "field 1" : "field 2"; }

bool isEmpty(const FieldPairs& field) {
  return std::all_of(field.begin(), field.end(),
                     [](const auto& pair) { return pair.bytes.isPadding(); });
}

// "1 atom has ..." or "3 atoms have ..."
std::string atoms(std::size_t count, const char* one, const char* several) {
  return std::to_string(count) + (count == 1 ? " atom " : " atoms ") + (count == 1 ? one : several);
}

void judge(const TrackPairs& pairs, const FilmTrack& track, std::vector<std::string>& findings) {
  if (pairs.oddAtoms() > 0) {
    findings.push_back(nameOf(track) + ": " + atoms(pairs.oddAtoms(), "has", "have") +
                       " an odd number of bytes, the last of which is left out");
  }
  if (pairs.otherAtoms() > 0) {
    findings.push_back(nameOf(track) + ": " + atoms(pairs.otherAtoms(), "is", "are") +
                       " for neither field and left out");
  }
}

void keep(FieldPairs pairs, Field field, const FilmTrack& track, CaptionPairs& result) {
  if (isEmpty(pairs)) return;
  if (result.of(field).empty()) {
    result.of(field) = std::move(pairs);
  } else {
    result.findings.push_back(nameOf(track) + " has captions of " + nameOf(field) +
                              " too, which are left out");
  }
}

}  // namespace

bool hasCaptionTrack(const FilmFile& film) { return !captionTracks(film).empty(); }

CaptionPairs readTrackPairs(FilmFile& film) {
  CaptionPairs result;
  result.source = "track";
  for (const FilmTrack* track : captionTracks(film)) {
    TrackPairs pairs(film, *track);
    judge(pairs, *track, result.findings);
    for (const Field field : captions::kBothFields) keep(pairs.take(field), field, *track, result);
  }
  result.end = film.duration();
  for (const FieldPairs& field : result.fields) {
    if (!field.empty()) result.end = std::max(result.end, field.back().time + captions::kPairTime);
  }
  return result;
}

}  // namespace quarrypack::sources
