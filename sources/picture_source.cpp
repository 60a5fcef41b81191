#include "sources/picture_source.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "captions/sei.h"
#include "kav/memory_size.h"
#include "sources/showings.h"

namespace quarrypack::sources {
namespace {

using captions::BytePair;
using captions::CcTriplet;
using captions::CcType;
using captions::Field;
using captions::NalUnit;
using captions::NalWalk;
using captions::Time;

// Enough for everything before the first slice of most pictures, captions included.
constexpr std::size_t kHead = 256;

// Captions come early in a unit, so no more of one is examined.
constexpr std::size_t kMostOfSei = 64 * 1024;

struct PicturePair {
  Field field;
  BytePair bytes;
};

// Finds the pairs in pictures. Its memory is reused for the next picture.
class PictureReader {
 public:
  explicit PictureReader(FilmFile& film) : film_(film) {}

  // Appends the pairs of a picture in byte order. Returns false if its units cannot be walked to
  // their end.
  bool read(const StoredSample& sample, PictureCoding coding, std::vector<PicturePair>& pairs) {
    std::uint64_t position = 0;
    std::size_t wanted = kHead;
    while (position < sample.size) {
      head_.resize(norvik::kav::sizeWithin(sample.size - position, wanted));
      film_.peekAt(sample.offset + position, head_);
      NalWalk walk(head_, sample.size - position, coding.nalLengthSize);
      wanted = walkHead(walk, coding, pairs);
      if (wanted == 0) return walk.stop() == NalWalk::Stop::endOfSample;
      position += next_;
    }
    return true;
  }

 private:
  // How many bytes are needed from next_ on; 0 if the walk is over.
  std::size_t walkHead(NalWalk& walk, PictureCoding coding, std::vector<PicturePair>& pairs) {
    while (const std::optional<NalUnit> unit = walk.next()) {
      const std::size_t needed = neededOf(*unit, coding);
      if (unit->bytes.size() < needed) {
        next_ = unit->offset;
        return unit->lengthSize + std::max(needed, kHead);
      }
      if (isSei(*unit, coding)) readSei(*unit, coding, pairs);
    }
    next_ = walk.position();
    return walk.stop() == NalWalk::Stop::needsBytes ? kHead : 0;
  }

  static bool isSei(const NalUnit& unit, PictureCoding coding) {
    return unit.bytes.size() >= coding.rules->headerSize &&
           coding.rules->type(unit.bytes) == coding.rules->seiType;
  }

  // The bytes of a unit that must be in memory.
  static std::size_t neededOf(const NalUnit& unit, PictureCoding coding) {
    const std::size_t most = isSei(unit, coding) ? kMostOfSei : coding.rules->headerSize;
    return std::min<std::size_t>(unit.size, most);
  }

  static void readSei(const NalUnit& nal, PictureCoding coding, std::vector<PicturePair>& pairs) {
    const captions::SeiUnit unit = captions::parseSeiUnit(nal.bytes, *coding.rules);
    for (const captions::SeiMessage& message : unit.messages) {
      const auto data = captions::captionData(unit, message);
      if (!data || !data->process) continue;
      for (const CcTriplet& triplet : data->triplets) {
        if (!triplet.valid || !triplet.is608()) continue;
        const Field field = triplet.type == CcType::field1 ? Field::one : Field::two;
        pairs.push_back({field, triplet.pair()});
      }
    }
  }

  FilmFile& film_;
  std::vector<std::uint8_t> head_;
  std::uint64_t next_ = 0;  // the offset of the next head in the current sample
};

// The pairs of a track, picture by picture.
class TrackPictures {
 public:
  TrackPictures(FilmFile& film, const FilmTrack& track) : reader_(film) {
    // Captions usually come with every picture. The count in a damaged file may be any number.
    constexpr std::uint32_t kMostReserved = 1u << 20;
    const std::uint32_t expected = std::min(track.sampleCount, kMostReserved);
    spans_.reserve(expected);
    ends_.reserve(expected);
    film.forEachSample(
        track, [&](const StoredSample& sample, bool isLast) { add(track, sample, isLast); });
  }

  std::size_t pictures() const { return pictures_; }
  std::size_t damaged() const { return damaged_; }
  bool areAllDamaged() const { return pairs_.empty() && pictures_ > 0 && damaged_ == pictures_; }

  void show(const EditList& edits, CaptionPairs& result) {
    sortByStart(spans_);
    const Showings showings = showPictures(edits, spans_);
    std::vector<MediaSpan>().swap(spans_);  // frees its memory
    reserve(result);
    for (const Showing& showing : showings.pictures) {
      const std::size_t begin = showing.sample == 0 ? 0 : ends_[showing.sample - 1];
      for (std::size_t i = begin; i < ends_[showing.sample]; ++i) {
        addPair(result.of(pairs_[i].field), {showing.start, pairs_[i].bytes});
      }
    }
    result.end = std::max(result.end, showings.end);
  }

 private:
  // Keeps the pictures with captions, and the last picture, which ends the film.
  void add(const FilmTrack& track, const StoredSample& sample, bool isLast) {
    const std::size_t index = sample.description - std::size_t{1};
    if (index < track.codings.size() && track.codings[index]) {
      ++pictures_;
      if (!reader_.read(sample, *track.codings[index], pairs_)) ++damaged_;
    }
    const std::size_t before = ends_.empty() ? 0 : ends_.back();
    if (pairs_.size() == before && !isLast) return;
    if (pairs_.size() > 2 * kMostPairs) {
      throw SourceError("there are more captions than any film has");
    }
    MediaSpan span = sample.span;
    span.sample = static_cast<std::uint32_t>(ends_.size());
    spans_.push_back(span);
    ends_.push_back(static_cast<std::uint32_t>(pairs_.size()));
  }

  void reserve(CaptionPairs& result) const {
    const auto ofField2 = static_cast<std::size_t>(
        std::count_if(pairs_.begin(), pairs_.end(),
                      [](const PicturePair& pair) { return pair.field == Field::two; }));
    result.of(Field::one).reserve(pairs_.size() - ofField2);
    result.of(Field::two).reserve(ofField2);
  }

  PictureReader reader_;
  std::vector<PicturePair> pairs_;
  std::vector<std::uint32_t> ends_;  // of each picture, among the pairs
  std::vector<MediaSpan> spans_;     // of these pictures
  std::size_t pictures_ = 0;
  std::size_t damaged_ = 0;
};

}  // namespace

bool hasCaptionPictures(const FilmFile& film) { return film.pictureTrack() != nullptr; }

CaptionPairs readPicturePairs(FilmFile& film) {
  CaptionPairs result;
  result.source = "pictures";
  result.end = film.duration();
  const FilmTrack* const track = film.pictureTrack();
  if (track == nullptr) return result;
  TrackPictures pictures(film, *track);
  if (pictures.areAllDamaged()) throw SourceError("all of its pictures are damaged or encrypted");
  if (pictures.damaged() > 0) {
    result.findings.push_back(
        "track " + std::to_string(track->id) + ": " + std::to_string(pictures.damaged()) + " of " +
        std::to_string(pictures.pictures()) + " pictures are damaged and were read in part");
  }
  pictures.show(track->edits, result);
  return result;
}

}  // namespace quarrypack::sources
