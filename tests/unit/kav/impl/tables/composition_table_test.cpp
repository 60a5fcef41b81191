#include "kav/impl/tables/composition_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "tests/support/expect_code.h"

namespace norvik::kav::impl {
namespace {

using Pairs = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

CompositionTable compositionTable(const Pairs& entries) {
  CompositionTable::Loader loader;
  for (const auto& [count, offset] : entries) loader.add({count, offset});
  return std::move(loader).finish();
}

TEST(OffsetRuns, NumberTheirSamples) {
  const CompositionTable table = compositionTable({{2, 100}, {0, 50}, {3, 200}});
  ASSERT_EQ(table.runs().size(), 3u);
  EXPECT_EQ(table.runs()[0].firstSample, 1u);
  EXPECT_EQ(table.runs()[0].sampleOffset, 100u);
  EXPECT_EQ(table.runs()[1].firstSample, 3u);
  EXPECT_EQ(table.runs()[1].sampleCount, 0u);
  EXPECT_EQ(table.runs()[1].sampleOffset, 50u);
  EXPECT_EQ(table.runs()[2].firstSample, 3u);
  EXPECT_EQ(table.runs()[2].sampleCount, 3u);
  EXPECT_EQ(table.runs()[2].sampleOffset, 200u);
  ASSERT_EQ(table.filled().size(), 2u);
  EXPECT_EQ(table.filled()[1].sampleOffset, 200u);
}

TEST(OffsetRuns, RefuseSampleNumbersBeyond32Bits) {
  EXPECT_CODE(sampleNumberOverflow, compositionTable({{0xFFFFFFF0, 0}, {0x20, 0}}));
  EXPECT_CODE(sampleNumberOverflow, compositionTable({{0xFFFFFFFF, 0}}));
  EXPECT_CODE(success, compositionTable({{0xFFFFFFFE, 0}}));
}

TEST(CompositionCursor, WalksFromASampleOverAllRuns) {
  const CompositionTable table =
      compositionTable({{2, 100}, {0, 1}, {1, 200}, {3, 0}, {1, 0xFFFFFFFE}});
  const std::vector<std::uint32_t> offsets = {100, 100, 200, 0, 0, 0, 0xFFFFFFFE};
  for (std::uint32_t first = 1; first <= offsets.size(); ++first) {
    CompositionCursor cursor(table, first);
    for (std::size_t i = first; i <= offsets.size(); ++i) {
      EXPECT_TRUE(cursor.isValid());
      EXPECT_EQ(cursor.compositionOffset(), offsets[i - 1]) << "sample " << i << " from " << first;
      cursor.advance();
    }
    EXPECT_FALSE(cursor.isValid());
  }
}

TEST(CompositionCursor, GivesZeroPastTheTable) {
  const CompositionTable table = compositionTable({{2, 100}});
  CompositionCursor cursor(table, 2);
  cursor.advance();
  EXPECT_FALSE(cursor.isValid());
  EXPECT_EQ(cursor.compositionOffset(), 0u);
  cursor.advance();
  EXPECT_EQ(cursor.compositionOffset(), 0u);
}

TEST(CompositionCursor, GivesTheLastOffsetToASamplePastTheTableThatItStartsAt) {
  const CompositionTable table = compositionTable({{2, 100}, {1, 200}, {0, 300}});
  for (const std::uint32_t sample : {4u, 5u, 0xFFFFFFFFu}) {
    CompositionCursor cursor(table, sample);
    EXPECT_EQ(cursor.compositionOffset(), 200u) << sample;
    cursor.advance();
    EXPECT_EQ(cursor.compositionOffset(), 0u) << sample;
  }
}

TEST(CompositionCursor, GivesZeroWithoutATable) {
  EXPECT_FALSE(CompositionCursor().isValid());
  EXPECT_EQ(CompositionCursor().compositionOffset(), 0u);
  EXPECT_FALSE(CompositionCursor(CompositionTable(), 1).isValid());
}

TEST(CompositionTableBuilder, ReturnsARunOnceAnotherOffsetComes) {
  CompositionTableBuilder builder;
  EXPECT_FALSE(builder.finish());
  EXPECT_FALSE(builder.add(9));
  EXPECT_FALSE(builder.add(9));
  const std::optional<OffsetEntry> entry = builder.add(4);
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->sampleCount, 2u);
  EXPECT_EQ(entry->sampleOffset, 9u);
  const std::optional<OffsetEntry> last = builder.finish();
  ASSERT_TRUE(last);
  EXPECT_EQ(last->sampleCount, 1u);
  EXPECT_EQ(last->sampleOffset, 4u);
}

TEST(CompositionTableBuilder, BeginsWithAnOffsetOfZeroAsWithAnyOther) {
  CompositionTableBuilder builder;
  EXPECT_FALSE(builder.add(0));
  const std::optional<OffsetEntry> entry = builder.add(1);
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->sampleCount, 1u);
  EXPECT_EQ(entry->sampleOffset, 0u);
}

TEST(CompositionTableBuilder, CanBeFinishedAndContinue) {
  CompositionTableBuilder builder;
  builder.add(5);
  EXPECT_EQ(builder.finish()->sampleCount, 1u);
  builder.add(5);
  EXPECT_EQ(builder.finish()->sampleCount, 2u);
}

}  // namespace
}  // namespace norvik::kav::impl
