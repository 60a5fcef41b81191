#include "embed/kept_fields.h"

#include <gtest/gtest.h>

#include "tests/support/box_builders.h"

namespace quarrypack::embed {
namespace {

using namespace quarrypack::test;
using norvik::kav::BoxView;

BoxView view(const Bytes& box) { return BoxView::at(box).value(); }

// ---- Fields of runs

constexpr std::uint32_t kAllFields = 0x000F01;  // data offset, duration, size, flags, offset
constexpr std::uint32_t kNoSizes = 0x000D00;

Bytes withoutPlacesOf(const Bytes& trun, bool withoutSizes = false) {
  return withoutPlaces(view(trun), withoutSizes);
}

TEST(KeptFields, OfARunAreAllButPlaces) {
  const Bytes run =
      fullBox("trun", 0, kAllFields, u32(1), u32(900), u32(10), u32(20), u32(30), u32(40));
  EXPECT_EQ(withoutPlacesOf(run),
            concat({u32(kAllFields & ~1u), u32(1), u32(10), u32(20), u32(30), u32(40)}));
  EXPECT_EQ(withoutPlacesOf(run, true), concat({u32(kNoSizes), u32(1), u32(10), u32(30), u32(40)}));
}

TEST(KeptFields, OfARunWithoutPlaceBeginAtOnce) {
  EXPECT_EQ(withoutPlacesOf(fullBox("trun", 0, 0x100, u32(2), u32(10), u32(11))),
            concat({u32(0x100), u32(2), u32(10), u32(11)}));
  // With the flags of its first sample.
  EXPECT_EQ(withoutPlacesOf(fullBox("trun", 0, 0x104, u32(1), u32(77), u32(10))),
            concat({u32(0x104), u32(1), u32(77), u32(10)}));
}

TEST(KeptFields, OfARunWithoutFieldsAreItsCount) {
  EXPECT_EQ(withoutPlacesOf(fullBox("trun", 0, 1, u32(0xFFFFFFFF), u32(900))),
            concat({u32(0), u32(0xFFFFFFFF)}));
}

TEST(KeptFields, OfARunThatIsCutShortAreThoseThatAreThere) {
  EXPECT_EQ(withoutPlacesOf(fullBox("trun", 0, 0x100, u32(3), u32(10))),
            concat({u32(0x100), u32(3), u32(10)}));
  EXPECT_EQ(withoutPlacesOf(fullBox("trun", 0, 0x300, u32(1), u32(10), u16(5))),
            concat({u32(0x300), u32(1), u32(10)}));
  EXPECT_EQ(withoutPlacesOf(box("trun", u16(0))), u32(0));
}

TEST(KeptFields, OfARunWithNegativeOffsetsAreThoseOfVersion1) {
  const auto run = [](unsigned version, std::uint32_t offset) {
    return withoutPlacesOf(fullBox("trun", version, 0x800, u32(1), u32(offset)));
  };
  EXPECT_EQ(run(0, 0xFFFFFFFF), run(1, 0xFFFFFFFF));
  EXPECT_NE(run(0, 0x7FFFFFFF), run(1, 0x7FFFFFFF));
}

TEST(KeptFields, OfAFragmentHeaderAreAllButTheBase) {
  const Bytes moved = fullBox("tfhd", 0, 0x020008, u32(7), u32(1001));
  const Bytes based = fullBox("tfhd", 0, 0x000009, u32(7), u64(1 << 20), u32(1001));
  EXPECT_EQ(withoutBase(view(moved)), withoutBase(view(based)));
  EXPECT_NE(withoutBase(view(moved)),
            withoutBase(view(fullBox("tfhd", 0, 0x020008, u32(8), u32(1001)))));
  EXPECT_EQ(withoutBase(view(box("tfhd"))), zeros(8));
}

// ---- Indexes

TEST(KeptFields, OfAnIndexAreAllButOffsetsAndSizes) {
  const auto index = [](std::uint32_t offset, std::uint32_t size, std::uint32_t duration) {
    return fullBox("sidx", 0, 0, u32(1), u32(600), u32(9), u32(offset), u16(0), u16(1), u32(size),
                   u32(duration), u32(0x90000000));
  };
  EXPECT_EQ(withoutOffsets(view(index(5, 6, 7))), payloadOf(index(0, 0, 7)));
  const auto wideIndex = [](std::uint64_t offset, std::uint32_t size) {
    return fullBox("sidx", 1, 0, u32(1), u32(600), u64(9), u64(offset), u16(0), u16(1), u32(size),
                   u32(7), u32(0x90000000));
  };
  EXPECT_EQ(withoutOffsets(view(wideIndex(1ull << 40, 6))), payloadOf(wideIndex(0, 0)));
}

TEST(KeptFields, OfAnIndexThatIsCutShortAreThoseThatAreThere) {
  EXPECT_EQ(withoutOffsets(view(box("sidx"))), Bytes());
  EXPECT_EQ(withoutOffsets(view(fullBox("sidx", 0, 0, u32(1)))), concat({u32(0), u32(1)}));
}

// ---- Numbers and lists

TEST(KeptFields, AreZeroBeyondTheEndOfABox) {
  const Bytes four = box("test", u32(0x01020304));
  EXPECT_EQ(u32At(view(four), 0), 0x01020304u);
  EXPECT_EQ(u32At(view(four), 1), 0u);
  EXPECT_EQ(u32At(view(four), 4), 0u);
}

Bytes metadata(const Bytes& children, std::uint32_t flags = 0) {
  return fullBox("meta", 0, flags, children);
}
bool areEqualMeta(const Bytes& a, const Bytes& b) { return areEqualMetadata(view(a), view(b)); }

TEST(EqualMetadata, MayMoveItsItems) {
  const Bytes handler = box("hdlr", text("pict"));
  const auto items = [&handler](std::uint32_t offset) {
    return metadata(concat({handler, box("iloc", u32(offset))}));
  };
  EXPECT_TRUE(areEqualMeta(items(1), items(2)));
  EXPECT_FALSE(areEqualMeta(items(1), metadata(concat({handler, box("iloc", u64(1))}))));
  EXPECT_FALSE(
      areEqualMeta(items(1), metadata(concat({box("hdlr", text("mdta")), box("iloc", u32(1))}))));
}

TEST(EqualMetadata, HasTheSameBoxesAndNothingElse) {
  const Bytes one = metadata(box("ilst"));
  EXPECT_TRUE(areEqualMeta(one, one));
  EXPECT_FALSE(areEqualMeta(one, metadata(box("keys"))));
  EXPECT_FALSE(areEqualMeta(one, metadata(Bytes())));
  EXPECT_FALSE(areEqualMeta(one, metadata(box("ilst"), 1)));
  EXPECT_FALSE(areEqualMeta(one, metadata(concat({box("ilst"), box("free")}))));
  EXPECT_FALSE(areEqualMeta(metadata(zeros(4)), metadata(zeros(3))));
}

TEST(EqualMetadata, IsNoneWithoutItsFields) {
  EXPECT_FALSE(areEqualMeta(box("meta", zeros(3)), box("meta", zeros(3))));
  EXPECT_FALSE(areEqualMeta(metadata(Bytes()), box("meta", zeros(3))));
}

TEST(EqualUserData, MayHoldMetadataWhoseItemsMove) {
  const auto holding = [](const Bytes& child) { return box("udta", box("name"), child); };
  const auto areEqualTo = [&](const Bytes& a, const Bytes& b) {
    return areEqualUserData(view(holding(a)), view(holding(b)));
  };
  EXPECT_TRUE(areEqualTo(metadata(box("iloc", u32(1))), metadata(box("iloc", u32(2)))));
  EXPECT_FALSE(areEqualTo(metadata(box("ilst", u32(1))), metadata(box("ilst", u32(2)))));
  EXPECT_FALSE(areEqualTo(box("auth", u32(1)), box("auth", u32(2))));
}

}  // namespace
}  // namespace quarrypack::embed
