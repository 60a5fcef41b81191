#include "kav/impl/tables/sample_cursors.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/unit/kav/impl/table_fixtures.h"

namespace norvik::kav::impl {
namespace {

using Pairs = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

TimeRuns timeRuns(const Pairs& entries) {
  TimeRuns runs;
  for (const auto& [count, delta] : entries) runs.add(count, delta);
  runs.finish();
  return runs;
}

TEST(TimeCursor, StandsAtTheFirstSampleAtOrAfterATime) {
  const TimeRuns runs = timeRuns({{3, 1000}, {2, 500}});
  struct {
    std::uint64_t time;
    std::uint32_t sample;
    std::uint64_t decodingTime;
  } const cases[] = {{0, 1, 0},       {1, 2, 1000},    {1000, 2, 1000}, {1001, 3, 2000},
                     {2001, 4, 3000}, {3000, 4, 3000}, {3001, 5, 3500}, {3500, 5, 3500}};
  for (const auto& c : cases) {
    const TimeCursor cursor(runs, c.time);
    ASSERT_TRUE(cursor.isValid()) << c.time;
    EXPECT_EQ(cursor.sampleNumber(), c.sample) << c.time;
    EXPECT_EQ(cursor.decodingTime(), c.decodingTime) << c.time;
  }
  EXPECT_FALSE(TimeCursor(runs, 3501).isValid());
}

TEST(TimeCursor, WalksOverAllRuns) {
  const TimeRuns runs = timeRuns({{2, 10}, {0, 77}, {1, 5}, {2, 0}});
  std::vector<std::uint64_t> times;
  std::uint32_t number = 1;
  for (TimeCursor cursor(runs, 0); cursor.isValid(); cursor.advance()) {
    EXPECT_EQ(cursor.sampleNumber(), number++);
    times.push_back(cursor.decodingTime());
  }
  EXPECT_EQ(times, (std::vector<std::uint64_t>{0, 10, 20, 25, 25}));
}

TEST(TimeCursor, TellsTheDistanceToTheNextSample) {
  const TimeRuns runs = timeRuns({{1, 10}, {1, 5}});
  TimeCursor cursor(runs, 0);
  EXPECT_EQ(cursor.sampleDelta(), 10u);
  cursor.advance();
  EXPECT_EQ(cursor.sampleDelta(), 5u);
}

TEST(TimeCursor, StaysAtItsEnd) {
  const TimeRuns runs = timeRuns({{1, 10}});
  TimeCursor cursor(runs, 0);
  cursor.advance();
  EXPECT_FALSE(cursor.isValid());
  cursor.advance();
  EXPECT_FALSE(cursor.isValid());
  EXPECT_FALSE(TimeCursor().isValid());
  EXPECT_FALSE(TimeCursor(timeRuns({}), 0).isValid());
}

TEST(TimeCursor, FindsItsPlaceInAHugeRunAtOnce) {
  const TimeRuns runs = timeRuns({{100'000'000, 3}, {0xFFFFFFFF, 1}});
  EXPECT_EQ(TimeCursor(runs, 299'999'996).sampleNumber(), 100'000'000u);
  EXPECT_EQ(TimeCursor(runs, 299'999'998).sampleNumber(), 100'000'001u);
}

TEST(TimeCursor, CountsOnWithoutTheWrapOfTheNextRunsStart) {
  const TimeRuns runs = timeRuns({{3, 0x80000000}, {1, 7}});
  TimeCursor cursor(runs, 0x80000001);
  EXPECT_EQ(cursor.decodingTime(), 0x100000000u);
  cursor.advance();
  EXPECT_EQ(cursor.sampleNumber(), 4u);
  EXPECT_EQ(cursor.decodingTime(), 0x180000000u);
  EXPECT_EQ(runs.runs()[1].startTime, 0x80000000u);
}

OffsetRuns offsetRuns(const Pairs& entries) {
  OffsetRuns runs;
  for (const auto& [count, offset] : entries) runs.add(count, offset);
  return runs;
}

TEST(CompositionCursor, WalksFromASampleOverAllRuns) {
  const OffsetRuns runs = offsetRuns({{2, 100}, {0, 1}, {1, 200}, {3, 0}, {1, 0xFFFFFFFE}});
  const std::vector<std::uint32_t> offsets = {100, 100, 200, 0, 0, 0, 0xFFFFFFFE};
  for (std::uint32_t first = 1; first <= offsets.size(); ++first) {
    CompositionCursor cursor(runs.filled(), first);
    for (std::size_t i = first; i <= offsets.size(); ++i) {
      EXPECT_TRUE(cursor.isValid());
      EXPECT_EQ(cursor.compositionOffset(), offsets[i - 1]) << "sample " << i << " from " << first;
      cursor.advance();
    }
    EXPECT_FALSE(cursor.isValid());
  }
}

TEST(CompositionCursor, GivesZeroBehindTheTable) {
  const OffsetRuns runs = offsetRuns({{2, 100}});
  CompositionCursor cursor(runs.filled(), 2);
  cursor.advance();
  EXPECT_FALSE(cursor.isValid());
  EXPECT_EQ(cursor.compositionOffset(), 0u);
  cursor.advance();
  EXPECT_EQ(cursor.compositionOffset(), 0u);
}

TEST(CompositionCursor, GivesTheLastOffsetToASampleBehindTheTableThatItStartsAt) {
  const OffsetRuns runs = offsetRuns({{2, 100}, {1, 200}, {0, 300}});
  for (const std::uint32_t sample : {4u, 5u, 0xFFFFFFFFu}) {
    CompositionCursor cursor(runs.filled(), sample);
    EXPECT_EQ(cursor.compositionOffset(), 200u) << sample;
    cursor.advance();
    EXPECT_EQ(cursor.compositionOffset(), 0u) << sample;
  }
}

TEST(CompositionCursor, GivesZeroWithoutATable) {
  EXPECT_FALSE(CompositionCursor().isValid());
  EXPECT_EQ(CompositionCursor().compositionOffset(), 0u);
  EXPECT_FALSE(CompositionCursor({}, 1).isValid());
}

struct Chunks {
  std::uint32_t first, samples, description;
};

ChunkRuns chunkRuns(const std::vector<Chunks>& entries) {
  ChunkRuns runs;
  for (const Chunks& e : entries) runs.add(e.first, e.samples, e.description);
  runs.finish();
  return runs;
}

TEST(ChunkCursor, BeginsAtTheFirstSampleOfTheChunk) {
  const ChunkRuns runs = chunkRuns({{1, 2, 1}, {3, 5, 1}});
  const ChunkCursor cursor(runs.filled(), 6);
  EXPECT_TRUE(cursor.isValid());
  EXPECT_EQ(cursor.chunkNumber(), 3u);
  EXPECT_EQ(cursor.sampleNumber(), 5u);
  EXPECT_EQ(cursor.samplesLeftInChunk(), 5u);
  EXPECT_EQ(cursor.chunksLeftInRun(), 0xFFFFFFFFu);
  EXPECT_EQ(cursor.descriptionIndex(), 1u);
}

TEST(ChunkCursor, CountsTheChunksOfTheRunInFrontOfTheSample) {
  const ChunkRuns runs = chunkRuns({{1, 3, 4}, {5, 1, 1}});
  const ChunkCursor cursor(runs.filled(), 8);
  EXPECT_EQ(cursor.chunkNumber(), 3u);
  EXPECT_EQ(cursor.sampleNumber(), 7u);
  EXPECT_EQ(cursor.chunksLeftInRun(), 2u);
  EXPECT_EQ(cursor.descriptionIndex(), 4u);
}

TEST(ChunkCursor, WalksOverChunksAndRuns) {
  const ChunkRuns runs = chunkRuns({{1, 2, 1}, {3, 9, 9}, {3, 1, 2}, {4, 3, 3}});
  const std::vector<std::uint32_t> chunks = {1, 1, 2, 2, 3, 4, 4, 4, 5, 5};
  const std::vector<std::uint32_t> descriptions = {1, 1, 1, 1, 2, 3, 3, 3, 3, 3};
  ChunkCursor cursor(runs.filled(), 1);
  for (std::uint32_t i = 0; i < chunks.size(); ++i) {
    EXPECT_EQ(cursor.sampleNumber(), i + 1);
    EXPECT_EQ(cursor.chunkNumber(), chunks[i]);
    EXPECT_EQ(cursor.descriptionIndex(), descriptions[i]);
    cursor.advance();
  }
}

TEST(ChunkCursor, SkipsWithinItsChunk) {
  const ChunkRuns runs = chunkRuns({{1, 5, 1}, {2, 1, 1}});
  ChunkCursor cursor(runs.filled(), 4);
  cursor.advanceWithinChunk(3);
  EXPECT_EQ(cursor.sampleNumber(), 4u);
  EXPECT_EQ(cursor.samplesLeftInChunk(), 2u);
  cursor.advance();
  cursor.advance();
  EXPECT_EQ(cursor.chunkNumber(), 2u);
}

TEST(ChunkCursor, RefusesASampleInChunksWithoutSamples) {
  EXPECT_EQ(codeOf([] { ChunkCursor(chunkRuns({}).filled(), 1); }), 23u);
  const ChunkRuns runs = chunkRuns({{1, 2, 1}, {2, 0, 1}});
  EXPECT_EQ(codeOf([&] { ChunkCursor(runs.filled(), 3); }), 23u);
  EXPECT_EQ(codeOf([&] { ChunkCursor(runs.filled(), 2); }), std::nullopt);
}

TEST(ChunkCursor, RefusesToWalkIntoChunksWithoutSamples) {
  const ChunkRuns runs = chunkRuns({{1, 2, 1}, {2, 0, 1}});
  ChunkCursor cursor(runs.filled(), 1);
  cursor.advance();
  EXPECT_EQ(codeOf([&] { cursor.advance(); }), 23u);
}

TEST(ChunkCursor, IsAtItsEndWithoutRuns) {
  ChunkCursor cursor({}, 1);
  EXPECT_FALSE(cursor.isValid());
  cursor.advance();
  EXPECT_FALSE(cursor.isValid());
  EXPECT_FALSE(ChunkCursor().isValid());
}

// Only a table in memory can end: in a file the last run is open.
TEST(ChunkCursor, EndsBehindTheLastRunAndStaysThere) {
  const std::vector<ChunkRun> runs = {{1, 1, 2, 1, 1}};
  ChunkCursor cursor(runs, 1);
  cursor.advance();
  EXPECT_TRUE(cursor.isValid());
  cursor.advance();
  EXPECT_FALSE(cursor.isValid());
  cursor.advance();
  EXPECT_FALSE(cursor.isValid());
}

TEST(SyncSampleCursor, WalksTheNumbers) {
  const std::vector<std::uint32_t> numbers = {1, 7};
  SyncSampleCursor cursor(numbers.data(), numbers.data() + numbers.size());
  EXPECT_TRUE(cursor.isActive());
  EXPECT_EQ(cursor.current(), 1u);
  EXPECT_TRUE(cursor.isAt(1));
  EXPECT_FALSE(cursor.isAt(7));
  cursor.next();
  EXPECT_TRUE(cursor.isAt(7));
  cursor.next();
  EXPECT_TRUE(cursor.isAtEnd());
  EXPECT_FALSE(cursor.isAt(7));
  cursor.next();
  EXPECT_TRUE(cursor.isAtEnd());
}

TEST(SyncSampleCursor, IsNotActiveWithoutATable) {
  const SyncSampleCursor cursor;
  EXPECT_FALSE(cursor.isActive());
  EXPECT_FALSE(cursor.isAt(0));
}

std::vector<std::uint32_t> walk(SampleSizeIterator& iterator) {
  std::vector<std::uint32_t> sizes;
  for (; iterator.isValid(); iterator.next()) sizes.push_back(iterator.getSampleSize());
  iterator.next();
  EXPECT_FALSE(iterator.isValid());
  return sizes;
}

TEST(FixedSampleSizeIterator, GivesOneSizeForEverySample) {
  FixedSampleSizeIterator all(512, 1, 3);
  EXPECT_EQ(walk(all), (std::vector<std::uint32_t>{512, 512, 512}));
  FixedSampleSizeIterator last(512, 3, 3);
  EXPECT_EQ(walk(last), (std::vector<std::uint32_t>{512}));
  for (const std::uint32_t outside : {0u, 4u, 0xFFFFFFFFu}) {
    EXPECT_FALSE(FixedSampleSizeIterator(512, outside, 3).isValid()) << outside;
  }
}

TEST(NormalVariableSampleSizeIterator, GivesEverySampleItsSize) {
  const std::vector<std::uint32_t> sizes = {5, 0, 7};
  NormalVariableSampleSizeIterator all(sizes, 1);
  EXPECT_EQ(walk(all), sizes);
  NormalVariableSampleSizeIterator last(sizes, 3);
  EXPECT_EQ(walk(last), (std::vector<std::uint32_t>{7}));
  for (const std::uint32_t outside : {0u, 4u, 0xFFFFFFFFu}) {
    NormalVariableSampleSizeIterator iterator(sizes, outside);
    EXPECT_FALSE(iterator.isValid()) << outside;
    EXPECT_EQ(iterator.getSampleSize(), 0u);
  }
}

TEST(NullSampleSizeIterator, IsNeverValid) {
  NullSampleSizeIterator iterator;
  EXPECT_TRUE(walk(iterator).empty());
  EXPECT_EQ(iterator.getSampleSize(), 0u);
}

TEST(NormalChunkOffsetIterator, GivesEveryChunkItsOffset) {
  const std::vector<std::uint64_t> offsets = {48, 0x100000000};
  NormalChunkOffsetIterator iterator(offsets, 1);
  EXPECT_TRUE(iterator.isValid());
  EXPECT_EQ(iterator.getOffset(), 48u);
  iterator.next();
  EXPECT_EQ(iterator.getOffset(), 0x100000000u);
  iterator.next();
  EXPECT_FALSE(iterator.isValid());
  EXPECT_EQ(iterator.getOffset(), 0u);
  iterator.next();
  EXPECT_FALSE(iterator.isValid());
  for (const std::uint32_t outside : {0u, 3u, 0xFFFFFFFFu}) {
    EXPECT_FALSE(NormalChunkOffsetIterator(offsets, outside).isValid()) << outside;
  }
}

TEST(NullChunkOffsetIterator, IsNeverValid) {
  NullChunkOffsetIterator iterator;
  iterator.next();
  EXPECT_FALSE(iterator.isValid());
  EXPECT_EQ(iterator.getOffset(), 0u);
}

}  // namespace
}  // namespace norvik::kav::impl
