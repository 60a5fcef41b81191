#include "src/caption_sei.h"

#include "captions/byte_reader.h"
#include "captions/caption_atoms.h"
#include "captions/nal_units.h"
#include "captions/sei.h"
#include "kav/exception.h"
#include "kav/memory_size.h"
#include "src/presentation_time.h"

#include <algorithm>
#include <array>
#include <boost/container/static_vector.hpp>
#include <limits>
#include <optional>
#include <vector>

namespace quarrypack {

std::uint8_t nalLengthSize = 4;

namespace {

using Bytes = std::span<const std::uint8_t>;
using captions::CaptionAtom;
using captions::CaptionAtoms;

static_assert(kLargestPiece / 2 <= captions::kMostTriplets);

captions::CcType ccTypeOf(const CaptionAtom& atom, ConversionListener& listener) {
  const std::optional<captions::Field> field = atom.field();
  if (field) return captions::ccTypeOf(*field);
  listener.unknownCaptionAtom();
  return captions::CcType::field1;
}

// The pairs of one unit. An odd atom gives one pair more than the unit's count states.
class UnitPairs {
 public:
  void add(const CaptionAtom& atom, ConversionListener& listener) {
    const captions::CcType type = ccTypeOf(atom, listener);
    for (std::size_t i = 0; i < atom.pairCount(); ++i) {
      const captions::BytePair pair = atom.pair(i);
      triplets_.push_back({true, type, pair.first, pair.second});
    }
    statedCount_ += atom.wholePairCount();
  }

  // The unit. It is valid while this object lives.
  Bytes build() {
    const captions::CaptionUnitForm form{.nalLengthSize = nalLengthSize};
    const auto unit = std::span(unit_).first(captions::captionUnitSize(form, triplets_.size()));
    captions::writeCaptionUnit(unit, form, {triplets_.data(), triplets_.size()}, statedCount_);
    return unit;
  }

 private:
  boost::container::static_vector<captions::CcTriplet, captions::kMostTriplets> triplets_;
  std::array<std::uint8_t, captions::kLargestCaptionUnit> unit_;
  std::size_t statedCount_ = 0;
};

// Reads a sample from front to back in few reads: the units before a picture are short.
class SampleHead {
 public:
  explicit SampleHead(const SampleBytes& sample) : sample_(sample) {}

  // Up to count bytes from a position on, fewer at the end of the sample. Each call ends the use of
  // the bytes of the one before it.
  Bytes read(std::uint64_t position, std::size_t count) {
    count = norvik::kav::sizeWithin(sample_.size() - position, count);
    if (position < start_ || position + count > start_ + length_) fetch(position);
    return Bytes(bytes_).subspan(static_cast<std::size_t>(position - start_), count);
  }

 private:
  static constexpr std::size_t kFetched = 32;

  void fetch(std::uint64_t position) {
    start_ = position;
    length_ = norvik::kav::sizeWithin(sample_.size() - position, kFetched);
    sample_.read(position, std::span(bytes_).first(length_));
  }

  const SampleBytes& sample_;
  std::uint64_t start_ = 0;
  std::size_t length_ = 0;
  std::array<std::uint8_t, kFetched> bytes_{};
};

// Where the next unit is inserted, and whether every later unit is inserted there too.
struct InsertionPoint {
  std::uint64_t position = 0;
  NalSearchStart nextSearch = {};

  // The next search begins at the unit inserted now, and stops there because it is an SEI unit.
  bool holdsFromNowOn() const { return nextSearch.position == position; }
};

// Walks the NAL units of a sample up to the first that captions are inserted before, or to the end.
//
// The walk may begin at the mark that an earlier walk left: the last NAL unit it looked at. All
// units before the mark lie before any later insertion, so they do not change. An empty NAL unit is
// the exception, because its header is the first byte of the next unit. Then the mark stays on the
// empty unit. The unit before it cannot be empty too: its header would be the first byte of a
// length of 0, and that type ends the walk. Marks never move back, so the NAL units of a sample are
// walked once, however many captions are inserted.
InsertionPoint findInsertionPoint(const SampleBytes& sample, ConversionListener& listener) {
  constexpr std::uint8_t kSequenceParameterSet = 7;
  constexpr std::uint8_t kPictureParameterSet = 8;
  constexpr std::uint8_t kAccessUnitDelimiter = 9;
  constexpr std::uint32_t kNegative = 0x80000000;

  const std::uint64_t size = sample.size();
  NalSearchStart mark = sample.nalSearchStart();
  if (mark.nalLengthSize != nalLengthSize) mark = {nalLengthSize, 0};

  SampleHead head(sample);
  std::uint64_t unit = mark.position;
  std::uint64_t found = size;
  while (unit < size) {
    const Bytes start = head.read(unit, nalLengthSize + 1u);
    const std::size_t prefix = std::min<std::size_t>(nalLengthSize, start.size());
    const std::uint32_t length = captions::ByteReader(start).number(prefix);
    if ((length & kNegative) != 0) {
      listener.invalidNalLength();
      break;
    }
    if (prefix == start.size()) break;

    const std::uint8_t type = captions::kH264Rules.type(start.subspan(prefix));
    if (type != kSequenceParameterSet && type != kPictureParameterSet &&
        type != kAccessUnitDelimiter) {
      found = unit;
      break;
    }
    const std::uint64_t next = unit + prefix + length;
    mark.position = length == 0 ? unit : next;
    unit = next;
  }
  return {found, mark};
}

void insertUnits(SampleBytes& sample, const InsertionPoint& point, Bytes units) {
  sample.insert(point.position, units);
  sample.setNalSearchStart(point.nextSearch);
}

// Units that are all inserted at one place of a sample, each before the earlier ones. They are
// collected and inserted together, because one caption sample may be cut into millions.
class UnitPile {
 public:
  UnitPile(SampleBytes& sample, ConversionListener& listener)
      : sample_(sample), listener_(listener) {}

  void add(const CaptionAtom& piece) {
    // The place is determined first, to keep the order of the messages.
    if (!isFound_ || !point_.holdsFromNowOn()) point_ = findInsertionPoint(sample_, listener_);
    isFound_ = true;
    UnitPairs pairs;
    pairs.add(piece, listener_);
    const Bytes unit = pairs.build();
    if (!point_.holdsFromNowOn()) {
      insertUnits(sample_, point_, unit);
      return;
    }
    lengths_.push_back(static_cast<std::uint16_t>(unit.size()));
    units_.insert(units_.end(), unit.begin(), unit.end());
  }

  void insert() {
    if (units_.empty()) return;
    // Reversed as a whole and then one by one, the units are in order from last to first.
    std::reverse(units_.begin(), units_.end());
    std::reverse(lengths_.begin(), lengths_.end());
    auto unit = units_.begin();
    for (const std::uint16_t length : lengths_) {
      std::reverse(unit, unit + length);
      unit += length;
    }
    insertUnits(sample_, point_, units_);
  }

 private:
  SampleBytes& sample_;
  ConversionListener& listener_;
  InsertionPoint point_;
  bool isFound_ = false;  // whether point_ is that of the latest unit
  std::vector<std::uint8_t> units_;
  std::vector<std::uint16_t> lengths_;
};

// A caption small enough for one unit, which takes all its atoms.
void insertSingle(SampleBytes& sample, Bytes caption, ConversionListener& listener) {
  const InsertionPoint point = findInsertionPoint(sample, listener);
  UnitPairs pairs;
  for (const CaptionAtom& atom : CaptionAtoms(caption)) pairs.add(atom, listener);
  insertUnits(sample, point, pairs.build());
}

// A caption too large for one unit. Each atom is cut into pieces, and each piece is a caption of
// its own: an odd piece has no following byte to borrow.
void insertInPieces(SampleBytes& sample, Bytes caption, ConversionListener& listener) {
  UnitPile pile(sample, listener);
  for (const CaptionAtom& atom : CaptionAtoms(caption)) {
    for (Bytes rest = atom.pairs; !rest.empty();) {
      const Bytes pairs = rest.first(std::min(rest.size(), kLargestPiece));
      rest = rest.subspan(pairs.size());
      pile.add({atom.type, pairs, 0});
    }
  }
  pile.insert();
}

}  // namespace

void attachCaptionSample(SortedGroup& sortedGroup, std::optional<CaptionSample>& captionSample,
                         ConversionListener& listener) {
  const std::uint64_t due = presentationTime(
      captionSample->decodingTime, captionSample->compositionOffset, captionSample->timescale);
  const std::optional<std::size_t> target = sortedGroup.firstShownAt(due, captionSample->timescale);
  if (!target) return;
  listener.captionAttaching(*captionSample, *target);
  insertCaptionSei(sortedGroup.bytes(*target), sortedGroup.record(*target), captionSample->bytes,
                   listener);
  captionSample.reset();
}

void insertCaptionSei(SampleBytes& videoSampleBytes, PendingSample& videoSampleRecord,
                      std::span<const std::uint8_t> captionBytes, ConversionListener& listener) {
  if (captionBytes.size() <= kLargestSingleCaption) {
    insertSingle(videoSampleBytes, captionBytes, listener);
  } else {
    insertInPieces(videoSampleBytes, captionBytes, listener);
  }
  if (videoSampleBytes.size() > std::numeric_limits<std::uint32_t>::max()) {
    throw norvik::kav::Exception(norvik::kav::ErrorCode::implausibleCount);
  }
  videoSampleRecord.size = static_cast<std::uint32_t>(videoSampleBytes.size());
}

}  // namespace quarrypack
