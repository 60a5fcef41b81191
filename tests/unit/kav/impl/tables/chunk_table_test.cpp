#include "kav/impl/tables/chunk_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "tests/support/expect_code.h"

namespace norvik::kav::impl {
namespace {

struct Chunks {
  std::uint32_t first, samples, description;
};

ChunkTable chunkTable(const std::vector<Chunks>& entries) {
  ChunkTable::Loader loader;
  for (const Chunks& e : entries) loader.add({e.first, e.samples, e.description});
  return std::move(loader).finish();
}

void expectRun(const ChunkRun& run, std::uint32_t firstChunk, std::uint32_t chunks,
               std::uint32_t samples, std::uint32_t description, std::uint32_t firstSample) {
  EXPECT_EQ(run.firstChunk, firstChunk);
  EXPECT_EQ(run.chunkCount, chunks);
  EXPECT_EQ(run.samplesPerChunk, samples);
  EXPECT_EQ(run.descriptionIndex, description);
  EXPECT_EQ(run.firstSample, firstSample);
}

TEST(ChunkRuns, EndWhereTheNextOneBegins) {
  const ChunkTable table = chunkTable({{1, 2, 1}, {3, 5, 2}});
  ASSERT_EQ(table.runs().size(), 2u);
  expectRun(table.runs()[0], 1, 2, 2, 1, 1);
  expectRun(table.runs()[1], 3, 0xFFFFFFFF, 5, 2, 5);
}

TEST(ChunkRuns, OfATableWithoutEntriesAreOneRunWithoutSamples) {
  const ChunkTable table = chunkTable({});
  ASSERT_EQ(table.runs().size(), 1u);
  expectRun(table.runs()[0], 1, 0xFFFFFFFF, 0, 1, 1);
}

TEST(ChunkRuns, MustBeginAtChunkOne) {
  EXPECT_CODE(badChunkRun, chunkTable({{2, 4, 1}}));
  EXPECT_CODE(badChunkRun, chunkTable({{0, 4, 1}}));
}

TEST(ChunkRuns, MustNotGoBackwards) {
  EXPECT_CODE(badChunkRun, chunkTable({{1, 4, 1}, {5, 1, 1}, {4, 1, 1}}));
}

TEST(ChunkRuns, OfNoChunksAreKeptAndNotFilled) {
  const ChunkTable table = chunkTable({{1, 9, 1}, {1, 4, 2}, {3, 7, 1}, {3, 1, 1}});
  ASSERT_EQ(table.runs().size(), 4u);
  expectRun(table.runs()[0], 1, 0, 9, 1, 1);
  expectRun(table.runs()[1], 1, 2, 4, 2, 1);
  expectRun(table.runs()[2], 3, 0, 7, 1, 9);
  expectRun(table.runs()[3], 3, 0xFFFFFFFF, 1, 1, 9);
  ASSERT_EQ(table.filled().size(), 2u);
  expectRun(table.filled()[0], 1, 2, 4, 2, 1);
  expectRun(table.filled()[1], 3, 0xFFFFFFFF, 1, 1, 9);
}

TEST(ChunkRuns, ThatGoOnAsBeforeAreOne) {
  const ChunkTable table =
      chunkTable({{1, 2, 1}, {2, 2, 1}, {5, 2, 1}, {6, 2, 2}, {7, 3, 2}, {8, 3, 2}});
  ASSERT_EQ(table.runs().size(), 3u);
  expectRun(table.runs()[0], 1, 5, 2, 1, 1);
  expectRun(table.runs()[1], 6, 1, 2, 2, 11);
  expectRun(table.runs()[2], 7, 0xFFFFFFFF, 3, 2, 13);
}

TEST(ChunkRuns, ThatGoOnAsBeforeMustNotGoBackwards) {
  EXPECT_CODE(badChunkRun, chunkTable({{1, 4, 1}, {5, 4, 1}, {4, 4, 1}}));
  EXPECT_CODE(badChunkRun, chunkTable({{1, 4, 1}, {5, 4, 1}, {4, 1, 1}}));
}

TEST(ChunkRuns, ThatGoOnAsBeforeStayApartWhereSampleNumbersWrap) {
  const ChunkTable table = chunkTable({{1, 0x10000, 1}, {0x10001, 0x10000, 1}});
  EXPECT_EQ(table.runs().size(), 2u);
}

TEST(ChunkRuns, WithoutSamplesStayApart) {
  EXPECT_EQ(chunkTable({{1, 0, 1}, {2, 0, 1}}).runs().size(), 2u);
}

TEST(ChunkRuns, WrapSampleNumbersIn32Bits) {
  const ChunkTable table = chunkTable({{1, 0x10000, 1}, {0x10001, 3, 1}, {0x10002, 1, 1}});
  EXPECT_EQ(table.runs()[1].firstSample, 1u);
  EXPECT_EQ(table.runs()[2].firstSample, 4u);
}

TEST(ChunkCursor, BeginsAtTheFirstSampleOfTheChunk) {
  const ChunkTable table = chunkTable({{1, 2, 1}, {3, 5, 1}});
  const ChunkCursor cursor(table.filled(), 6);
  EXPECT_TRUE(cursor.isValid());
  EXPECT_EQ(cursor.chunkNumber(), 3u);
  EXPECT_EQ(cursor.sampleNumber(), 5u);
  EXPECT_EQ(cursor.samplesLeftInChunk(), 5u);
  EXPECT_EQ(cursor.chunksLeftInRun(), 0xFFFFFFFFu);
  EXPECT_EQ(cursor.descriptionIndex(), 1u);
}

TEST(ChunkCursor, CountsTheChunksOfTheRunBeforeTheSample) {
  const ChunkTable table = chunkTable({{1, 3, 4}, {5, 1, 1}});
  const ChunkCursor cursor(table.filled(), 8);
  EXPECT_EQ(cursor.chunkNumber(), 3u);
  EXPECT_EQ(cursor.sampleNumber(), 7u);
  EXPECT_EQ(cursor.chunksLeftInRun(), 2u);
  EXPECT_EQ(cursor.descriptionIndex(), 4u);
}

TEST(ChunkCursor, WalksOverChunksAndRuns) {
  const ChunkTable table = chunkTable({{1, 2, 1}, {3, 9, 9}, {3, 1, 2}, {4, 3, 3}});
  const std::vector<std::uint32_t> chunks = {1, 1, 2, 2, 3, 4, 4, 4, 5, 5};
  const std::vector<std::uint32_t> descriptions = {1, 1, 1, 1, 2, 3, 3, 3, 3, 3};
  ChunkCursor cursor(table.filled(), 1);
  for (std::uint32_t i = 0; i < chunks.size(); ++i) {
    EXPECT_EQ(cursor.sampleNumber(), i + 1);
    EXPECT_EQ(cursor.chunkNumber(), chunks[i]);
    EXPECT_EQ(cursor.descriptionIndex(), descriptions[i]);
    cursor.advance();
  }
}

TEST(ChunkCursor, SkipsWithinItsChunk) {
  const ChunkTable table = chunkTable({{1, 5, 1}, {2, 1, 1}});
  ChunkCursor cursor(table.filled(), 4);
  cursor.advanceWithinChunk(3);
  EXPECT_EQ(cursor.sampleNumber(), 4u);
  EXPECT_EQ(cursor.samplesLeftInChunk(), 2u);
  cursor.advance();
  cursor.advance();
  EXPECT_EQ(cursor.chunkNumber(), 2u);
}

TEST(ChunkCursor, RefusesASampleInChunksWithoutSamples) {
  EXPECT_CODE(badChunkRun, ChunkCursor(chunkTable({}).filled(), 1));
  const ChunkTable table = chunkTable({{1, 2, 1}, {2, 0, 1}});
  EXPECT_CODE(badChunkRun, ChunkCursor(table.filled(), 3));
  EXPECT_CODE(success, ChunkCursor(table.filled(), 2));
}

TEST(ChunkCursor, RefusesToWalkIntoChunksWithoutSamples) {
  const ChunkTable table = chunkTable({{1, 2, 1}, {2, 0, 1}});
  ChunkCursor cursor(table.filled(), 1);
  cursor.advance();
  EXPECT_CODE(badChunkRun, cursor.advance());
}

TEST(ChunkCursor, IsAtItsEndWithoutRuns) {
  ChunkCursor cursor({}, 1);
  EXPECT_FALSE(cursor.isValid());
  cursor.advance();
  EXPECT_FALSE(cursor.isValid());
  EXPECT_FALSE(ChunkCursor().isValid());
}

// Only a table in memory can end: in a file the last run is open.
TEST(ChunkCursor, EndsPastTheLastRunAndStaysThere) {
  const std::vector<ChunkRun> runs = {{1, 1, 2, 1, 1}};
  ChunkCursor cursor(runs, 1);
  cursor.advance();
  EXPECT_TRUE(cursor.isValid());
  cursor.advance();
  EXPECT_FALSE(cursor.isValid());
  cursor.advance();
  EXPECT_FALSE(cursor.isValid());
}

void expectChunk(const std::optional<ChunkTableBuilder::Chunk>& chunk, std::uint32_t number,
                 std::uint32_t samples, std::uint32_t description, std::uint64_t offset) {
  ASSERT_TRUE(chunk);
  EXPECT_EQ(chunk->entry.firstChunk, number);
  EXPECT_EQ(chunk->entry.samplesPerChunk, samples);
  EXPECT_EQ(chunk->entry.descriptionIndex, description);
  EXPECT_EQ(chunk->offset, offset);
}

TEST(ChunkTableBuilder, JoinsSamplesThatLieNextToEachOther) {
  ChunkTableBuilder builder;
  EXPECT_FALSE(builder.finish());
  EXPECT_FALSE(builder.add(48, 10, 1));
  EXPECT_FALSE(builder.add(58, 0, 1));
  EXPECT_FALSE(builder.add(58, 5, 1));
  expectChunk(builder.finish(), 1, 3, 1, 48);
  EXPECT_FALSE(builder.finish());
}

TEST(ChunkTableBuilder, ClosesAChunkAtAGapAndAtAnotherDescription) {
  ChunkTableBuilder builder;
  EXPECT_FALSE(builder.add(48, 10, 1));
  expectChunk(builder.add(59, 1, 1), 1, 1, 1, 48);
  expectChunk(builder.add(60, 1, 2), 2, 1, 1, 59);
  expectChunk(builder.finish(), 3, 1, 2, 60);
}

TEST(ChunkTableBuilder, OpensAnotherChunkOnceFinished) {
  ChunkTableBuilder builder;
  builder.add(0, 10, 1);
  builder.finish();
  EXPECT_FALSE(builder.add(10, 1, 1));
  expectChunk(builder.finish(), 2, 1, 1, 10);
}

TEST(ChunkTableBuilder, OpensAChunkAtTheBeginOfTheFile) {
  ChunkTableBuilder builder;
  EXPECT_FALSE(builder.add(0, 4, 0));
  expectChunk(builder.finish(), 1, 1, 0, 0);
}

}  // namespace
}  // namespace norvik::kav::impl
