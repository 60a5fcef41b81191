#include "embed/item_places.h"

#include <gtest/gtest.h>

#include "embed/refusal.h"
#include "tests/support/box_builders.h"
#include "tests/unit/embed/pieces_of.h"

namespace quarrypack::embed {
namespace {

using namespace quarrypack::test;
using norvik::kav::BoxView;

Bytes after(const Bytes& iloc, const OffsetMap& map) {
  return piecesOf(
      iloc, [&](const BoxView& view, BoxPieces& pieces) { appendItemPlaces(view, map, pieces); });
}

const OffsetMap kMap({{0, 300, 0}, {500, 7, 0}});

TEST(ItemPlaces, FollowTheMap) {
  // Offsets and lengths of 4 bytes, no base; two extents.
  const auto iloc = [](std::uint32_t first, std::uint32_t second) {
    return fullBox("iloc", 0, 0, u16(0x4400), u16(1), u16(9), u16(0), u16(2), u32(first), u32(20),
                   u32(second), u32(30));
  };
  EXPECT_EQ(after(iloc(100, 600), kMap), iloc(400, 907));
}

TEST(ItemPlaces, CountFromTheirBase) {
  const auto iloc = [](std::uint64_t base, std::uint32_t offset) {
    return fullBox("iloc", 1, 0, u16(0x4484), u16(1), u16(9), u16(0), u16(0), u64(base), u16(1),
                   u32(77), u32(offset), u32(30));
  };
  EXPECT_EQ(after(iloc(400, 200), kMap), iloc(700, 207));
  const auto baseAlone = [](std::uint32_t base) {
    return fullBox("iloc", 2, 0, u16(0x0440), u32(1), u32(9), u16(0), u16(0), u32(base), u16(1),
                   u32(30));
  };
  EXPECT_EQ(after(baseAlone(600), kMap), baseAlone(907));
}

TEST(ItemPlaces, OutsideTheFileStay) {
  const auto iloc = [](std::uint32_t method, std::uint32_t reference) {
    return fullBox("iloc", 1, 0, u16(0x4400), u16(1), u16(9), u16(method), u16(reference), u16(1),
                   u32(600), u32(30));
  };
  EXPECT_EQ(after(iloc(1, 0), kMap), iloc(1, 0));
  EXPECT_EQ(after(iloc(0, 1), kMap), iloc(0, 1));
}

TEST(ItemPlaces, AreRefusedWhereTheyWouldBeWrong) {
  const auto iloc = [](std::uint32_t offset) {
    return fullBox("iloc", 0, 0, u16(0x4400), u16(1), u16(9), u16(0), u16(1), u32(offset), u32(20));
  };
  EXPECT_THROW(after(iloc(490), kMap), Refusal);         // the bytes change
  EXPECT_THROW(after(iloc(0xFFFFFFF0), kMap), Refusal);  // the offset outgrows its field
  EXPECT_THROW(after(fullBox("iloc", 3, 0, zeros(8)), kMap), Refusal);
  const Bytes whole = iloc(600);
  for (std::size_t size = 8; size < whole.size(); ++size) {
    const Bytes payload(whole.begin() + 8, whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_THROW(after(box("iloc", payload), kMap), Refusal) << size;
  }
}

}  // namespace
}  // namespace quarrypack::embed
