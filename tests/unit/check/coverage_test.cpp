#include "check/coverage.h"

#include <gtest/gtest.h>

#include "tests/unit/captions/pair_script.h"

namespace quarrypack::check {
namespace {

using captions::Channel;
using captions::ChannelCues;
using captions::Time;
using captions::test::cueOf;
using captions::test::plainRow;

Time seconds(std::int64_t count) { return std::chrono::seconds(count); }

ChannelCues channel(Channel name, const std::vector<Stretch>& stretches) {
  ChannelCues result{name, {}};
  for (const Stretch& stretch : stretches) {
    result.cues.push_back(
        {stretch.start, stretch.end, captions::CaptionMode::popOn, {plainRow(15, 0, "a")}});
  }
  return result;
}

ChannelCues cc1(const std::vector<Stretch>& stretches) { return channel(Channel::cc1, stretches); }

void expectStretch(const std::optional<Stretch>& actual, std::int64_t start, std::int64_t end) {
  ASSERT_TRUE(actual.has_value());
  EXPECT_EQ(actual->start, seconds(start));
  EXPECT_EQ(actual->end, seconds(end));
}

const Stretch kFilm{seconds(0), seconds(100)};

TEST(Coverage, ReportsTheFirstCaptionTheLongestHoleAndTheShare) {
  const Coverage coverage =
      coverageOf({cc1({{seconds(10), seconds(20)}, {seconds(60), seconds(80)}})}, kFilm);
  EXPECT_EQ(coverage.firstCaption, seconds(10));
  expectStretch(coverage.longestHole, 20, 60);
  EXPECT_DOUBLE_EQ(coverage.share, 0.3);
}

TEST(Coverage, CountsTheHolesAtBothEnds) {
  expectStretch(coverageOf({cc1({{seconds(60), seconds(90)}})}, kFilm).longestHole, 0, 60);
  expectStretch(coverageOf({cc1({{seconds(10), seconds(30)}})}, kFilm).longestHole, 30, 100);
}

TEST(Coverage, OfAFilmWithoutCaptionsIsOneHole) {
  const Coverage coverage = coverageOf({}, kFilm);
  EXPECT_FALSE(coverage.firstCaption.has_value());
  expectStretch(coverage.longestHole, 0, 100);
  EXPECT_EQ(coverage.share, 0);
}

TEST(Coverage, HasNoHoleInAFilmThatIsCaptionedThroughout) {
  const Coverage coverage =
      coverageOf({cc1({{seconds(0), seconds(50)}, {seconds(50), seconds(100)}})}, kFilm);
  EXPECT_FALSE(coverage.longestHole.has_value());
  EXPECT_DOUBLE_EQ(coverage.share, 1);
}

TEST(Coverage, CountsCaptionsOfSeveralChannelsOnce) {
  const Coverage coverage =
      coverageOf({cc1({{seconds(10), seconds(40)}}),
                  channel(Channel::cc3, {{seconds(5), seconds(20)}, {seconds(30), seconds(50)}})},
                 kFilm);
  EXPECT_EQ(coverage.firstCaption, seconds(5));
  expectStretch(coverage.longestHole, 50, 100);
  EXPECT_DOUBLE_EQ(coverage.share, 0.45);
}

TEST(Coverage, LeavesOutWhatThePicturesDoNotShow) {
  const Stretch film{seconds(10), seconds(20)};
  const Coverage coverage = coverageOf(
      {cc1({{seconds(0), seconds(5)}, {seconds(8), seconds(12)}, {seconds(18), seconds(30)}})},
      film);
  EXPECT_EQ(coverage.firstCaption, seconds(10));
  expectStretch(coverage.longestHole, 12, 18);
  EXPECT_DOUBLE_EQ(coverage.share, 0.4);
}

TEST(Coverage, OfAnEmptyFilmIsNothing) {
  const Coverage coverage = coverageOf({cc1({{seconds(0), seconds(5)}})}, {});
  EXPECT_FALSE(coverage.firstCaption.has_value());
  EXPECT_FALSE(coverage.longestHole.has_value());
  EXPECT_EQ(coverage.share, 0);
}

}  // namespace
}  // namespace quarrypack::check
