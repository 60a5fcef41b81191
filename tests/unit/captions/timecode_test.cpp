#include "captions/timecode.h"

#include <gtest/gtest.h>

namespace quarrypack::captions {
namespace {

std::int64_t numberOf(std::string_view text, std::string_view rate = "29.97") {
  return frameNumber(parseTimeCode(text).value(), *findFrameRate(rate));
}

TEST(FrameRate, IsFoundByItsName) {
  for (const char* name : {"23.976", "24", "25", "29.97", "30", "50", "59.94"}) {
    ASSERT_NE(findFrameRate(name), nullptr) << name;
    EXPECT_EQ(findFrameRate(name)->name, name);
  }
  EXPECT_EQ(findFrameRate("29,97"), nullptr);
  EXPECT_EQ(findFrameRate(""), nullptr);
  EXPECT_EQ(frameRates().size(), 7u);
  EXPECT_EQ(televisionRate().name, "29.97");
}

TEST(FrameRate, KnowsHowLongAFrameLasts) {
  EXPECT_EQ(findFrameRate("23.976")->frameTime, timeOfUnits(1001, 24000));
  EXPECT_EQ(findFrameRate("24")->frameTime, timeOfUnits(1, 24));
  EXPECT_EQ(findFrameRate("25")->frameTime, timeOfUnits(1, 25));
  EXPECT_EQ(findFrameRate("29.97")->frameTime, timeOfUnits(1001, 30000));
  EXPECT_EQ(findFrameRate("30")->frameTime, timeOfUnits(1, 30));
  EXPECT_EQ(findFrameRate("50")->frameTime, timeOfUnits(1, 50));
  EXPECT_EQ(findFrameRate("59.94")->frameTime, timeOfUnits(1001, 60000));
}

TEST(TimeCode, IsFourNumbers) {
  EXPECT_EQ(parseTimeCode("01:02:03:04"), (TimeCode{1, 2, 3, 4, false}));
  EXPECT_EQ(parseTimeCode("01:02:03;04"), (TimeCode{1, 2, 3, 4, true}));
  EXPECT_EQ(parseTimeCode("01:02:03.04"), (TimeCode{1, 2, 3, 4, true}));
  EXPECT_EQ(parseTimeCode("1:2:3,4"), (TimeCode{1, 2, 3, 4, true}));
  EXPECT_EQ(parseTimeCode("100:99:99:99"), (TimeCode{100, 99, 99, 99, false}));
}

TEST(TimeCode, RefusesEverythingElse) {
  for (const char* text :
       {"", "01", "01:02:03", "01:02:03:", "01:02:03:04:", "01:02:03:04 ", " 01:02:03:04",
        "01;02:03:04", "01:02:03:-4", "01:02:03:x4", "1000:00:00:00", "01:02:03:+4", "auto"}) {
    EXPECT_EQ(parseTimeCode(text), std::nullopt) << text;
  }
}

TEST(TimeCode, IsWrittenWithTwoDigits) {
  EXPECT_EQ(toString({1, 2, 3, 4, false}), "01:02:03:04");
  EXPECT_EQ(toString({100, 0, 0, 0, true}), "100:00:00;00");
}

TEST(FrameNumber, CountsAllFramesWithoutDropFrame) {
  EXPECT_EQ(numberOf("00:00:00:00"), 0);
  EXPECT_EQ(numberOf("00:01:00:00"), 1800);
  EXPECT_EQ(numberOf("01:00:00:00"), 108'000);
  EXPECT_EQ(numberOf("01:00:00:01", "25"), 90'001);
  EXPECT_EQ(numberOf("01:00:00:00", "59.94"), 216'000);
}

TEST(FrameNumber, LeavesOutTwoNumbersAMinuteButNotTheTenth) {
  EXPECT_EQ(numberOf("00:00:59;29"), 1799);
  EXPECT_EQ(numberOf("00:01:00;02"), 1800);
  EXPECT_EQ(numberOf("00:09:59;29"), 17'981);
  EXPECT_EQ(numberOf("00:10:00;00"), 17'982);
  EXPECT_EQ(numberOf("01:00:00;00"), 107'892);
  EXPECT_EQ(numberOf("00:01:00;04", "59.94"), 3600);
  EXPECT_EQ(numberOf("01:00:00;00", "59.94"), 215'784);
}

TEST(FrameNumber, TakesALeftOutCodeForTheFirstFrameOfItsMinute) {
  EXPECT_EQ(numberOf("00:01:00;00"), 1800);
  EXPECT_EQ(numberOf("00:01:00;01"), 1800);
  EXPECT_EQ(numberOf("00:01:00;03", "59.94"), 3600);
}

TEST(FrameNumber, CountsOnFromFieldsThatAreTooLarge) {
  EXPECT_EQ(numberOf("00:00:01:45"), 75);
  EXPECT_EQ(numberOf("00:00:60:00"), 1800);
  EXPECT_EQ(numberOf("00:00:60;02"), 1800);
  EXPECT_EQ(numberOf("00:60:00:00"), 108'000);
}

TEST(FrameNumber, IgnoresTheMarkAtRatesWithoutDropFrame) {
  EXPECT_EQ(numberOf("00:01:00;00", "25"), 1500);
  EXPECT_EQ(numberOf("00:01:00;00", "30"), 1800);
}

TEST(TimeCode, ChecksWhetherAClockCanShowACode) {
  const FrameRate& rate = televisionRate();
  EXPECT_TRUE(exists({0, 1, 0, 2, true}, rate));
  EXPECT_FALSE(exists({0, 1, 0, 1, true}, rate));
  EXPECT_TRUE(exists({0, 10, 0, 1, true}, rate));
  EXPECT_TRUE(exists({0, 1, 0, 1, false}, rate));
  EXPECT_FALSE(exists({0, 0, 0, 30, false}, rate));
  EXPECT_FALSE(exists({0, 0, 60, 0, false}, rate));
  EXPECT_FALSE(exists({0, 60, 0, 0, false}, rate));
}

TEST(TimeCode, OfAFrameIsItsInverse) {
  for (const FrameRate& rate : frameRates()) {
    for (const bool drop : {false, true}) {
      for (std::int64_t frame = 0; frame < 90'000; frame += frame % 1700 < 30 ? 1 : 17) {
        const TimeCode code = timeCodeOf(frame, rate, drop);
        ASSERT_EQ(frameNumber(code, rate), frame) << rate.name << ' ' << toString(code);
        ASSERT_TRUE(exists(code, rate)) << toString(code);
      }
    }
  }
}

TEST(TimeCode, OfAFrameHasDropFrameWhereTheRateHas) {
  EXPECT_EQ(toString(timeCodeOf(1800, televisionRate(), true)), "00:01:00;02");
  EXPECT_EQ(toString(timeCodeOf(1800, televisionRate(), false)), "00:01:00:00");
  EXPECT_EQ(toString(timeCodeOf(1500, *findFrameRate("25"), true)), "00:01:00:00");
}

TEST(TimeCode, WholeHoursKeepTheWayOfCounting) {
  EXPECT_EQ(wholeHours({1, 59, 3, 4, true}), (TimeCode{1, 0, 0, 0, true}));
  EXPECT_EQ(wholeHours({0, 125, 3, 4, false}), (TimeCode{2, 0, 0, 0, false}));
}

TEST(TimeCode, EqualsAnotherInAllFields) {
  const TimeCode code{1, 2, 3, 4, true};
  EXPECT_EQ(code, (TimeCode{1, 2, 3, 4, true}));
  EXPECT_NE(code, (TimeCode{0, 2, 3, 4, true}));
  EXPECT_NE(code, (TimeCode{1, 0, 3, 4, true}));
  EXPECT_NE(code, (TimeCode{1, 2, 0, 4, true}));
  EXPECT_NE(code, (TimeCode{1, 2, 3, 0, true}));
  EXPECT_NE(code, (TimeCode{1, 2, 3, 4, false}));
}

}  // namespace
}  // namespace quarrypack::captions
