#include "captions/caption_times.h"

#include "tests/support/caption_pairs.h"

#include <gtest/gtest.h>

#include <limits>

namespace quarrypack::captions {
namespace {

using namespace quarrypack::test;

using Times = std::vector<Time>;

constexpr Time kStart{1'000'000'000};

Times sampleTimes(const std::string& pairs, Time duration, bool isLast = false) {
  FieldPairs field;
  appendSamplePairs(field, pairsOf(pairs), {kStart, duration, isLast});
  EXPECT_EQ(hexOf(field), hexOf(pairsOf(pairs)));
  return timesOf(field);
}

Times frameByFrame(Time start, std::int64_t count) {
  Times times;
  for (std::int64_t i = 0; i < count; ++i) times.push_back(start + kPairTime * i);
  return times;
}

const std::string kFourPairs = "c1c1 c2c2 43c4 4546";

TEST(SamplePairs, FollowEachOtherWhereTheSampleIsLonger) {
  EXPECT_EQ(sampleTimes(kFourPairs, kPairTime * 4), frameByFrame(kStart, 4));
  EXPECT_EQ(sampleTimes(kFourPairs, kPairTime * 400), frameByFrame(kStart, 4));
}

TEST(SamplePairs, FillASampleThatIsALittleShorter) {
  // Four frames at 30 a second: 4 · 23,520,000 ticks.
  const Time frame{23'520'000};
  EXPECT_EQ(sampleTimes(kFourPairs, frame * 4),
            (Times{kStart, kStart + frame, kStart + frame * 2, kStart + frame * 3}));
  // 0.95 of the time, and not one tick less.
  const Time shortest = kPairTime * 4 * 19 / 20;
  EXPECT_EQ(
      sampleTimes(kFourPairs, shortest),
      (Times{kStart, kStart + shortest / 4, kStart + shortest / 2, kStart + shortest * 3 / 4}));
  EXPECT_EQ(sampleTimes(kFourPairs, shortest - Time{1}), frameByFrame(kStart, 4));
}

TEST(SamplePairs, ShowAtTheStartOfAShortSample) {
  const std::string caption = kLoad + kLoad + "c1c1" + kShow + kShow;
  EXPECT_EQ(sampleTimes(caption, kPairTime), frameByFrame(kStart - kPairTime * 3, 5));
  EXPECT_EQ(sampleTimes(caption, Time{0}), frameByFrame(kStart - kPairTime * 3, 5));
  // In another channel and without parity.
  EXPECT_EQ(sampleTimes("9420 1c2f", kPairTime), frameByFrame(kStart - kPairTime, 2));
  EXPECT_EQ(sampleTimes(caption, kPairTime * 5), frameByFrame(kStart, 5));
}

TEST(SamplePairs, GoOnFromAShortSampleThatShowsNothing) {
  EXPECT_EQ(sampleTimes(kFourPairs, kPairTime), frameByFrame(kStart, 4));
  EXPECT_EQ(sampleTimes(kErase + kErase, Time{0}), frameByFrame(kStart, 2));
}

TEST(SamplePairs, OfALastSampleWithoutDurationHaveAllTheTimeTheyNeed) {
  EXPECT_EQ(sampleTimes(kLoad + "c1c1" + kShow, Time{0}, true), frameByFrame(kStart, 3));
  EXPECT_EQ(sampleTimes(kLoad + "c1c1" + kShow, kPairTime, true),
            frameByFrame(kStart - kPairTime * 2, 3));
}

TEST(SamplePairs, OfASampleWithoutAnyAreNone) {
  EXPECT_TRUE(sampleTimes("", kPairTime).empty());
  EXPECT_TRUE(sampleTimes("", Time{0}, true).empty());
}

TEST(SamplePairs, KeepTheirTimesExactOverTwoHours) {
  // A sample of this number of pairs, which just fill it, at 30 a second.
  constexpr std::int64_t kCount = 2 * 3600 * 30;
  const Time frame{23'520'000};
  FieldPairs field;
  appendSamplePairs(field, std::vector<BytePair>(kCount), {kStart, frame * kCount, false});
  EXPECT_EQ(field.back().time, kStart + frame * (kCount - 1));
}

TEST(SamplePairs, OfExtremeTimesDoNotOverflow) {
  FieldPairs field;
  const auto pairs = pairsOf(kFourPairs + kShow);
  for (const Time start : {kLatestTime, -kLatestTime}) {
    for (const Time duration : {Time{0}, kPairTime, kLatestTime}) {
      appendSamplePairs(field, pairs, {start, duration, false});
    }
  }
  EXPECT_EQ(field.size(), 30u);
}

}  // namespace
}  // namespace quarrypack::captions
