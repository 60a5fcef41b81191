#include "kav/impl/tables/sample_runs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "kav/exception.h"
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

void expectRun(const TimeRun& run, std::uint64_t start, std::uint32_t first, std::uint32_t count,
               std::uint32_t delta) {
  EXPECT_EQ(run.startTime, start);
  EXPECT_EQ(run.firstSample, first);
  EXPECT_EQ(run.sampleCount, count);
  EXPECT_EQ(run.sampleDelta, delta);
}

TEST(TimeRuns, BeginWhereTheRunBeforeThemEnds) {
  const TimeRuns runs = timeRuns({{3, 1000}, {2, 500}});
  ASSERT_EQ(runs.runs().size(), 2u);
  expectRun(runs.runs()[0], 0, 1, 3, 1000);
  expectRun(runs.runs()[1], 3000, 4, 2, 500);
}

TEST(TimeRuns, WrapTheLengthOfARunIn32Bits) {
  const TimeRuns runs = timeRuns({{0x10000, 0x10000}, {3, 0x80000000}, {1, 1}});
  ASSERT_EQ(runs.runs().size(), 3u);
  EXPECT_EQ(runs.runs()[1].startTime, 0u);
  EXPECT_EQ(runs.runs()[2].startTime, 0x80000000u);
}

TEST(TimeRuns, AddWrappedLengthsIn64Bits) {
  const TimeRuns runs = timeRuns({{1, 0xFFFFFFFF}, {1, 0xFFFFFFFF}, {1, 1}});
  EXPECT_EQ(runs.runs()[2].startTime, 0x1FFFFFFFEu);
}

TEST(TimeRuns, WrapSampleNumbersSilently) {
  const TimeRuns runs = timeRuns({{0xFFFFFFFF, 0}, {5, 0}, {1, 0}});
  EXPECT_EQ(runs.runs()[1].firstSample, 0u);
  EXPECT_EQ(runs.runs()[2].firstSample, 5u);
}

TEST(TimeRuns, OfNoSamplesAreKeptAndNeverFound) {
  const TimeRuns runs = timeRuns({{0, 9}, {2, 10}, {0, 99}, {1, 5}, {0, 1}});
  ASSERT_EQ(runs.runs().size(), 5u);
  expectRun(runs.runs()[0], 0, 1, 0, 9);
  expectRun(runs.runs()[1], 0, 1, 2, 10);
  expectRun(runs.runs()[2], 20, 3, 0, 99);
  expectRun(runs.runs()[3], 20, 3, 1, 5);
  expectRun(runs.runs()[4], 25, 4, 0, 1);
  ASSERT_EQ(runs.filled().size(), 2u);
  expectRun(runs.filled()[1], 20, 3, 1, 5);
  EXPECT_EQ(runs.findTime(0), &runs.filled()[0]);
  EXPECT_EQ(runs.findTime(11), &runs.filled()[1]);
  EXPECT_EQ(runs.findTime(21), runs.filled().data() + 2);
}

TEST(TimeRuns, OfNoSamplesAloneHoldNoTime) {
  const TimeRuns runs = timeRuns({{0, 9}, {0, 8}});
  EXPECT_EQ(runs.runs().size(), 2u);
  EXPECT_TRUE(runs.filled().empty());
  EXPECT_EQ(runs.findTime(0), runs.filled().data());
}

// The answer by definition: run after run.
std::size_t firstRunReaching(std::span<const TimeRun> runs, std::uint64_t time) {
  for (std::size_t i = 0; i < runs.size(); ++i) {
    const TimeRun& run = runs[i];
    if (run.startTime + std::uint64_t{run.sampleCount - 1} * run.sampleDelta >= time) return i;
  }
  return runs.size();
}

TEST(TimeRuns, FindATimeAsALookThroughAllRunsDoes) {
  const std::vector<Pairs> tables = {
      {},
      {{1, 10}},
      {{3, 1000}, {2, 500}},
      {{3, 0}, {2, 0}, {4, 7}, {1, 0}},
      {{0x10000, 0x10001}, {3, 10}, {0x20000, 0x8000}, {2, 0x70000000}, {9, 0x7FFFFFFF}, {1, 1}},
      {{5, 0x40000000}, {1, 1}, {7, 0xFFFFFFF0}, {1, 1}, {2, 3}},
  };
  for (const Pairs& table : tables) {
    const TimeRuns runs = timeRuns(table);
    std::vector<std::uint64_t> times = {0, 1, 2, 999, 0xFFFFFFFF, 0x100000000, ~0ull};
    for (const TimeRun& run : runs.runs()) {
      for (const std::uint64_t k : {0u, 1u, run.sampleCount - 1, run.sampleCount}) {
        const std::uint64_t time = run.startTime + k * run.sampleDelta;
        times.insert(times.end(), {time - 1, time, time + 1});
      }
    }
    for (const std::uint64_t time : times) {
      EXPECT_EQ(runs.findTime(time) - runs.runs().data(),
                static_cast<std::ptrdiff_t>(firstRunReaching(runs.runs(), time)))
          << time;
    }
  }
}

TEST(TimeRuns, ARunThatReachesPastTheLastTimeHoldsEveryTimeBehindItsStart) {
  Pairs table(20, {1, 0xFFFFFFFF});
  table.push_back({0xFFFFFFFF, 0xFFFFFFFF});
  table.push_back({1, 1});
  const TimeRuns runs = timeRuns(table);
  EXPECT_EQ(runs.findTime(~0ull) - runs.runs().data(), 20);
}

OffsetRuns offsetRuns(const Pairs& entries) {
  OffsetRuns runs;
  for (const auto& [count, offset] : entries) runs.add(count, offset);
  return runs;
}

TEST(OffsetRuns, NumberTheirSamples) {
  const OffsetRuns runs = offsetRuns({{2, 100}, {0, 50}, {3, 200}});
  ASSERT_EQ(runs.runs().size(), 3u);
  EXPECT_EQ(runs.runs()[0].firstSample, 1u);
  EXPECT_EQ(runs.runs()[0].sampleOffset, 100u);
  EXPECT_EQ(runs.runs()[1].firstSample, 3u);
  EXPECT_EQ(runs.runs()[1].sampleCount, 0u);
  EXPECT_EQ(runs.runs()[1].sampleOffset, 50u);
  EXPECT_EQ(runs.runs()[2].firstSample, 3u);
  EXPECT_EQ(runs.runs()[2].sampleCount, 3u);
  EXPECT_EQ(runs.runs()[2].sampleOffset, 200u);
  ASSERT_EQ(runs.filled().size(), 2u);
  EXPECT_EQ(runs.filled()[1].sampleOffset, 200u);
}

TEST(OffsetRuns, RefuseSampleNumbersBeyond32Bits) {
  EXPECT_EQ(codeOf([] { offsetRuns({{0xFFFFFFF0, 0}, {0x20, 0}}); }), 30u);
  EXPECT_EQ(codeOf([] { offsetRuns({{0xFFFFFFFF, 0}}); }), 30u);
  EXPECT_EQ(codeOf([] { offsetRuns({{0xFFFFFFFE, 0}}); }), std::nullopt);
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

void expectRun(const ChunkRun& run, std::uint32_t firstChunk, std::uint32_t chunks,
               std::uint32_t samples, std::uint32_t description, std::uint32_t firstSample) {
  EXPECT_EQ(run.firstChunk, firstChunk);
  EXPECT_EQ(run.chunkCount, chunks);
  EXPECT_EQ(run.samplesPerChunk, samples);
  EXPECT_EQ(run.descriptionIndex, description);
  EXPECT_EQ(run.firstSample, firstSample);
}

TEST(ChunkRuns, EndWhereTheNextOneBegins) {
  const ChunkRuns runs = chunkRuns({{1, 2, 1}, {3, 5, 2}});
  ASSERT_EQ(runs.runs().size(), 2u);
  expectRun(runs.runs()[0], 1, 2, 2, 1, 1);
  expectRun(runs.runs()[1], 3, 0xFFFFFFFF, 5, 2, 5);
}

TEST(ChunkRuns, OfATableWithoutEntriesAreOneRunWithoutSamples) {
  const ChunkRuns runs = chunkRuns({});
  ASSERT_EQ(runs.runs().size(), 1u);
  expectRun(runs.runs()[0], 1, 0xFFFFFFFF, 0, 1, 1);
}

TEST(ChunkRuns, MustBeginAtChunkOne) {
  EXPECT_EQ(codeOf([] { chunkRuns({{2, 4, 1}}); }), 23u);
  EXPECT_EQ(codeOf([] { chunkRuns({{0, 4, 1}}); }), 23u);
}

TEST(ChunkRuns, MustNotGoBackwards) {
  EXPECT_EQ(codeOf([] { chunkRuns({{1, 4, 1}, {5, 1, 1}, {4, 1, 1}}); }), 23u);
}

TEST(ChunkRuns, OfNoChunksAreKeptAndNotFilled) {
  const ChunkRuns runs = chunkRuns({{1, 9, 1}, {1, 4, 2}, {3, 7, 1}, {3, 1, 1}});
  ASSERT_EQ(runs.runs().size(), 4u);
  expectRun(runs.runs()[0], 1, 0, 9, 1, 1);
  expectRun(runs.runs()[1], 1, 2, 4, 2, 1);
  expectRun(runs.runs()[2], 3, 0, 7, 1, 9);
  expectRun(runs.runs()[3], 3, 0xFFFFFFFF, 1, 1, 9);
  ASSERT_EQ(runs.filled().size(), 2u);
  expectRun(runs.filled()[0], 1, 2, 4, 2, 1);
  expectRun(runs.filled()[1], 3, 0xFFFFFFFF, 1, 1, 9);
}

TEST(ChunkRuns, WrapSampleNumbersIn32Bits) {
  const ChunkRuns runs = chunkRuns({{1, 0x10000, 1}, {0x10001, 3, 1}, {0x10002, 1, 1}});
  EXPECT_EQ(runs.runs()[1].firstSample, 1u);
  EXPECT_EQ(runs.runs()[2].firstSample, 4u);
}

TEST(FindRun, IsTheLastRunThatBeginsAtOrBeforeTheSample) {
  for (std::uint32_t count = 1; count < 20; ++count) {
    OffsetRuns runs;
    for (std::uint32_t i = 0; i < count; ++i) runs.add(i + 1, i);
    const std::uint32_t samples = count * (count + 1) / 2;
    for (std::uint32_t n = 1; n <= samples + 3; ++n) {
      const auto behind = std::find_if(runs.runs().begin(), runs.runs().end(),
                                       [&](const OffsetRun& run) { return run.firstSample > n; });
      EXPECT_EQ(findRun(runs.runs(), n), &*(behind - 1)) << count << " runs, sample " << n;
    }
  }
}

TEST(FindRun, IsTheFirstRunForASampleBeforeAllOfThem) {
  const OffsetRuns runs = offsetRuns({{2, 1}, {2, 2}, {2, 3}});
  EXPECT_EQ(findRun(runs.runs(), 0), &runs.runs()[0]);
  const OffsetRuns single = offsetRuns({{2, 1}});
  EXPECT_EQ(findRun(single.runs(), 0), &single.runs()[0]);
}

TEST(FindRun, IsNothingWithoutRuns) {
  EXPECT_EQ(findRun(std::span<const OffsetRun>(), 1), nullptr);
}

TEST(RisingIndex, FindsTheFirstEntryThatReachesATargetInAnyOrder) {
  const std::vector<std::vector<std::uint32_t>> lists = {
      {}, {5}, {1, 4, 9}, {4, 4, 4}, {9, 1, 4}, {3, 1, 5, 2, 5, 8, 0, 7}, {0, 0, 2, 1, 3}};
  for (const std::vector<std::uint32_t>& list : lists) {
    const auto at = [&](std::size_t i) { return list[i]; };
    RisingIndex index;
    index.build(list.size(), at);
    for (std::uint32_t target = 0; target < 12; ++target) {
      const auto expected =
          std::find_if(list.begin(), list.end(), [&](std::uint32_t v) { return v >= target; });
      EXPECT_EQ(index.firstReaching(list.size(), target, at),
                static_cast<std::size_t>(expected - list.begin()));
    }
  }
}

}  // namespace
}  // namespace norvik::kav::impl
