#include "embed/box_pieces.h"

#include "embed/refusal.h"
#include "tests/support/box_builders.h"

#include <gtest/gtest.h>

#include <limits>

namespace quarrypack::embed {
namespace {

using namespace quarrypack::test;
using norvik::kav::fourCc;

TEST(BoxPieces, PutsNestedBoxesTogether) {
  const Bytes kept = text("kept");
  BoxPieces pieces;
  const BoxPieces::Mark outer = pieces.open(fourCc("moov"));
  pieces.keep(kept);
  const BoxPieces::Mark inner = pieces.open(fourCc("trak"));
  pieces.addU32(7);
  pieces.addU64(8);
  pieces.close(inner);
  pieces.add(text("table"));
  pieces.close(outer);
  const Bytes expected = box("moov", kept, box("trak", u32(7), u64(8)), text("table"));
  EXPECT_EQ(pieces.joined(), expected);
  EXPECT_EQ(pieces.size(), expected.size());
}

TEST(BoxPieces, AreComparedWithoutJoiningThem) {
  const Bytes kept = text("kept");
  BoxPieces pieces;
  pieces.keep(kept);
  pieces.addU32(7);
  Bytes expected = concat({kept, u32(7)});
  EXPECT_TRUE(pieces.areEqual(expected));
  EXPECT_TRUE(BoxPieces().areEqual({}));
  for (std::uint8_t& byte : expected) {
    byte ^= 1;
    EXPECT_FALSE(pieces.areEqual(expected));
    byte ^= 1;
  }
  expected.push_back(0);
  EXPECT_FALSE(pieces.areEqual(expected));
  expected.resize(expected.size() - 2);
  EXPECT_FALSE(pieces.areEqual(expected));
}

TEST(BoxPieces, KeepsWithoutCopyingAndUnitesNeighbours) {
  const Bytes kept = text("abcdef");
  const std::span<const std::uint8_t> all(kept);
  BoxPieces pieces;
  pieces.keep(all.first(2));
  pieces.keep(all.subspan(2, 2));
  pieces.keep({});
  pieces.addU32(0);
  pieces.keep(all.subspan(4));
  std::vector<std::size_t> lengths;
  std::vector<const std::uint8_t*> places;
  pieces.forEach([&](BoxPieces::Bytes part) {
    lengths.push_back(part.size());
    places.push_back(part.data());
  });
  EXPECT_EQ(lengths, (std::vector<std::size_t>{4, 4, 2}));
  EXPECT_EQ(places[0], kept.data());
  EXPECT_EQ(places[2], kept.data() + 4);
}

TEST(BoxPieces, TablesStayInPlaceWhenMoreAreAdded) {
  BoxPieces pieces;
  Bytes expected;
  for (std::uint8_t i = 0; i < 100; ++i) {
    pieces.add(Bytes(3, i));
    append(expected, Bytes(3, i));
  }
  EXPECT_EQ(pieces.joined(), expected);
}

TEST(BoxPieces, RefusesABoxOfFourGibibytes) {
  const Bytes large(1 << 20);
  BoxPieces pieces;
  const BoxPieces::Mark mark = pieces.open(fourCc("moov"));
  for (int i = 0; i < 4096; ++i) {
    pieces.keep(large);
    pieces.addU32(0);
  }
  EXPECT_THROW(pieces.close(mark), Refusal);
}

}  // namespace
}  // namespace quarrypack::embed
