#include "kav/impl/tables/run_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace norvik::kav::impl {
namespace {

struct NumberedRun {
  std::uint32_t firstSample = 0;
};

TEST(RunList, KeepsEmptyRunsAndWalksOverFilledOnes) {
  RunList<NumberedRun> list;
  list.add({1}, true);
  EXPECT_EQ(list.filled().data(), list.all().data());
  list.add({2}, false);
  list.add({3}, true);
  ASSERT_EQ(list.all().size(), 3u);
  ASSERT_EQ(list.filled().size(), 2u);
  EXPECT_EQ(list.filled()[0].firstSample, 1u);
  EXPECT_EQ(list.filled()[1].firstSample, 3u);
}

TEST(FindRun, IsTheLastRunThatBeginsAtOrBeforeTheSample) {
  for (std::uint32_t count = 1; count < 20; ++count) {
    std::vector<NumberedRun> runs;
    for (std::uint32_t i = 0; i < count; ++i) runs.push_back({i * (i + 1) / 2 + 1});
    const std::uint32_t samples = count * (count + 1) / 2;
    for (std::uint32_t n = 1; n <= samples + 3; ++n) {
      const auto past = std::find_if(runs.begin(), runs.end(),
                                     [&](const NumberedRun& run) { return run.firstSample > n; });
      EXPECT_EQ(findRun(std::span<const NumberedRun>(runs), n), &*(past - 1))
          << count << " runs, sample " << n;
    }
  }
}

TEST(FindRun, IsTheFirstRunForASampleBeforeAllOfThem) {
  const std::vector<NumberedRun> runs = {{1}, {3}, {5}};
  EXPECT_EQ(findRun(std::span<const NumberedRun>(runs), 0), &runs[0]);
  const std::vector<NumberedRun> single = {{1}};
  EXPECT_EQ(findRun(std::span<const NumberedRun>(single), 0), &single[0]);
}

TEST(FindRun, IsNothingWithoutRuns) {
  EXPECT_EQ(findRun(std::span<const NumberedRun>(), 1), nullptr);
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
