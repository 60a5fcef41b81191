#include "kav/impl/tables/time_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace norvik::kav::impl {
namespace {

using Pairs = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

TimeTable timeTable(const Pairs& entries) {
  TimeTable::Loader loader;
  for (const auto& [count, delta] : entries) loader.add({count, delta});
  return std::move(loader).finish();
}

void expectRun(const TimeRun& run, std::uint64_t start, std::uint32_t first, std::uint32_t count,
               std::uint32_t delta) {
  EXPECT_EQ(run.startTime, start);
  EXPECT_EQ(run.firstSample, first);
  EXPECT_EQ(run.sampleCount, count);
  EXPECT_EQ(run.sampleDelta, delta);
}

TEST(TimeRuns, BeginWhereTheRunBeforeThemEnds) {
  const TimeTable table = timeTable({{3, 1000}, {2, 500}});
  ASSERT_EQ(table.runs().size(), 2u);
  expectRun(table.runs()[0], 0, 1, 3, 1000);
  expectRun(table.runs()[1], 3000, 4, 2, 500);
}

TEST(TimeRuns, WrapTheLengthOfARunIn32Bits) {
  const TimeTable table = timeTable({{0x10000, 0x10000}, {3, 0x80000000}, {1, 1}});
  ASSERT_EQ(table.runs().size(), 3u);
  EXPECT_EQ(table.runs()[1].startTime, 0u);
  EXPECT_EQ(table.runs()[2].startTime, 0x80000000u);
}

TEST(TimeRuns, AddWrappedLengthsIn64Bits) {
  const TimeTable table = timeTable({{1, 0xFFFFFFFF}, {1, 0xFFFFFFFF}, {1, 1}});
  EXPECT_EQ(table.runs()[2].startTime, 0x1FFFFFFFEu);
}

TEST(TimeRuns, WrapSampleNumbersSilently) {
  const TimeTable table = timeTable({{0xFFFFFFFF, 0}, {5, 0}, {1, 0}});
  EXPECT_EQ(table.runs()[1].firstSample, 0u);
  EXPECT_EQ(table.runs()[2].firstSample, 5u);
}

TEST(TimeRuns, OfNoSamplesAreKeptAndNeverFound) {
  const TimeTable table = timeTable({{0, 9}, {2, 10}, {0, 99}, {1, 5}, {0, 1}});
  ASSERT_EQ(table.runs().size(), 5u);
  expectRun(table.runs()[0], 0, 1, 0, 9);
  expectRun(table.runs()[1], 0, 1, 2, 10);
  expectRun(table.runs()[2], 20, 3, 0, 99);
  expectRun(table.runs()[3], 20, 3, 1, 5);
  expectRun(table.runs()[4], 25, 4, 0, 1);
  ASSERT_EQ(table.filled().size(), 2u);
  expectRun(table.filled()[1], 20, 3, 1, 5);
  EXPECT_EQ(table.findTime(0), &table.filled()[0]);
  EXPECT_EQ(table.findTime(11), &table.filled()[1]);
  EXPECT_EQ(table.findTime(21), table.filled().data() + 2);
}

TEST(TimeRuns, OfNoSamplesAloneHoldNoTime) {
  const TimeTable table = timeTable({{0, 9}, {0, 8}});
  EXPECT_EQ(table.runs().size(), 2u);
  EXPECT_TRUE(table.filled().empty());
  EXPECT_EQ(table.findTime(0), table.filled().data());
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
  for (const Pairs& entries : tables) {
    const TimeTable table = timeTable(entries);
    std::vector<std::uint64_t> times = {0, 1, 2, 999, 0xFFFFFFFF, 0x100000000, ~0ull};
    for (const TimeRun& run : table.runs()) {
      for (const std::uint64_t k : {0u, 1u, run.sampleCount - 1, run.sampleCount}) {
        const std::uint64_t time = run.startTime + k * run.sampleDelta;
        times.insert(times.end(), {time - 1, time, time + 1});
      }
    }
    for (const std::uint64_t time : times) {
      EXPECT_EQ(table.findTime(time) - table.runs().data(),
                static_cast<std::ptrdiff_t>(firstRunReaching(table.runs(), time)))
          << time;
    }
  }
}

TEST(TimeRuns, ARunThatReachesPastTheLastTimeHoldsEveryTimeAfterItsStart) {
  Pairs entries(20, {1, 0xFFFFFFFF});
  entries.push_back({0xFFFFFFFF, 0xFFFFFFFF});
  entries.push_back({1, 1});
  const TimeTable table = timeTable(entries);
  EXPECT_EQ(table.findTime(~0ull) - table.runs().data(), 20);
}

TEST(TimeCursor, BeginsAtTheFirstSampleAtOrAfterATime) {
  const TimeTable table = timeTable({{3, 1000}, {2, 500}});
  struct {
    std::uint64_t time;
    std::uint32_t sample;
    std::uint64_t decodingTime;
  } const cases[] = {{0, 1, 0},       {1, 2, 1000},    {1000, 2, 1000}, {1001, 3, 2000},
                     {2001, 4, 3000}, {3000, 4, 3000}, {3001, 5, 3500}, {3500, 5, 3500}};
  for (const auto& c : cases) {
    const TimeCursor cursor(table, c.time);
    ASSERT_TRUE(cursor.isValid()) << c.time;
    EXPECT_EQ(cursor.sampleNumber(), c.sample) << c.time;
    EXPECT_EQ(cursor.decodingTime(), c.decodingTime) << c.time;
  }
  EXPECT_FALSE(TimeCursor(table, 3501).isValid());
}

TEST(TimeCursor, WalksOverAllRuns) {
  const TimeTable table = timeTable({{2, 10}, {0, 77}, {1, 5}, {2, 0}});
  std::vector<std::uint64_t> times;
  std::uint32_t number = 1;
  for (TimeCursor cursor(table, 0); cursor.isValid(); cursor.advance()) {
    EXPECT_EQ(cursor.sampleNumber(), number++);
    times.push_back(cursor.decodingTime());
  }
  EXPECT_EQ(times, (std::vector<std::uint64_t>{0, 10, 20, 25, 25}));
}

TEST(TimeCursor, ReportsTheDistanceToTheNextSample) {
  const TimeTable table = timeTable({{1, 10}, {1, 5}});
  TimeCursor cursor(table, 0);
  EXPECT_EQ(cursor.sampleDelta(), 10u);
  cursor.advance();
  EXPECT_EQ(cursor.sampleDelta(), 5u);
}

TEST(TimeCursor, StaysAtItsEnd) {
  const TimeTable table = timeTable({{1, 10}});
  TimeCursor cursor(table, 0);
  cursor.advance();
  EXPECT_FALSE(cursor.isValid());
  cursor.advance();
  EXPECT_FALSE(cursor.isValid());
  EXPECT_FALSE(TimeCursor().isValid());
  EXPECT_FALSE(TimeCursor(timeTable({}), 0).isValid());
}

TEST(TimeCursor, FindsItsPlaceInAHugeRunAtOnce) {
  const TimeTable table = timeTable({{100'000'000, 3}, {0xFFFFFFFF, 1}});
  EXPECT_EQ(TimeCursor(table, 299'999'996).sampleNumber(), 100'000'000u);
  EXPECT_EQ(TimeCursor(table, 299'999'998).sampleNumber(), 100'000'001u);
}

TEST(TimeCursor, CountsOnWithoutTheWrapOfTheNextRunsStart) {
  const TimeTable table = timeTable({{3, 0x80000000}, {1, 7}});
  TimeCursor cursor(table, 0x80000001);
  EXPECT_EQ(cursor.decodingTime(), 0x100000000u);
  cursor.advance();
  EXPECT_EQ(cursor.sampleNumber(), 4u);
  EXPECT_EQ(cursor.decodingTime(), 0x180000000u);
  EXPECT_EQ(table.runs()[1].startTime, 0x80000000u);
}

std::vector<std::uint32_t> flat(const std::vector<TimeEntry>& entries) {
  std::vector<std::uint32_t> numbers;
  for (const TimeEntry& e : entries) numbers.insert(numbers.end(), {e.sampleCount, e.sampleDelta});
  return numbers;
}

TEST(TimeTableBuilder, ReturnsARunOnceAnotherDurationComes) {
  TimeTableBuilder builder(7);
  EXPECT_FALSE(builder.add(0));
  EXPECT_FALSE(builder.add(10));
  EXPECT_FALSE(builder.add(20));
  const std::optional<TimeEntry> entry = builder.add(25);
  ASSERT_TRUE(entry);
  EXPECT_EQ(flat({*entry}), (std::vector<std::uint32_t>{2, 10}));
  EXPECT_EQ(flat(builder.finish()), (std::vector<std::uint32_t>{1, 5, 1, 7}));
}

TEST(TimeTableBuilder, CanBeFinishedAndContinue) {
  TimeTableBuilder builder(7);
  EXPECT_TRUE(builder.finish().empty());
  builder.add(90);
  EXPECT_EQ(flat(builder.finish()), (std::vector<std::uint32_t>{1, 1}));
  builder.add(94);
  EXPECT_EQ(flat(builder.finish()), (std::vector<std::uint32_t>{1, 4, 1, 7}));
}

TEST(TimeTableBuilder, KeepsTheLow32BitsOfADuration) {
  TimeTableBuilder builder(1);
  builder.add(0);
  builder.add(0x100000005);
  EXPECT_FALSE(builder.add(0x10000000A));
  EXPECT_EQ(flat(builder.finish()), (std::vector<std::uint32_t>{2, 5, 1, 1}));
}

TEST(TimeTableBuilder, ReplacesADurationOfAllOnesByTheNext) {
  TimeTableBuilder builder(1);
  builder.add(0);
  builder.add(0xFFFFFFFF);
  EXPECT_FALSE(builder.add(0x100000004));
  EXPECT_EQ(flat(builder.finish()), (std::vector<std::uint32_t>{2, 5, 1, 1}));
}

}  // namespace
}  // namespace norvik::kav::impl
