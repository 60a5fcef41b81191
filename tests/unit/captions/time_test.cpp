#include "captions/time.h"

#include <gtest/gtest.h>

#include <limits>

namespace quarrypack::captions {
namespace {

using std::chrono::seconds;

TEST(Time, UnitsOfUsualRatesAreExact) {
  EXPECT_EQ(timeOfUnits(1, 1), seconds(1));
  EXPECT_EQ(timeOfUnits(1001, 30000), kPairTime);
  EXPECT_EQ(timeOfUnits(3003, 90000), kPairTime);
  EXPECT_EQ(timeOfUnits(600 * 3600, 600), seconds(3600));
  EXPECT_EQ(timeOfUnits(44100, 44100), seconds(1));
  EXPECT_EQ(timeOfUnits(-1001, 30000), -kPairTime);
}

TEST(Time, OtherUnitsAreRoundedToTheNearestTick) {
  EXPECT_EQ(timeOfUnits(1, 1'411'200'000).count(), 1);
  EXPECT_EQ(timeOfUnits(1, 4'000'000'000).count(), 0);
  EXPECT_EQ(timeOfUnits(3, 4'000'000'000).count(), 1);
  EXPECT_EQ(timeOfUnits(-3, 4'000'000'000).count(), -1);
}

TEST(Time, WhatIsTooFarStopsAtTheEnd) {
  EXPECT_EQ(timeOfUnits(std::numeric_limits<std::int64_t>::max(), 1), kLatestTime);
  EXPECT_EQ(timeOfUnits(std::numeric_limits<std::int64_t>::min(), 1), -kLatestTime);
  EXPECT_EQ(timeOfUnits(5, 0), Time(0));
  // The units of the whole seconds before it would not fit.
  EXPECT_EQ(timeOfUnits(std::numeric_limits<std::int64_t>::min(), 4'294'967'295).count(),
            -1'515'264'462'381'600'000);
}

TEST(Time, MillisecondsAreRounded) {
  EXPECT_EQ(milliseconds(kPairTime), 33);
  EXPECT_EQ(milliseconds(kPairTime * 2), 67);
  EXPECT_EQ(milliseconds(Time(352'800)), 1);
  EXPECT_EQ(milliseconds(Time(352'799)), 0);
  EXPECT_EQ(milliseconds(-kPairTime), -33);
}

TEST(Time, ClockTextHasThreeDecimals) {
  EXPECT_EQ(clockText(0, '.'), "00:00:00.000");
  EXPECT_EQ(clockText(3'723'045, ','), "01:02:03,045");
  EXPECT_EQ(clockText(360'000'000, '.'), "100:00:00.000");
  EXPECT_EQ(clockText(-5, '.'), "00:00:00.000");
}

}  // namespace
}  // namespace quarrypack::captions
