#include "embed/portable_boxes.h"

#include "embed/box_rebuild.h"
#include "embed/item_places.h"
#include "kav/big_endian.h"
#include "kav/four_cc.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <optional>

namespace quarrypack::embed {

using norvik::kav::BoxView;
using norvik::kav::FourCc;
using norvik::kav::fourCc;
using norvik::kav::loadU16;
using norvik::kav::loadU32;
using norvik::kav::loadU64;
using norvik::kav::storeU16;
using norvik::kav::storeU32;

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kVersionAndFlags = 4;

// ---- hdlr

constexpr std::size_t kHandlerFields = 24;
constexpr std::size_t kComponentType = 4;

// A name of QuickTime begins with its length. Only a box without a component type leaves a doubt:
// there the first byte must fit and be no printable character.
bool isCounted(Bytes name, bool isQuickTime) {
  constexpr std::uint8_t kFirstPrintable = 0x20;
  if (name.empty()) return false;
  if (isQuickTime) return name[0] < name.size();
  const bool fits = name[0] == name.size() - 1;
  return fits && (name.back() != 0 || (name[0] < kFirstPrintable && name[0] > 0));
}

Bytes uncounted(Bytes name) { return name.subspan(1, name[0]); }

Bytes upToZero(Bytes name) {
  const auto end = std::find(name.begin(), name.end(), std::uint8_t{0});
  return name.first(static_cast<std::size_t>(end - name.begin()));
}

// ---- dref

constexpr std::size_t kListFields = 8;  // version, flags, count

bool refersToItself(const BoxView& reference) {
  constexpr std::uint8_t kSelfContained = 1;
  return reference.payload().size() >= kVersionAndFlags &&
         (reference.payload()[3] & kSelfContained) != 0;
}

void appendPortableReference(const BoxView& reference, BoxPieces& pieces) {
  if (reference.type() != fourCc("alis") || !refersToItself(reference)) {
    return pieces.keep(reference.bytes());
  }
  const BoxPieces::Mark url = pieces.open(fourCc("url "));
  pieces.addU32(1);  // version 0, and the flag for media in the same file
  pieces.close(url);
}

// ---- sound entries

// Positions from the start of the entry.
constexpr std::size_t kSoundVersion = 16;
constexpr std::size_t kSoundChannels = 24;
constexpr std::size_t kSoundRate = 32;
constexpr std::size_t kSoundFields = 36;
constexpr std::size_t kSoundFields1 = 52;
constexpr std::size_t kSoundFields2 = 72;
constexpr std::size_t kSoundRate2 = 40;
constexpr std::size_t kSoundChannels2 = 48;

// Where the boxes of an entry of version 1 or 2 begin; none for other entries.
std::optional<std::size_t> fieldsOfLaterVersion(const BoxView& entry) {
  constexpr std::size_t kPlainHeader = 8;
  if (entry.headerLength() != kPlainHeader || entry.bytes().size() < kSoundFields) {
    return std::nullopt;
  }
  const std::uint16_t version = loadU16(entry.bytes().data() + kSoundVersion);
  if (version != 1 && version != 2) return std::nullopt;
  const std::size_t length = version == 1 ? kSoundFields1 : kSoundFields2;
  if (entry.bytes().size() < length) return std::nullopt;
  return length;
}

std::optional<BoxView> firstOf(Bytes boxes, FourCc type) {
  std::optional<BoxView> found;
  forEachBox(boxes, [&](const BoxView& box) {
    if (!found && box.type() == type) found = box;
  });
  return found;
}

// The rate of version 2 as a 16.16 number; 0 if it does not fit, as other writers have it.
std::uint32_t fixedRate(double rate) {
  constexpr double kLimit = 65536;
  return rate >= 1 && rate < kLimit ? static_cast<std::uint32_t>(rate * kLimit) : 0;
}

// The 36 bytes of an entry of version 0 with the same meaning as one of version 1 or 2.
std::array<std::uint8_t, kSoundFields> plainSoundFields(Bytes entry) {
  constexpr std::uint16_t kSampleSize = 16;  // what compressed sound has
  constexpr std::uint32_t kMostChannels = std::numeric_limits<std::uint16_t>::max();
  std::array<std::uint8_t, kSoundFields> fields{};
  std::copy_n(entry.begin(), kSoundVersion, fields.begin());
  const bool isVersion2 = loadU16(entry.data() + kSoundVersion) == 2;
  const std::uint32_t channels =
      isVersion2 ? loadU32(entry.data() + kSoundChannels2) : loadU16(entry.data() + kSoundChannels);
  const std::uint32_t rate =
      isVersion2 ? fixedRate(std::bit_cast<double>(loadU64(entry.data() + kSoundRate2)))
                 : loadU32(entry.data() + kSoundRate);
  storeU16(fields.data() + kSoundChannels,
           static_cast<std::uint16_t>(std::min(channels, kMostChannels)));
  storeU16(fields.data() + kSoundChannels + 2, kSampleSize);
  storeU32(fields.data() + kSoundRate, rate);
  return fields;
}

void appendPortableSoundEntry(const BoxView& entry, BoxPieces& pieces) {
  constexpr std::size_t kHeader = 8;
  const std::optional<std::size_t> fieldsLength = fieldsOfLaterVersion(entry);
  if (!fieldsLength) return pieces.keep(entry.bytes());
  const Bytes boxes = entry.bytes().subspan(*fieldsLength);
  const std::optional<BoxView> wave = firstOf(boxes, fourCc("wave"));
  const std::optional<BoxView> esds =
      wave ? firstOf(wave->payload(), fourCc("esds")) : std::nullopt;
  if (!esds) return pieces.keep(entry.bytes());

  const auto fields = plainSoundFields(entry.bytes());
  const BoxPieces::Mark mark = pieces.open(entry.type());
  pieces.add(Bytes(fields).subspan(kHeader));
  pieces.keep(esds->bytes());
  pieces.keep(forEachBox(boxes, [&](const BoxView& box) {
    if (box.bytes().data() != wave->bytes().data()) pieces.keep(box.bytes());
  }));
  pieces.close(mark);
}

// ---- ctts

constexpr std::size_t kOffsetEntry = 8;

// ---- ftyp

void addBrand(std::vector<FourCc>& brands, FourCc brand) {
  const bool isWanted = brand != fourCc("qt  ") && brand != 0;
  if (isWanted && std::find(brands.begin(), brands.end(), brand) == brands.end()) {
    brands.push_back(brand);
  }
}

// The major brand and the compatible ones.
void addBrandsOf(Bytes ftyp, std::vector<FourCc>& brands) {
  constexpr std::size_t kBrand = 4;
  constexpr std::size_t kMostBrands = 256;
  const std::optional<BoxView> box = BoxView::at(ftyp);
  if (!box) return;
  const Bytes payload = box->payload();
  for (std::size_t i = 0; i + kBrand <= payload.size() && brands.size() < kMostBrands;
       i += kBrand) {
    const bool isMinorVersion = i == kBrand;
    if (!isMinorVersion) addBrand(brands, loadU32(payload.data() + i));
  }
}

}  // namespace

void appendPortableHandler(const BoxView& hdlr, BoxPieces& pieces) {
  const Bytes payload = hdlr.payload();
  if (payload.size() < kHandlerFields) return pieces.keep(hdlr.bytes());
  const bool isQuickTime = loadU32(payload.data() + kComponentType) != 0;
  const Bytes name = payload.subspan(kHandlerFields);
  const bool counted = isCounted(name, isQuickTime);
  const Bytes plain = counted ? uncounted(name) : upToZero(name);
  if (!isQuickTime && !counted && plain.size() < name.size()) return pieces.keep(hdlr.bytes());

  constexpr std::uint8_t kZero = 0;
  const BoxPieces::Mark mark = pieces.open(hdlr.type());
  pieces.keep(payload.first(kComponentType));
  pieces.addU32(0);
  pieces.keep(payload.first(kHandlerFields).subspan(kComponentType + 4));
  pieces.keep(upToZero(plain));
  pieces.add(Bytes(&kZero, 1));
  pieces.close(mark);
}

namespace {

void appendMetadata(const BoxView& meta, const OffsetMap* map, BoxPieces& pieces) {
  const Bytes payload = meta.payload();
  const std::optional<BoxView> first = BoxView::at(payload);
  const bool isQuickTime = first && first->type() == fourCc("hdlr");
  const std::size_t fieldsLength = isQuickTime ? 0 : kVersionAndFlags;
  if (payload.size() < fieldsLength) return pieces.keep(meta.bytes());

  const BoxPieces::Mark mark = pieces.open(meta.type());
  if (isQuickTime) pieces.addU32(0);
  pieces.keep(payload.first(fieldsLength));
  pieces.keep(forEachBox(payload.subspan(fieldsLength), [&pieces, map](const BoxView& child) {
    if (child.type() == fourCc("hdlr")) return appendPortableHandler(child, pieces);
    if (map != nullptr && child.type() == fourCc("iloc")) {
      return appendItemPlaces(child, *map, pieces);
    }
    pieces.keep(child.bytes());
  }));
  pieces.close(mark);
}

void appendUserData(const BoxView& udta, const OffsetMap* map, BoxPieces& pieces) {
  constexpr std::array<std::uint8_t, 4> kTerminator{};
  const BoxPieces::Mark mark = pieces.open(udta.type());
  const Bytes rest = forEachBox(udta.payload(), [&pieces, map](const BoxView& child) {
    if (child.type() == fourCc("meta")) return appendMetadata(child, map, pieces);
    pieces.keep(child.bytes());
  });
  if (!std::equal(rest.begin(), rest.end(), kTerminator.begin(), kTerminator.end())) {
    pieces.keep(rest);
  }
  pieces.close(mark);
}

}  // namespace

void appendPortableMetadata(const BoxView& meta, BoxPieces& pieces) {
  appendMetadata(meta, nullptr, pieces);
}

void appendMovedMetadata(const BoxView& meta, const OffsetMap& map, BoxPieces& pieces) {
  appendMetadata(meta, &map, pieces);
}

void appendPortableUserData(const BoxView& udta, BoxPieces& pieces) {
  appendUserData(udta, nullptr, pieces);
}

void appendMovedUserData(const BoxView& udta, const OffsetMap& map, BoxPieces& pieces) {
  appendUserData(udta, &map, pieces);
}

void appendPortableDataInformation(const BoxView& dinf, BoxPieces& pieces) {
  rebuildBox(dinf, pieces, 0, [&pieces](const BoxView& child) {
    if (child.type() != fourCc("dref")) return pieces.keep(child.bytes());
    rebuildBox(child, pieces, kListFields,
               [&pieces](const BoxView& reference) { appendPortableReference(reference, pieces); });
  });
}

void appendPortableSoundDescriptions(const BoxView& stsd, BoxPieces& pieces) {
  // In a box of version 1, entries of version 1 are those of MP4, without the fields of QuickTime.
  if (stsd.payload().empty() || stsd.payload()[0] != 0) return pieces.keep(stsd.bytes());
  rebuildBox(stsd, pieces, kListFields,
             [&pieces](const BoxView& entry) { appendPortableSoundEntry(entry, pieces); });
}

bool hasNegativeOffsets(const BoxView& ctts) {
  if (ctts.payload().size() < kListFields) return false;
  return hasNegativeAtEnd(ctts.payload().subspan(kListFields), kOffsetEntry);
}

bool tableHasNegativeOffsets(const BoxView& stbl) {
  bool found = false;
  forEachBox(stbl.payload(), [&found](const BoxView& box) {
    found = found || (box.type() == fourCc("ctts") && hasNegativeOffsets(box));
  });
  return found;
}

void appendPortableCompositionOffsets(const BoxView& ctts, BoxPieces& pieces) {
  const bool isVersion0 = !ctts.payload().empty() && ctts.payload()[0] == 0;
  if (!isVersion0 || !hasNegativeOffsets(ctts)) return pieces.keep(ctts.bytes());
  constexpr std::uint8_t kSigned = 1;
  const BoxPieces::Mark mark = pieces.open(ctts.type());
  pieces.add(Bytes(&kSigned, 1));
  pieces.keep(ctts.payload().subspan(1));
  pieces.close(mark);
}

std::vector<std::uint8_t> portableFileType(Bytes ftyp, Brands wanted) {
  std::vector<FourCc> brands = {fourCc("mp42"), fourCc("isom")};
  addBrandsOf(ftyp, brands);
  if (wanted.negativeOffsets) addBrand(brands, fourCc("iso4"));
  if (wanted.fragments) addBrand(brands, fourCc("iso5"));

  BoxPieces pieces;
  const BoxPieces::Mark mark = pieces.open(fourCc("ftyp"));
  pieces.addU32(brands.front());
  pieces.addU32(0);  // minor version
  for (const FourCc brand : brands) pieces.addU32(brand);
  pieces.close(mark);
  return pieces.joined();
}

}  // namespace quarrypack::embed
