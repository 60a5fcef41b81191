#include "embed/kept_fields.h"

#include <algorithm>
#include <array>
#include <utility>

#include "embed/box_pieces.h"
#include "kav/four_cc.h"

namespace quarrypack::embed {

using norvik::kav::BoxView;
using norvik::kav::fourCc;
using norvik::kav::loadU32;

namespace {

using Bytes = std::span<const std::uint8_t>;

// Compares boxes after some bytes of fields, in their order.
template <class AreEqual>
bool areEqualLists(const BoxView& a, const BoxView& b, std::size_t fields, AreEqual areEqualBoxes) {
  if (a.payload().size() < fields || b.payload().size() < fields) return false;
  Boxes ones(a.payload().subspan(fields));
  Boxes others(b.payload().subspan(fields));
  while (const auto one = ones.next()) {
    const auto other = others.next();
    if (!other || one->type() != other->type() || !areEqualBoxes(*one, *other)) return false;
  }
  return areEqual(a.payload().first(fields), b.payload().first(fields)) &&
         areEqual(ones.rest(), others.rest());
}

}  // namespace

bool areEqual(Bytes a, Bytes b) { return std::equal(a.begin(), a.end(), b.begin(), b.end()); }

std::uint32_t u32At(const BoxView& box, std::size_t position) {
  return box.payload().size() < position + 4 ? 0 : loadU32(box.payload().data() + position);
}

std::vector<std::uint8_t> withoutPlaces(const BoxView& trun, bool withoutSizes) {
  constexpr std::uint32_t kDataOffset = 0x000001;
  constexpr std::uint32_t kSizes = 0x000200;
  constexpr std::uint32_t kOffsets = 0x000800;
  constexpr std::array<std::uint32_t, 4> kFields{0x000100, kSizes, 0x000400, kOffsets};
  constexpr std::uint8_t kSign = 0x80;
  const Bytes payload = trun.payload();
  const std::uint32_t flags = u32At(trun, 0);
  std::vector<std::uint8_t> rest;
  const auto take = [&](std::size_t position) {
    if (position + 4 > payload.size()) return;
    const Bytes field = payload.subspan(position, 4);
    rest.insert(rest.end(), field.begin(), field.end());
  };
  BoxPieces head;
  head.addU32(flags & ~(kDataOffset | (withoutSizes ? kSizes : 0)));
  rest = head.joined();
  take(4);  // the number of samples
  std::size_t position = (flags & kDataOffset) != 0 ? 12 : 8;
  if ((flags & 4) != 0) take(std::exchange(position, position + 4));
  // A run without fields claims any number of samples in no bytes.
  const bool hasFields = std::any_of(kFields.begin(), kFields.end(),
                                     [flags](std::uint32_t field) { return (flags & field) != 0; });
  const std::uint32_t count = hasFields ? u32At(trun, 4) : 0;
  for (std::uint32_t i = 0; i < count && position < payload.size(); ++i) {
    for (const std::uint32_t field : kFields) {
      if ((flags & field) == 0) continue;
      if (field != kSizes || !withoutSizes) take(position);
      const bool isNegative = field == kOffsets && (rest[rest.size() - 4] & kSign) != 0;
      if (isNegative && rest[0] == 0) rest[0] = 1;
      position += 4;
    }
  }
  return rest;
}

std::vector<std::uint8_t> withoutBase(const BoxView& tfhd) {
  constexpr std::uint32_t kBase = 0x000001;
  constexpr std::uint32_t kBaseIsMoof = 0x020000;
  const std::size_t afterBase = (u32At(tfhd, 0) & kBase) != 0 ? 16 : 8;
  BoxPieces pieces;
  pieces.addU32(u32At(tfhd, 0) & ~(kBase | kBaseIsMoof));
  pieces.addU32(u32At(tfhd, 4));
  pieces.add(tfhd.payload().subspan(std::min(afterBase, tfhd.payload().size())));
  return pieces.joined();
}

std::vector<std::uint8_t> withoutOffsets(const BoxView& sidx) {
  constexpr std::size_t kEntry = 12;
  const std::size_t width = !sidx.payload().empty() && sidx.payload()[0] != 0 ? 8 : 4;
  const std::size_t offset = 12 + width;
  std::vector<std::uint8_t> bytes(sidx.payload().begin(), sidx.payload().end());
  const auto clear = [&bytes](std::size_t from, std::size_t count) {
    for (std::size_t i = from; i < std::min(from + count, bytes.size()); ++i) bytes[i] = 0;
  };
  clear(offset, width);
  for (std::size_t entry = offset + width + 4; entry < bytes.size(); entry += kEntry) {
    clear(entry, 4);
  }
  return bytes;
}

bool areEqualMetadata(const BoxView& a, const BoxView& b) {
  constexpr std::size_t kVersionAndFlags = 4;
  return areEqualLists(a, b, kVersionAndFlags, [](const BoxView& one, const BoxView& other) {
    return one.type() == fourCc("iloc") ? one.bytes().size() == other.bytes().size()
                                        : areEqual(one.bytes(), other.bytes());
  });
}

bool areEqualUserData(const BoxView& a, const BoxView& b) {
  return areEqualLists(a, b, 0, [](const BoxView& one, const BoxView& other) {
    return areEqual(one.bytes(), other.bytes()) ||
           (one.type() == fourCc("meta") && areEqualMetadata(one, other));
  });
}

}  // namespace quarrypack::embed
