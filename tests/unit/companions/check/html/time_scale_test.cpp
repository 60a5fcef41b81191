#include "companions/check/html/time_scale.h"

#include <gtest/gtest.h>

#include <chrono>

namespace quarrypack::companions {
namespace {

using captions::Cue;
using captions::Time;
using std::chrono::milliseconds;
using std::chrono::seconds;

Cue cueOf(Time start, Time end) { return {start, end, captions::CaptionMode::popOn, {}}; }

std::vector<std::string> tickTexts(Time end) {
  const TimeScale scale(end);
  std::vector<std::string> texts;
  for (const Time tick : scale.ticks()) texts.push_back(scale.tickText(tick));
  return texts;
}

TEST(PercentText, HasTwoDecimals) {
  EXPECT_EQ(percentText(0), "0.00%");
  EXPECT_EQ(percentText(1205), "12.05%");
  EXPECT_EQ(percentText(kWholeLine), "100.00%");
}

TEST(TimeScale, PlacesTimes) {
  const TimeScale scale(seconds(200));
  EXPECT_EQ(scale.placeOf(Time{0}), 0);
  EXPECT_EQ(scale.placeOf(seconds(50)), 2500);
  EXPECT_EQ(scale.placeOf(seconds(200)), kWholeLine);
}

TEST(TimeScale, KeepsTimesBeyondItsEndsAtThem) {
  const TimeScale scale(seconds(200));
  EXPECT_EQ(scale.placeOf(seconds(-1)), 0);
  EXPECT_EQ(scale.placeOf(-captions::kLatestTime), 0);
  EXPECT_EQ(scale.placeOf(captions::kLatestTime), kWholeLine);
}

TEST(TimeScale, TicksInUnitsOfAClock) {
  EXPECT_EQ(tickTexts(seconds(61)),
            (std::vector<std::string>{"00:00:00", "00:00:15", "00:00:30", "00:00:45", "00:01:00"}));
  EXPECT_EQ(tickTexts(milliseconds(5)),
            (std::vector<std::string>{"00:00:00.000", "00:00:00.001", "00:00:00.002",
                                      "00:00:00.003", "00:00:00.004", "00:00:00.005"}));
  EXPECT_EQ(tickTexts(std::chrono::hours(7)),
            (std::vector<std::string>{"00:00:00", "02:00:00", "04:00:00", "06:00:00"}));
}

TEST(TimeScale, HasAFewTicksOfAnyDuration) {
  for (const Time end : {Time{1}, Time{705'600}, Time{seconds(1)}, Time{seconds(59)},
                         Time{seconds(7200)}, Time{seconds(86'400)}, captions::kLatestTime}) {
    const std::size_t count = TimeScale(end).ticks().size();
    EXPECT_GE(count, 1u) << end.count();
    EXPECT_LE(count, 7u) << end.count();
  }
}

TEST(Stretches, JoinCuesWithoutAVisibleGap) {
  const TimeScale scale(seconds(1000));
  const auto stretches =
      stretchesOf({cueOf(seconds(100), seconds(200)), cueOf(milliseconds(200'400), seconds(300)),
                   cueOf(seconds(302), seconds(303))},
                  scale);
  ASSERT_EQ(stretches.size(), 2u);
  EXPECT_EQ(stretches[0].from, 1000);
  EXPECT_EQ(stretches[0].to, 3000);
  EXPECT_EQ(stretches[0].cues, 2u);
  EXPECT_EQ(stretches[0].start, Time{seconds(100)});
  EXPECT_EQ(stretches[0].end, Time{seconds(300)});
  EXPECT_EQ(stretches[1].from, 3020);
}

TEST(Stretches, AreWideEnoughToBeSeen) {
  const TimeScale scale(seconds(1000));
  const auto stretches = stretchesOf(
      {cueOf(seconds(1), milliseconds(1001)), cueOf(milliseconds(999'999), seconds(1000))}, scale);
  ASSERT_EQ(stretches.size(), 2u);
  EXPECT_EQ(stretches[0].to - stretches[0].from, 8);
  EXPECT_EQ(stretches[1].to, kWholeLine);
  EXPECT_EQ(stretches[1].from, kWholeLine - 8);
}

TEST(MarkRaster, JoinsPlacesThatAreTooClose) {
  MarkRaster raster(TimeScale(seconds(1000)), 50);
  raster.add(seconds(500), "second");
  raster.add(seconds(499), "first");
  raster.add(seconds(10), "alone");
  const std::vector<Mark> marks = std::move(raster).take();
  ASSERT_EQ(marks.size(), 2u);
  EXPECT_EQ(marks[0].at, 100);
  EXPECT_EQ(markText(marks[0]), "alone at 00:00:10.000");
  EXPECT_EQ(marks[1].at, 5000);
  EXPECT_EQ(markText(marks[1]), "first, second: 2 places from 00:08:19.000");
}

TEST(MarkRaster, HasPlacesAtBothEnds) {
  MarkRaster raster(TimeScale(seconds(1)), 50);
  raster.add(seconds(-9), "early");
  raster.add(seconds(9), "late");
  const std::vector<Mark> marks = std::move(raster).take();
  ASSERT_EQ(marks.size(), 2u);
  EXPECT_EQ(marks[0].at, 0);
  EXPECT_EQ(marks[1].at, kWholeLine);
}

}  // namespace
}  // namespace quarrypack::companions
