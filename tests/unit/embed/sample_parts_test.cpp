#include "embed/sample_parts.h"

#include <gtest/gtest.h>

#include "embed/refusal.h"
#include "tests/support/box_builders.h"
#include "tests/unit/embed/pieces_of.h"

namespace quarrypack::embed {
namespace {

using namespace quarrypack::test;
using norvik::kav::BoxView;

constexpr std::uint32_t kTail = 0x01020304;

Bytes part16(std::uint32_t size) { return concat({u16(size), u16(0x0A00), u32(kTail)}); }
Bytes part32(std::uint32_t size) { return concat({u32(size), u16(0x0A00), u32(kTail)}); }

// Samples of 100,000 bytes lie one after the other from byte 1000 on; there are three.
std::optional<std::uint64_t> offsetOf(std::uint32_t sample) {
  if (sample > 2) return std::nullopt;
  return 1000 + std::uint64_t{sample} * 100'000;
}

Bytes after(const Bytes& subs, const OffsetMap& map, PartSizes sizes = PartSizes::asNeeded) {
  return piecesOf(subs, [&](const BoxView& view, BoxPieces& pieces) {
    appendSampleParts(view, offsetOf, sizes, map, pieces);
  });
}

Bytes subs(unsigned version, const Bytes& entries, std::uint32_t count) {
  return fullBox("subs", version, 5, u32(count), entries);
}

TEST(SampleParts, GrowByWhatIsInsertedInThem) {
  const auto table = [](std::uint32_t first, std::uint32_t second, std::uint32_t third) {
    return subs(
        0, concat({u32(1), u16(2), part16(first), part16(second), u32(2), u16(1), part16(third)}),
        2);
  };
  // At the first byte of the second part, in the sample between, and inside the part of the third.
  const OffsetMap map({{0, 500, 0}, {1030, 7, 0}, {101'000, 9, 0}, {201'005, 4, 1}});
  EXPECT_EQ(after(table(30, 40, 50), map), table(30, 47, 53));
}

TEST(SampleParts, StayAsTheyAreWhereNothingChanges) {
  const Bytes table = subs(0, concat({u32(2), u16(1), part16(30), u32(1), u16(0)}), 2);
  EXPECT_EQ(after(table, OffsetMap({{0, 500, 0}, {1000, 9, 0}})), table);
}

TEST(SampleParts, WidenSizesThatNeedIt) {
  const OffsetMap map({{1000, 10, 0}});
  EXPECT_EQ(after(subs(0, concat({u32(1), u16(2), part16(0xFFFA), part16(1)}), 1), map),
            subs(1, concat({u32(1), u16(2), part32(0x10004), part32(1)}), 1));
  EXPECT_EQ(after(subs(1, concat({u32(1), u16(1), part32(5)}), 1), map),
            subs(1, concat({u32(1), u16(1), part32(15)}), 1));
  EXPECT_EQ(after(subs(0, concat({u32(1), u16(1), part16(5)}), 1), OffsetMap(), PartSizes::wide),
            subs(1, concat({u32(1), u16(1), part32(5)}), 1));
}

TEST(SampleParts, AreRefusedWhereTheyLie) {
  for (const Bytes& bad : {box("subs"), subs(0, {}, 1), subs(0, concat({u32(1), u16(1)}), 1),
                           subs(0, concat({u32(0), u16(1), part16(5)}), 1),
                           subs(0, concat({u32(4), u16(1), part16(5)}), 1)}) {
    EXPECT_THROW(after(bad, OffsetMap()), Refusal);
  }
}

TEST(SampleParts, AreRefusedWhereOneOutgrowsItsSize) {
  const Bytes table = subs(1, concat({u32(1), u16(1), part32(0xFFFFFFF0)}), 1);
  EXPECT_EQ(after(table, OffsetMap({{1000, 15, 0}})),
            subs(1, concat({u32(1), u16(1), part32(0xFFFFFFFF)}), 1));
  EXPECT_THROW(after(table, OffsetMap({{1000, 16, 0}})), Refusal);
}

}  // namespace
}  // namespace quarrypack::embed
