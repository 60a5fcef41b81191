#include "embed/offset_map.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "kav/memory_size.h"

namespace quarrypack::embed {
namespace {

using Splices = std::vector<Splice>;

TEST(OffsetMap, WithoutSplicesLeavesEveryOffset) {
  const OffsetMap map;
  for (const std::uint64_t offset : {0ull, 1ull, 1ull << 40}) {
    EXPECT_EQ(map.newOffset(offset), offset);
    EXPECT_EQ(OffsetMap::Cursor(map).newOffset(offset), offset);
  }
  EXPECT_FALSE(OffsetMap::Cursor(map).changes(0, 1000));
}

TEST(OffsetMap, AnInsertionAtTheFirstByteBelongsToTheRange) {
  const OffsetMap map({{10, 5, 0}});
  EXPECT_EQ(map.newOffset(9), 9u);
  EXPECT_EQ(map.newOffset(10), 10u);  // what begins here now begins with the insertion
  EXPECT_EQ(map.newOffset(11), 16u);
  OffsetMap::Cursor cursor(map);
  EXPECT_EQ(cursor.newLength(4, 6), 6u);    // ends before it
  EXPECT_EQ(cursor.newLength(10, 6), 11u);  // begins with it
  EXPECT_EQ(cursor.newLength(4, 7), 12u);   // has it inside
  EXPECT_EQ(cursor.newLength(11, 7), 7u);   // begins after it
  EXPECT_EQ(cursor.newLength(10, 0), 0u);
}

TEST(OffsetMap, ARemovedRangeCollapsesToItsStart) {
  const OffsetMap map({{10, 0, 4}});
  EXPECT_EQ(map.newOffset(10), 10u);
  EXPECT_EQ(map.newOffset(12), 10u);
  EXPECT_EQ(map.newOffset(14), 10u);
  EXPECT_EQ(map.newOffset(15), 11u);
  EXPECT_EQ(OffsetMap::Cursor(map).newLength(10, 4), 0u);
}

TEST(OffsetMap, WhatReplacesARangeLiesBeforeItsEnd) {
  const OffsetMap map({{10, 6, 4}});
  EXPECT_EQ(map.newOffset(10), 10u);
  EXPECT_EQ(map.newOffset(11), 16u);
  EXPECT_EQ(map.newOffset(14), 16u);
  EXPECT_EQ(map.newOffset(20), 22u);
}

TEST(OffsetMap, TouchingSplicesAddUp) {
  const OffsetMap map({{0, 100, 8}, {8, 16, 8}, {16, 3, 0}, {17, 0, 2}});
  EXPECT_EQ(map.newOffset(0), 0u);
  EXPECT_EQ(map.newOffset(8), 100u);
  EXPECT_EQ(map.newOffset(16), 116u);
  EXPECT_EQ(map.newOffset(17), 120u);
  EXPECT_EQ(map.newOffset(19), 120u);
  EXPECT_EQ(map.newOffset(20), 121u);
}

TEST(OffsetMap, ReachesPastFourGibibytes) {
  const std::uint64_t far = 1ull << 40;
  const OffsetMap map({{far, std::numeric_limits<std::uint32_t>::max(), 0},
                       {far + 1, 0, std::numeric_limits<std::uint32_t>::max()}});
  EXPECT_EQ(map.newOffset(far), far);
  EXPECT_EQ(map.newOffset(far + 1), far + (1ull << 32));
  EXPECT_EQ(map.newOffset(far + (1ull << 32)), far + (1ull << 32));
}

TEST(OffsetMap, NewSizesOfAnInsertionMoveAllThatFollows) {
  Splices splices = {{0, 20, 20}};
  for (std::uint64_t i = 1; i <= 100; ++i) splices.push_back({i * 100, 7, 0});
  OffsetMap map(splices);
  EXPECT_EQ(map.newOffset(10'050), 10'750u);
  map.setInserted(0, 1020);
  EXPECT_EQ(map.newOffset(0), 0u);
  EXPECT_EQ(map.newOffset(100), 1100u);
  EXPECT_EQ(map.newOffset(10'050), 11'750u);
}

TEST(OffsetMap, SplicesMustNotMeet) {
  EXPECT_FALSE(OffsetMap::findConflict({}));
  EXPECT_FALSE(OffsetMap::findConflict(Splices{{0, 1, 4}, {4, 1, 0}, {5, 0, 1}}));
  EXPECT_EQ(OffsetMap::findConflict(Splices{{0, 1, 4}, {3, 1, 0}}), (Splice{3, 1, 0}));
  EXPECT_EQ(OffsetMap::findConflict(Splices{{0, 1, 0}, {0, 2, 0}}), (Splice{0, 2, 0}));
  EXPECT_EQ(OffsetMap::findConflict(Splices{{5, 1, 0}, {4, 2, 0}}), (Splice{4, 2, 0}));
}

// Byte by byte, from the definition: the bytes of the old file that are kept, in order, with what
// is inserted before them.
class SplicedBytes {
 public:
  SplicedBytes(const Splices& splices, std::uint64_t length) {
    std::uint64_t now = 0;
    std::size_t next = 0;
    std::uint64_t removedTo = 0;
    for (std::uint64_t old = 0; old <= length; ++old) {
      places_.push_back(now);
      if (next < splices.size() && splices[next].offset == old) {
        now += splices[next].inserted;
        removedTo = splices[next++].end();
      }
      if (old >= removedTo) ++now;
    }
  }

  std::uint64_t at(std::uint64_t old) const { return places_[norvik::kav::memorySize(old)]; }

 private:
  std::vector<std::uint64_t> places_;
};

TEST(OffsetMap, AgreesWithCountingByteByByte) {
  std::mt19937 random(1);
  const auto below = [&random](std::uint32_t limit) {
    return static_cast<std::uint32_t>(random() % limit);
  };
  for (int round = 0; round < 50; ++round) {
    Splices splices;
    for (std::uint64_t offset = below(3); splices.size() < 200;) {
      splices.push_back({offset, below(5), below(4)});
      offset = splices.back().end() + (splices.back().removed == 0 ? 1 : 0) + below(7);
    }
    ASSERT_FALSE(OffsetMap::findConflict(splices));
    const std::uint64_t length = splices.back().end() + 10;
    const OffsetMap map(splices);
    const SplicedBytes expected(splices, length);
    OffsetMap::Cursor forward(map);
    OffsetMap::Cursor jumping(map);
    for (std::uint64_t offset = 0; offset <= length; ++offset) {
      ASSERT_EQ(map.newOffset(offset), expected.at(offset)) << offset;
      ASSERT_EQ(forward.newOffset(offset), expected.at(offset)) << offset;
      const std::uint64_t anywhere = below(static_cast<std::uint32_t>(length));
      ASSERT_EQ(jumping.newOffset(anywhere), expected.at(anywhere)) << anywhere;
    }
  }
}

TEST(OffsetMapCursor, ReportsWhetherARangeIsChanged) {
  const OffsetMap map({{10, 4, 4}, {30, 0, 2}, {40, 1, 0}});
  OffsetMap::Cursor cursor(map);
  EXPECT_FALSE(cursor.changes(0, 10));
  EXPECT_TRUE(cursor.changes(0, 11));
  EXPECT_TRUE(cursor.changes(13, 1));  // as long as before, but other bytes
  EXPECT_FALSE(cursor.changes(14, 16));
  EXPECT_TRUE(cursor.changes(31, 5));
  EXPECT_FALSE(cursor.changes(32, 8));
  EXPECT_TRUE(cursor.changes(40, 1));
  EXPECT_FALSE(cursor.changes(40, 0));
  EXPECT_TRUE(cursor.changes(14, std::numeric_limits<std::uint64_t>::max()));
  EXPECT_FALSE(cursor.changes(41, std::numeric_limits<std::uint64_t>::max()));
}

TEST(UnusedRanges, AreUnited) {
  UnusedRanges ranges;
  ranges.add(50, 10);
  ranges.add(10, 5);
  ranges.add(15, 5);
  ranges.add(55, 10);
  ranges.add(52, 2);
  ranges.add(30, 0);
  ranges.unite();
  EXPECT_EQ(ranges.splices(), (Splices{{10, 0, 10}, {50, 0, 15}}));
}

TEST(UnusedRanges, AreKeptWhereSomethingElseUsesAByteOfThem) {
  UnusedRanges ranges;
  for (std::uint64_t i = 0; i < 10; ++i) ranges.add(100 * i, 10);
  ranges.unite();
  ranges.keep(110, 90);   // between two
  ranges.keep(209, 1);    // the last byte of one
  ranges.keep(490, 211);  // three, the last by its first byte
  ranges.keep(400, 0);
  ranges.keep(500, 50);  // kept already
  EXPECT_EQ(
      ranges.splices(),
      (Splices{{0, 0, 10}, {100, 0, 10}, {300, 0, 10}, {400, 0, 10}, {800, 0, 10}, {900, 0, 10}}));
  ranges.keep(0, std::numeric_limits<std::uint64_t>::max());
  EXPECT_TRUE(ranges.splices().empty());
}

TEST(UnusedRanges, OfSeveralGibibytesAreSeveralSplices) {
  UnusedRanges ranges;
  ranges.add(8, 5ull << 30);
  ranges.unite();
  const Splices splices = ranges.splices();
  ASSERT_EQ(splices.size(), 2u);
  EXPECT_FALSE(OffsetMap::findConflict(splices));
  EXPECT_EQ(splices[1].end(), 8 + (5ull << 30));
}

TEST(UnusedRanges, ThatRunPastAllOffsetsEndWithTheLast) {
  UnusedRanges ranges;
  ranges.add(std::numeric_limits<std::uint64_t>::max() - 4, 100);
  ranges.unite();
  EXPECT_EQ(ranges.splices(), (Splices{{std::numeric_limits<std::uint64_t>::max() - 4, 0, 4}}));
}

TEST(UnusedRanges, ManyLongRangesThatAreKeptTakeNoLongerThanShortOnes) {
  // With the time of each call in proportion to what it covers this would be 10^10 steps.
  constexpr std::uint64_t kCount = 100'000;
  UnusedRanges ranges;
  for (std::uint64_t i = 0; i < kCount; ++i) ranges.add(10 * i, 5);
  ranges.unite();
  for (std::uint64_t i = 0; i < kCount; ++i) ranges.keep(i, 10 * kCount);
  EXPECT_TRUE(ranges.splices().empty());
}

TEST(Splice, EqualsAnotherInAllItSays) {
  const Splice splice{100, 7, 3};
  EXPECT_EQ(splice, (Splice{100, 7, 3}));
  EXPECT_NE(splice, (Splice{101, 7, 3}));
  EXPECT_NE(splice, (Splice{100, 8, 3}));
  EXPECT_NE(splice, (Splice{100, 7, 4}));
}

}  // namespace
}  // namespace quarrypack::embed
