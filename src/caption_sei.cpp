#include "src/caption_sei.h"

#include "kav/exception.h"
#include "src/presentation_time.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <limits>
#include <optional>
#include <utility>

namespace quarrypack {

std::uint8_t nalLengthSize = 4;

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kAtomHeader = 8;

// A unit counts its pairs in 5 bits. What fits into one atom of so many bytes goes into one unit;
// of anything longer each unit gets at most this much.
constexpr std::size_t kLargestSingleCaption = 56;
constexpr std::size_t kLargestPiece = 48;

constexpr std::uint32_t fourCharacters(const char (&code)[5]) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) value = value << 8 | static_cast<std::uint8_t>(code[i]);
  return value;
}

constexpr std::uint32_t kField1 = fourCharacters("cdat");
constexpr std::uint32_t kField2 = fourCharacters("cdt2");

std::uint32_t bigEndian(Bytes bytes) {
  std::uint32_t value = 0;
  for (const std::uint8_t byte : bytes) value = value << 8 | byte;
  return value;
}

struct CaptionAtom {
  std::uint32_t type;
  Bytes pairs;
  // What stands behind the atom: an odd atom borrows the second byte of its last pair there.
  std::uint8_t nextByte;
};

// Calls visit for every atom of a caption sample. An atom that claims to be smaller than its own
// header ends the walk, one that claims more bytes than there are gets those that there are.
template <class Visit>
void forEachAtom(Bytes caption, Visit visit) {
  while (caption.size() >= kAtomHeader) {
    const std::size_t claimed = bigEndian(caption.first(4));
    if (claimed < kAtomHeader) return;
    const std::size_t size = std::min(claimed, caption.size());
    const Bytes next = caption.subspan(size);
    visit(CaptionAtom{bigEndian(caption.subspan(4, 4)),
                      caption.subspan(kAtomHeader, size - kAtomHeader),
                      next.empty() ? std::uint8_t{0} : next[0]});
    caption = next;
  }
}

// The first byte of a triplet: the pair is valid, and of this field.
std::uint8_t tripletMarker(std::uint32_t atomType) {
  constexpr std::uint8_t kField1Marker = 0xFC;
  constexpr std::uint8_t kField2Marker = 0xFD;
  if (atomType == kField2) return kField2Marker;
  if (atomType != kField1) {
    std::cout << "Unknown 608 channel Type detected...Assuming it to for be channel one"
              << std::endl;
  }
  return kField1Marker;
}

// Appends the triplets of an atom. An odd atom gives one more than its whole pairs.
void appendTriplets(std::vector<std::uint8_t>& unit, const CaptionAtom& atom) {
  const std::uint8_t marker = tripletMarker(atom.type);
  for (std::size_t i = 0; i < atom.pairs.size(); i += 2) {
    unit.push_back(marker);
    unit.push_back(atom.pairs[i]);
    unit.push_back(i + 1 < atom.pairs.size() ? atom.pairs[i + 1] : atom.nextByte);
  }
}

// Turns atoms into a whole SEI NAL unit with its length in front. The caller sees to it that the
// pairs can be counted.
std::vector<std::uint8_t> buildCaptionUnit(std::span<const CaptionAtom> atoms) {
  constexpr std::array<std::uint8_t, 10> kHead{
      0x06,              // a NAL unit of type SEI
      0x04,              // user data registered by ITU-T T.35
      0xB5, 0x00, 0x31,  // country and provider
      'G',  'A',  '9',  '4',
      0x03,  // caption data
  };
  constexpr std::size_t kPayload = 2;  // where the payload begins and its size will stand
  constexpr std::uint8_t kCountByte = 0xC0;
  constexpr std::uint8_t kEmData = 0xFF;
  constexpr std::uint8_t kMarkerBits = 0xFF;
  constexpr std::uint8_t kTrailingBits = 0x80;
  constexpr std::size_t kBesideTriplets = 32;  // at most, unless many bytes must be escaped
  constexpr std::size_t kTriplet = 3;

  std::size_t count = 0;
  for (const CaptionAtom& atom : atoms) count += atom.pairs.size() / 2;

  std::vector<std::uint8_t> unit;
  unit.reserve(kBesideTriplets + kTriplet * count);
  unit.assign(kHead.begin(), kHead.end());
  unit.push_back(static_cast<std::uint8_t>(kCountByte | count));
  unit.push_back(kEmData);
  for (const CaptionAtom& atom : atoms) appendTriplets(unit, atom);
  unit.push_back(kMarkerBits);

  applyEmulationPrevention(unit);
  appendSeiPayloadSize(unit, kPayload);
  unit.push_back(kTrailingBits);
  prependNalLength(unit, nalLengthSize);
  return unit;
}

// Where the next unit goes, and whether every unit after it goes there too.
struct InsertionPoint {
  std::uint64_t position;
  NalSearchStart nextSearch;

  // The search will begin at the very unit that is now inserted, and stop there: it is an SEI.
  bool holdsFromNowOn() const { return nextSearch.position == position; }
};

// Walks the NAL units of a sample up to the first that captions go in front of, or to the end.
//
// The walk may begin where an earlier one left its mark: on the last NAL unit looked at, since all
// that led there stands in front of any place of insertion from now on, and so stays what it is.
// Only behind an empty NAL unit this is not so, because its header is the first byte of the unit
// behind it. Then the mark is left on the empty unit. The one in front of that cannot be empty too:
// its header would be the first byte of a length 0, which is no type to skip. Marks never go back,
// so however many captions go into a sample, its NAL units are walked once.
InsertionPoint findInsertionPoint(const SampleBytes& sample) {
  constexpr std::uint8_t kTypeMask = 0x1F;
  constexpr std::uint8_t kSequenceParameterSet = 7;
  constexpr std::uint8_t kPictureParameterSet = 8;
  constexpr std::uint8_t kAccessUnitDelimiter = 9;
  constexpr std::uint32_t kNegative = 0x80000000;

  const std::uint64_t size = sample.size();
  NalSearchStart mark = sample.nalSearchStart();
  if (mark.nalLengthSize != nalLengthSize) mark = {nalLengthSize, 0};

  std::uint64_t unit = mark.position;
  std::uint64_t found = size;
  while (unit < size) {
    std::array<std::uint8_t, 5> start{};
    const std::size_t count = std::min<std::uint64_t>(nalLengthSize + 1u, size - unit);
    sample.read(unit, std::span(start).first(count));

    const std::size_t prefix = std::min<std::size_t>(nalLengthSize, count);
    const std::uint32_t length = bigEndian(Bytes(start).first(prefix));
    if ((length & kNegative) != 0) {
      std::cout << "Error 3: Invalid NAL Length  Detected!!!" << std::endl;
      break;
    }
    if (prefix == count) break;

    const std::uint8_t type = start[prefix] & kTypeMask;
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

void insertUnits(SampleBytes& sample, const InsertionPoint& point,
                 std::vector<std::uint8_t> units) {
  sample.insert(point.position, std::move(units));
  sample.setNalSearchStart(point.nextSearch);
}

// Units that all go to the same place of a sample, each in front of the one before. They are
// collected and inserted together, because a caption sample can be cut into millions.
class UnitPile {
 public:
  explicit UnitPile(SampleBytes& sample) : sample_(sample) {}

  // Decides where the next unit goes. Called before the unit is built, so that messages keep their
  // order.
  void findPlace() {
    if (!point_ || !point_->holdsFromNowOn()) point_ = findInsertionPoint(sample_);
  }

  void add(std::vector<std::uint8_t> unit) {
    if (!point_->holdsFromNowOn()) {
      insertUnits(sample_, *point_, std::move(unit));
      return;
    }
    lengths_.push_back(static_cast<std::uint16_t>(unit.size()));
    units_.insert(units_.end(), unit.begin(), unit.end());
  }

  void insert() {
    if (units_.empty()) return;
    // Turned round as a whole and then one by one, the units stand last to first.
    std::reverse(units_.begin(), units_.end());
    std::reverse(lengths_.begin(), lengths_.end());
    auto unit = units_.begin();
    for (const std::uint16_t length : lengths_) {
      std::reverse(unit, unit + length);
      unit += length;
    }
    insertUnits(sample_, *point_, std::move(units_));
  }

 private:
  SampleBytes& sample_;
  std::optional<InsertionPoint> point_;
  std::vector<std::uint8_t> units_;
  std::vector<std::uint16_t> lengths_;
};

// A caption small enough for one unit, which takes all its atoms.
void insertSingle(SampleBytes& sample, Bytes caption) {
  std::array<CaptionAtom, kLargestSingleCaption / kAtomHeader> atoms{};
  std::size_t count = 0;
  forEachAtom(caption, [&](const CaptionAtom& atom) { atoms[count++] = atom; });

  const InsertionPoint point = findInsertionPoint(sample);
  insertUnits(sample, point, buildCaptionUnit(std::span(atoms).first(count)));
}

// A caption too large for one unit. Each atom is cut into pieces, each piece is a caption of its
// own: an odd one has nothing behind it to borrow from.
void insertInPieces(SampleBytes& sample, Bytes caption) {
  UnitPile pile(sample);
  forEachAtom(caption, [&](const CaptionAtom& atom) {
    for (Bytes rest = atom.pairs; !rest.empty();) {
      const Bytes pairs = rest.first(std::min(rest.size(), kLargestPiece));
      rest = rest.subspan(pairs.size());
      const CaptionAtom piece{atom.type, pairs, 0};
      pile.findPlace();
      pile.add(buildCaptionUnit(std::span(&piece, 1)));
    }
  });
  pile.insert();
}

}  // namespace

void attachCaptionSample(SortedGroup& sortedGroup, std::unique_ptr<CaptionSample>& captionSample) {
  const std::uint64_t due = presentationTime(
      captionSample->decodingTime, captionSample->compositionOffset, captionSample->timescale);
  const std::optional<std::size_t> target = sortedGroup.firstShownAt(due, captionSample->timescale);
  if (!target) return;
  insertCaptionSei(sortedGroup.bytes(*target), sortedGroup.record(*target), captionSample->bytes);
  captionSample.reset();
}

void insertCaptionSei(SampleBytes& videoSampleBytes, PendingSample& videoSampleRecord,
                      std::span<const std::uint8_t> captionBytes) {
  if (captionBytes.size() <= kLargestSingleCaption) {
    insertSingle(videoSampleBytes, captionBytes);
  } else {
    insertInPieces(videoSampleBytes, captionBytes);
  }
  if (videoSampleBytes.size() > std::numeric_limits<std::uint32_t>::max()) {
    throw norvik::kav::Exception(norvik::kav::ErrorCode::implausibleCount);
  }
  videoSampleRecord.size = static_cast<std::uint32_t>(videoSampleBytes.size());
}

void applyEmulationPrevention(std::vector<std::uint8_t>& buffer) {
  constexpr std::uint8_t kEscape = 0x03;
  bool previousZero = false;
  bool previousTwoZero = false;
  for (std::size_t i = 0; i < buffer.size(); ++i) {
    const std::uint8_t byte = buffer[i];
    if (previousTwoZero && byte < kEscape) {
      buffer.insert(buffer.begin() + static_cast<std::ptrdiff_t>(i), kEscape);
      ++i;
      // The escaped byte does not count as a zero of its own.
      previousZero = previousTwoZero = false;
    } else {
      previousTwoZero = previousZero && byte == 0;
      previousZero = byte == 0;
    }
  }
}

std::size_t appendSeiPayloadSize(std::vector<std::uint8_t>& buffer, std::size_t position) {
  constexpr std::uint8_t kFull = 255;
  const std::size_t count = buffer.size() - position;
  // Exactly 255 stays one byte, although readers take it for the first of two: streams have always
  // been written so.
  const std::size_t fullBytes = count > kFull ? count / kFull : 0;
  const std::size_t lastByte = count > kFull ? count % kFull : count;
  buffer.insert(buffer.begin() + static_cast<std::ptrdiff_t>(position), fullBytes + 1, kFull);
  buffer[position + fullBytes] = static_cast<std::uint8_t>(lastByte);
  return fullBytes + 1;
}

void prependNalLength(std::vector<std::uint8_t>& buffer, std::uint8_t lengthSize) {
  std::size_t length = buffer.size();
  buffer.insert(buffer.begin(), lengthSize, 0);
  for (std::size_t i = lengthSize; i > 0; length >>= 8) {
    buffer[--i] = static_cast<std::uint8_t>(length);
  }
}

}  // namespace quarrypack
