#include "embed/sample_tables.h"

#include "embed/refusal.h"
#include "tests/support/box_builders.h"
#include "tests/unit/embed/pieces_of.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <tuple>
#include <vector>

namespace quarrypack::embed {
namespace {

using namespace quarrypack::test;
using norvik::kav::BoxView;
using Role = SampleTableEditor::Role;
using ChunkFields = std::tuple<std::uint64_t, std::uint32_t, std::uint32_t>;

Bytes sizes(std::initializer_list<std::uint32_t> values) {
  return fullBox("stsz", 0, 0, u32(0), u32(values.size()), u32List(values));
}
Bytes oneSize(std::uint32_t size, std::uint32_t count) {
  return fullBox("stsz", 0, 0, u32(size), u32(count));
}
Bytes compactSizes(unsigned bits, std::uint32_t count, const Bytes& entries) {
  return fullBox("stz2", 0, 0, u24(0), u8(bits), u32(count), entries);
}
// First chunk and samples in each.
Bytes runs(std::initializer_list<std::array<std::uint32_t, 2>> entries) {
  Bytes list;
  for (const auto& [first, count] : entries) append(list, concat({u32(first), u32(count), u32(1)}));
  return fullBox("stsc", 0, 0, u32(entries.size()), list);
}
Bytes chunkOffsets(std::initializer_list<std::uint32_t> offsets) {
  return fullBox("stco", 0, 0, u32(offsets.size()), u32List(offsets));
}
Bytes wideOffsets(std::initializer_list<std::uint64_t> offsets) {
  Bytes list;
  for (const std::uint64_t offset : offsets) append(list, u64(offset));
  return fullBox("co64", 0, 0, u32(offsets.size()), list);
}

std::vector<ChunkFields> chunksOf(const Bytes& stbl) {
  const SampleTables tables(*BoxView::at(stbl), "track 1");
  std::vector<ChunkFields> chunks;
  SampleTables::Chunks walk = tables.chunks();
  while (const std::optional<Chunk> chunk = walk.next()) {
    chunks.emplace_back(chunk->offset, chunk->firstSample, chunk->sampleCount);
  }
  return chunks;
}

TEST(SampleTables, GiveTheChunks) {
  const Bytes stbl = box("stbl", sizes({1, 2, 3, 4, 5, 6}), runs({{1, 2}, {3, 1}}),
                         chunkOffsets({100, 200, 300, 400}));
  EXPECT_EQ(chunksOf(stbl),
            (std::vector<ChunkFields>{{100, 0, 2}, {200, 2, 2}, {300, 4, 1}, {400, 5, 1}}));
}

TEST(SampleTables, EndWithTheSamplesOrTheChunks) {
  EXPECT_EQ(chunksOf(box("stbl", oneSize(7, 5), runs({{1, 3}}), wideOffsets({1ull << 40, 5, 6}))),
            (std::vector<ChunkFields>{{1ull << 40, 0, 3}, {5, 3, 2}}));
  EXPECT_EQ(chunksOf(box("stbl", oneSize(7, 50), runs({{1, 3}}), chunkOffsets({4}))),
            (std::vector<ChunkFields>{{4, 0, 3}}));
  EXPECT_TRUE(chunksOf(box("stbl")).empty());
  EXPECT_TRUE(chunksOf(box("stbl", oneSize(7, 50), chunkOffsets({4}))).empty());
}

TEST(SampleTables, ReadSizesOfEveryWidth) {
  const auto sizesOf = [](const Bytes& table) {
    const Bytes stbl = box("stbl", table);
    const SampleTables tables(*BoxView::at(stbl), "track 1");
    std::vector<std::uint32_t> all;
    for (std::uint32_t i = 0; i < tables.sampleCount(); ++i) all.push_back(tables.size(i));
    return all;
  };
  using Sizes = std::vector<std::uint32_t>;
  EXPECT_EQ(sizesOf(sizes({1, 70000, 3})), (Sizes{1, 70000, 3}));
  EXPECT_EQ(sizesOf(oneSize(9, 2)), (Sizes{9, 9}));
  EXPECT_EQ(sizesOf(compactSizes(4, 3, {0x12, 0x30})), (Sizes{1, 2, 3}));
  EXPECT_EQ(sizesOf(compactSizes(8, 2, {200, 3})), (Sizes{200, 3}));
  EXPECT_EQ(sizesOf(compactSizes(16, 2, {1, 0, 0, 2})), (Sizes{256, 2}));
}

TEST(SampleTables, RefuseTablesThatClaimMoreThanTheyHold) {
  const Bytes huge = u32(0xFFFFFFFF);
  const std::vector<Bytes> cases = {
      fullBox("stsz", 0, 0, u32(0), huge),
      fullBox("stsz", 0, 0, u32(0), u32(2), u32(1)),
      fullBox("stsz", 0, 0, u32(0)),
      compactSizes(16, 0xFFFFFFFF, zeros(4)),
      compactSizes(4, 3, zeros(1)),
      compactSizes(5, 1, zeros(4)),
      fullBox("stsc", 0, 0, huge, zeros(12)),
      fullBox("stco", 0, 0, huge, zeros(4)),
      fullBox("co64", 0, 0, u32(2), zeros(15)),
      box("stco"),
      box("stsc", zeros(7)),
  };
  for (const Bytes& table : cases) {
    const Bytes stbl = box("stbl", table);
    EXPECT_THROW(SampleTables(*BoxView::at(stbl), "track 1"), Refusal)
        << ::testing::PrintToString(table);
  }
  const Bytes stbl = box("stbl", cases.front());
  try {
    const SampleTables tables(*BoxView::at(stbl), "track 7");
    FAIL();
  } catch (const Refusal& refusal) {
    EXPECT_STREQ(refusal.what(), "track 7: the table 'stsz' is cut short. The file is damaged");
  }
}

TEST(SampleTables, ManyEqualSizesTakeNoRoomAndNoTime) {
  const Bytes stbl =
      box("stbl", oneSize(4, 0xFFFFFFFF), runs({{1, 0xFFFFFFFF}}), chunkOffsets({4}));
  const SampleTables tables(*BoxView::at(stbl), "track 1");
  EXPECT_EQ(tables.length(*tables.chunks().next()), 4 * 0xFFFFFFFFull);
  SampleTableEditor editor(*BoxView::at(stbl), Role::other, "track 1");
  editor.measure(OffsetMap());
}

// The boxes of a stbl after splices.
Bytes edited(const Bytes& stbl, const OffsetMap& map, Role role = Role::pictures) {
  const BoxView view = *BoxView::at(stbl);
  SampleTableEditor editor(view, role, "track 1");
  editor.measure(map);
  BoxPieces pieces;
  for (const BoxView& child : view.children()) {
    const bool isRun = child.type() == norvik::kav::fourCc("stsc");
    isRun ? pieces.keep(child.bytes()) : editor.append(child, map, pieces);
  }
  return box("stbl", pieces.joined());
}

TEST(SampleTableEditor, FollowsTheMap) {
  const Bytes stbl =
      box("stbl", sizes({10, 20, 30, 40}), runs({{1, 2}}), chunkOffsets({1000, 2000}));
  // Before all, at the first byte of sample 1, inside sample 2, and at the end of sample 3.
  const OffsetMap map({{0, 500, 0}, {1010, 7, 0}, {2010, 9, 4}, {2070, 3, 0}});
  EXPECT_EQ(edited(stbl, map),
            box("stbl", sizes({10, 27, 35, 40}), runs({{1, 2}}), chunkOffsets({1500, 2507})));
}

TEST(SampleTableEditor, KeepsSizesThatDoNotChange) {
  const Bytes odd = fullBox("stsz", 0, 0, u32(0), u32(1), u32(10), text("rest"));
  const Bytes stbl = box("stbl", odd, runs({{1, 1}}), chunkOffsets({1000}));
  EXPECT_EQ(edited(stbl, OffsetMap({{0, 8, 0}, {1010, 5, 0}})),
            box("stbl", odd, runs({{1, 1}}), chunkOffsets({1008})));
  // Other bytes, but as many.
  EXPECT_EQ(edited(stbl, OffsetMap({{1002, 3, 3}})),
            box("stbl", odd, runs({{1, 1}}), chunkOffsets({1000})));
}

TEST(SampleTableEditor, WritesOutSizesThatWereOneOrCompact) {
  const OffsetMap map({{1010, 7, 0}});
  EXPECT_EQ(edited(box("stbl", oneSize(10, 3), runs({{1, 3}}), chunkOffsets({1000})), map),
            box("stbl", sizes({10, 17, 10}), runs({{1, 3}}), chunkOffsets({1000})));
  EXPECT_EQ(
      edited(box("stbl", compactSizes(8, 2, {10, 20}), runs({{1, 2}}), chunkOffsets({1000})), map),
      box("stbl", sizes({10, 27}), runs({{1, 2}}), chunkOffsets({1000})));
}

TEST(SampleTableEditor, WidensOffsetsThatNeedIt) {
  const Bytes stbl = box("stbl", sizes({10, 10}), runs({{1, 1}}), chunkOffsets({5, 0xFFFFFFF0}));
  EXPECT_EQ(edited(stbl, OffsetMap({{0, 15, 0}})),
            box("stbl", sizes({10, 10}), runs({{1, 1}}), chunkOffsets({20, 0xFFFFFFFF})));
  EXPECT_EQ(edited(stbl, OffsetMap({{0, 16, 0}})),
            box("stbl", sizes({10, 10}), runs({{1, 1}}), wideOffsets({21, 1ull << 32})));
  const Bytes wide = box("stbl", sizes({10}), runs({{1, 1}}), wideOffsets({5}));
  EXPECT_EQ(edited(wide, OffsetMap()), wide);
}

TEST(SampleTableEditor, OnceWideStaysWide) {
  const Bytes stbl = box("stbl", sizes({10}), runs({{1, 1}}), chunkOffsets({0xFFFFFFF0}));
  const BoxView view = *BoxView::at(stbl);
  SampleTableEditor editor(view, Role::pictures, "track 1");
  const BoxView stco = view.children()[2];
  for (const std::uint32_t inserted : {16u, 0u}) {
    const OffsetMap map({{0, inserted, 0}});
    BoxPieces pieces;
    editor.append(stco, map, pieces);
    EXPECT_EQ(pieces.joined(), wideOffsets({0xFFFFFFF0ull + inserted}));
  }
}

TEST(SampleTableEditor, RefusesToChangeTheSamplesOfOtherTracks) {
  const Bytes stbl = box("stbl", oneSize(1, 100), runs({{1, 100}}), chunkOffsets({1000}));
  EXPECT_THROW(edited(stbl, OffsetMap({{1050, 1, 0}}), Role::other), Refusal);
  EXPECT_THROW(edited(stbl, OffsetMap({{1000, 1, 0}}), Role::other), Refusal);
  EXPECT_THROW(edited(stbl, OffsetMap({{1050, 3, 3}}), Role::other), Refusal);
  EXPECT_EQ(edited(stbl, OffsetMap({{999, 1, 0}, {1100, 1, 0}}), Role::other),
            box("stbl", oneSize(1, 100), runs({{1, 100}}), chunkOffsets({1001})));
}

TEST(SampleTableEditor, RefusesASampleThatOutgrowsItsSizeField) {
  const Bytes stbl = box("stbl", sizes({0xFFFFFFF0}), runs({{1, 1}}), chunkOffsets({1000}));
  EXPECT_THROW(edited(stbl, OffsetMap({{1000, 16, 0}})), Refusal);
}

TEST(SampleTableEditor, RefusesToWriteOutMoreSizesThanAnyFilmHas) {
  const Bytes stbl = box("stbl", oneSize(1, 0xFFFFFFFF), runs({{1, 9}}), chunkOffsets({1000}));
  EXPECT_THROW(edited(stbl, OffsetMap({{1000, 16, 0}})), Refusal);
}

TEST(SampleTableEditor, ResizesThePartsOfPictures) {
  // Two samples in one chunk, one in another.
  const auto stbl = [](std::uint32_t size, std::uint32_t part) {
    return box("stbl",
               fullBox("stsc", 0, 0, u32(2), u32(1), u32(2), u32(1), u32(2), u32(1), u32(1)),
               fullBox("stsz", 0, 0, u32(0), u32(3), u32(10), u32(20), u32(size)),
               fullBox("stco", 0, 0, u32(2), u32(100), u32(200)),
               fullBox("subs", 0, 0, u32(2), u32(2), u16(1), u16(20), u16(0), u32(0), u32(1),
                       u16(2), u16(4), u16(0), u32(0), u16(part), u16(0), u32(0)));
  };
  const auto partsAfter = [&stbl](SampleTableEditor::Role role, const OffsetMap& map) {
    const Bytes input = stbl(30, 26);
    SampleTableEditor editor(*BoxView::at(input), role, "track 1");
    editor.measure(map);
    BoxPieces pieces;
    editor.append(*BoxView::at(input)->find("subs"), map, pieces);
    return pieces.joined();
  };
  const Bytes grown = stbl(37, 33);
  EXPECT_EQ(partsAfter(SampleTableEditor::Role::pictures, OffsetMap({{0, 9, 0}, {204, 7, 0}})),
            Bytes(grown.end() - 52, grown.end()));
  const Bytes same = stbl(30, 26);
  EXPECT_EQ(partsAfter(SampleTableEditor::Role::other, OffsetMap({{0, 9, 0}})),
            Bytes(same.end() - 52, same.end()));
}

TEST(AuxiliaryOffsets, FollowTheMap) {
  const auto after = [](const Bytes& saio, const OffsetMap& map) {
    return piecesOf(saio, [&map](const BoxView& view, BoxPieces& pieces) {
      appendAuxiliaryOffsets(view, map, pieces);
    });
  };
  const OffsetMap map({{0, 16, 0}});
  EXPECT_EQ(after(fullBox("saio", 0, 0, u32(2), u32(5), u32(6)), map),
            fullBox("saio", 0, 0, u32(2), u32(21), u32(22)));
  EXPECT_EQ(after(fullBox("saio", 0, 1, text("abcd"), u32(3), u32(1), u32(5)), map),
            fullBox("saio", 0, 1, text("abcd"), u32(3), u32(1), u32(21)));
  EXPECT_EQ(after(fullBox("saio", 1, 0, u32(1), u64(5)), map),
            fullBox("saio", 1, 0, u32(1), u64(21)));
  EXPECT_EQ(after(fullBox("saio", 0, 0, u32(2), u32(5), u32(0xFFFFFFF0)), map),
            fullBox("saio", 1, 0, u32(2), u64(21), u64(1ull << 32)));
  for (const Bytes& cut : {box("saio"), fullBox("saio", 0, 0, u32(0xFFFFFFFF), u32(1)),
                           fullBox("saio", 0, 1, u32(1), u32(1))}) {
    EXPECT_EQ(after(cut, map), cut);
  }
}

}  // namespace
}  // namespace quarrypack::embed
