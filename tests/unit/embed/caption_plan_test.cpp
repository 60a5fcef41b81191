#include "embed/caption_plan.h"

#include "captions/caption_times.h"
#include "tests/support/caption_pairs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace quarrypack::embed {
namespace {

using namespace quarrypack::test;
using captions::appendSamplePairs;
using captions::BytePair;
using captions::Field;
using captions::FieldPairs;
using captions::kLatestPicture;
using captions::kLatestTime;
using captions::kPairTime;
using captions::Time;

using Rows = std::vector<std::string>;

// Lengths of a picture. Each rate of television is a whole number of ticks.
constexpr Time k23976{705'600'000ll * 1001 / 24000};
constexpr Time k25{705'600'000 / 25};
constexpr Time k2997 = kPairTime;
constexpr Time k30{705'600'000 / 30};
constexpr Time k50{705'600'000 / 50};
constexpr Time k5994{705'600'000ll * 1001 / 60000};

// A film of pictures of one length, or of any.
struct Film {
  Film(Time length, std::size_t count, Time start = Time{0}) : end(start) {
    for (std::size_t i = 0; i < count; ++i, end += length) starts.push_back(end);
  }
  Film(std::vector<Time> all, Time last) : starts(std::move(all)), end(last) {}

  Screening screening() const { return {starts, end, closed}; }

  std::vector<Time> starts;
  Time end;
  std::vector<bool> closed = {};
};

constexpr PlanOptions kNoPadding{.pad = false};

CaptionPlan planOf(const Film& film, FieldPairs field1, PlanOptions options = kNoPadding,
                   FieldPairs field2 = {}) {
  return planCaptions(film.screening(), {std::move(field1), std::move(field2)}, options);
}

Rows rowsOf(const CaptionPlan& plan, Field field = Field::one) {
  Rows rows;
  for (std::size_t i = 0; i < plan.pictureCount(); ++i) rows.push_back(hexOf(plan.pairs(field, i)));
  return rows;
}

// Pairs frame by frame from a start.
FieldPairs line(const std::string& pairs, Time start = Time{0}) { return inTurn(pairs, start); }

FieldPairs& operator+=(FieldPairs& field, const FieldPairs& more) {
  field.insert(field.end(), more.begin(), more.end());
  return field;
}

// Text of this number of pairs, all different: 2020, 2021, …
std::string textOf(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) {
    const BytePair pair{0x20, static_cast<std::uint8_t>(0x20 + i)};
    text += hexOf(pair);
  }
  return text;
}

TEST(CaptionPlan, GivesEachPictureOfTelevisionAPair) {
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 6), line(textOf(4)))),
            (Rows{"2020", "2021", "2022", "2023", "", ""}));
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 6), line(textOf(2), kPairTime * 3))),
            (Rows{"", "", "", "2020", "2021", ""}));
}

TEST(CaptionPlan, GivesFourPicturesOfFilmFivePairs) {
  EXPECT_EQ(rowsOf(planOf(Film(k23976, 8), line(textOf(10)))),
            (Rows{"2020", "2021", "2022 2023", "2024", "2025", "2026", "2027 2028", "2029"}));
}

TEST(CaptionPlan, GivesFivePicturesAt25SixPairs) {
  EXPECT_EQ(rowsOf(planOf(Film(k25, 7), line(textOf(7)))),
            (Rows{"2020", "2021", "2022", "2023 2024", "2025", "2026", ""}));
}

TEST(CaptionPlan, TakesTheNearestPictureAtTwiceTheRate) {
  EXPECT_EQ(rowsOf(planOf(Film(k50, 8), line(textOf(5)))),
            (Rows{"2020", "", "2021", "2022", "", "2023", "", "2024"}));
  EXPECT_EQ(rowsOf(planOf(Film(k5994, 8), line(textOf(4)))),
            (Rows{"2020", "", "2021", "", "2022", "", "2023", ""}));
}

TEST(CaptionPlan, DoesNotDriftOverTwoHours) {
  for (const Time length : {k23976, k25, k2997, k30, k50, k5994}) {
    const auto count = static_cast<std::size_t>(Time{705'600'000ll * 7200} / length);
    const Film film(length, count);
    // A pair each second, and a last one late in the film.
    FieldPairs field;
    for (std::int64_t second = 0; second < 7199; ++second) {
      field.push_back({Time{705'600'000 * second}, BytePair{0x20, 0x20}});
    }
    const CaptionPlan plan = planOf(film, field);
    EXPECT_EQ(plan.placedPairs(Field::one), 7199u);
    std::size_t second = 0;
    for (std::size_t i = 0; i < count; ++i) {
      if (plan.pairs(Field::one, i).empty()) continue;
      const Time off = film.starts[i] - field[second++].time;
      ASSERT_LE(std::abs(off.count()), (length / 2 + kPairTime / 20).count()) << second;
    }
    EXPECT_EQ(second, 7199u);
  }
}

TEST(CaptionPlan, ADenseStreamAtThirtyPicturesASecondKeepsItsPictures) {
  // A pair for each of ten minutes' pictures, as its samples say: a thousandth closer than pairs
  // follow each other.
  constexpr std::size_t kCount = 18'000;
  FieldPairs field;
  for (std::size_t i = 0; i < kCount; ++i) {
    const BytePair pair{0x20, static_cast<std::uint8_t>(0x20 + i % 64)};
    appendSamplePairs(field, std::span(&pair, 1),
                      {k30 * static_cast<std::int64_t>(i), k30, i + 1 == kCount});
  }
  const CaptionPlan plan = planOf(Film(k30, kCount), field);
  EXPECT_EQ(plan.lostPairs(Field::one), 0u);
  for (std::size_t i = 0; i < kCount; ++i) {
    ASSERT_EQ(plan.pairs(Field::one, i).size(), 1u) << i;
    ASSERT_EQ(plan.pairs(Field::one, i)[0].second, 0x20 + i % 64) << i;
  }
}

TEST(CaptionPlan, PrefersTheLaterPictureALittle) {
  // As near to the later one as to the earlier, but for a twentieth of a pair's time.
  const Time limit = kPairTime * 19 / 40;
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 3), line("2020", limit))), (Rows{"", "2020", ""}));
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 3), line("2020", limit - Time{1}))), (Rows{"2020", "", ""}));
}

TEST(CaptionPlan, FollowsAVariableRate) {
  // Two pictures of television, one of half a second, two more.
  const Film film({Time{0}, kPairTime, kPairTime * 2, kPairTime * 17, kPairTime * 18},
                  kPairTime * 19);
  // From the middle between the second and the third to the one between third and fourth: 8 pairs.
  EXPECT_EQ(rowsOf(planOf(film, line(textOf(18)))),
            (Rows{"2020", "2021", "2022 2023 2024 2025 2026 2027 2028 2029",
                  "202a 202b 202c 202d 202e 202f 2030 2031", ""}));
}

TEST(CaptionPlan, APictureHoldsWhatItsTimeHolds) {
  struct Case {
    Time length;
    std::size_t pairs;
  };
  const Time tenth = kPairTime / 10;
  const Case cases[] = {
      {kPairTime / 2, 1},        {kPairTime, 1},       {tenth * 11, 1},
      {tenth * 11 + Time{2}, 2}, {kPairTime * 2, 2},   {kPairTime * 2 + Time{1}, 3},
      {kPairTime * 15, 15},      {kPairTime * 16, 16}, {kPairTime * 100, 16}};
  for (const Case& c : cases) {
    // Enough pairs at once to fill all pictures but the last.
    const CaptionPlan plan = planOf(Film(c.length, 4), line(textOf(64)));
    std::size_t most = 0;
    for (std::size_t i = 0; i < 4; ++i) most = std::max(most, plan.pairs(Field::one, i).size());
    EXPECT_LE(most, c.pairs) << c.length.count();
    if (c.length > kPairTime) {
      EXPECT_EQ(most, c.pairs) << c.length.count();
    }
  }
}

TEST(CaptionPlan, BothFieldsFitIntoOneUnit) {
  const Film film({Time{0}, kPairTime * 100}, kPairTime * 200);
  const CaptionPlan plan = planOf(film, line(textOf(50)), kNoPadding, line(textOf(50)));
  EXPECT_EQ(plan.pairs(Field::one, 0).size(), 16u);
  EXPECT_EQ(plan.pairs(Field::two, 0).size(), 15u);
  EXPECT_EQ(plan.pairs(Field::one, 1).size(), 16u);
  EXPECT_EQ(plan.lostPairs(Field::one), 18u);
  EXPECT_EQ(plan.lostPairs(Field::two), 20u);
  EXPECT_EQ(plan.placedPairs(Field::two), 30u);
}

TEST(CaptionPlan, ThePairsOfTheFieldsAreIndependent) {
  const CaptionPlan plan =
      planOf(Film(k2997, 3), line(textOf(2)), kNoPadding, line("3030 3131", kPairTime));
  EXPECT_EQ(rowsOf(plan, Field::one), (Rows{"2020", "2021", ""}));
  EXPECT_EQ(rowsOf(plan, Field::two), (Rows{"", "3030", "3131"}));
}

TEST(CaptionPlan, WhatFindsNoRoomMovesOnAndIsLostAfterTheLastPicture) {
  FieldPairs field = line(textOf(3), kPairTime * 2);
  const CaptionPlan plan = planOf(Film(k2997, 4), field);
  EXPECT_EQ(rowsOf(plan), (Rows{"", "", "2020", "2021"}));
  EXPECT_EQ(plan.lostPairs(Field::one), 1u);
  EXPECT_EQ(plan.placedPairs(Field::one), 2u);
}

TEST(CaptionPlan, APairAtTheVeryEndGoesToTheLastPicture) {
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 3), line(kErase, kPairTime * 3))), (Rows{"", "", kErase}));
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 3), line(kErase, kPairTime * 4))), (Rows{"", "", kErase}));
  const CaptionPlan late = planOf(Film(k2997, 3), line(kErase, kPairTime * 4 + Time{1}));
  EXPECT_EQ(rowsOf(late), (Rows{"", "", ""}));
  EXPECT_EQ(late.lostPairs(Field::one), 1u);
}

TEST(CaptionPlan, PassesClosedPicturesOver) {
  Film film(k2997, 4);
  film.closed = {false, true, true, false};
  const CaptionPlan plan = planOf(film, line(textOf(3)), {});
  EXPECT_EQ(rowsOf(plan), (Rows{"2020", "", "", "2021"}));
  EXPECT_EQ(plan.lostPairs(Field::one), 1u);
}

TEST(CaptionPlan, WithoutPicturesEverythingIsLost) {
  const CaptionPlan plan = planOf(Film({}, Time{0}), line(textOf(3)), {});
  EXPECT_EQ(plan.pictureCount(), 0u);
  EXPECT_EQ(plan.lostPairs(Field::one), 3u);
}

TEST(CaptionPlan, OnePictureTakesWhatItCan) {
  EXPECT_EQ(rowsOf(planOf(Film(kPairTime * 3, 1), line(textOf(4)))), (Rows{"2020 2021 2022"}));
  EXPECT_EQ(rowsOf(planOf(Film({Time{0}}, Time{0}), line(textOf(1)))), (Rows{"2020"}));
}

// ---- Padding in the input

TEST(CaptionPlan, DropsPadding) {
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 5), line("8080 2020 8080 0000 2021"))),
            (Rows{"", "2020", "", "", "2021"}));
}

TEST(CaptionPlan, KeepsOnePaddingBetweenEqualControlCodes) {
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 6), line("942f 0000 8080 942f 8080 942c"))),
            (Rows{"942f", "8080", "", "942f", "", "942c"}));
  // Equal but for parity.
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 3), line("942f 8080 142f"))), (Rows{"942f", "8080", "142f"}));
  // Equal characters are not sent twice.
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 3), line("c1c1 8080 c1c1"))), (Rows{"c1c1", "", "c1c1"}));
}

TEST(CaptionPlan, APaddingThatIsKeptTakesItsPlaceInTheRow) {
  // All at once: the row still separates the codes.
  FieldPairs field;
  for (const BytePair pair : pairsOf("942f 8080 942f")) field.push_back({Time{0}, pair});
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 4), field)), (Rows{"942f", "8080", "942f", ""}));
}

// ---- Spacing

TEST(CaptionPlan, MovesAnUnseenLoadEarlierThanItsShowing) {
  // A load that is due only when its caption is shown.
  FieldPairs field;
  for (const BytePair pair : pairsOf("9420 c1c1 c2c2 942f")) field.push_back({kPairTime * 6, pair});
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 8), field)),
            (Rows{"", "", "", "9420", "c1c1", "c2c2", "942f", ""}));
}

TEST(CaptionPlan, StopsAtAVisibleCode) {
  for (const char* code :
       {"9425", "9426", "94a7", "9429", "942c", "94ad", "942f", "1c2c", "152f"}) {
    FieldPairs field = line(code, kPairTime * 4);
    for (const BytePair pair : pairsOf("9420 c1c1 942f")) field.push_back({kPairTime * 5, pair});
    EXPECT_EQ(rowsOf(planOf(Film(k2997, 9), field)),
              (Rows{"", "", "", "", code, "9420", "c1c1", "942f", ""}))
        << code;
  }
}

TEST(CaptionPlan, DoesNotMoveTextThatAppearsAsItIsWritten) {
  // Roll-up text, then a pop-on caption that is due at once after it.
  FieldPairs field = line("9425 94ad c1c1", kPairTime);
  field += line("c2c2", kPairTime * 6);
  for (const BytePair pair : pairsOf("9420 c4c4 942f")) field.push_back({kPairTime * 7, pair});
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 11), field)),
            (Rows{"", "9425", "94ad", "c1c1", "", "", "c2c2", "9420", "c4c4", "942f", ""}));
}

TEST(CaptionPlan, MovesEverythingElseLater) {
  FieldPairs field;
  for (const BytePair pair : pairsOf("9425 94ad c1c1 c2c2")) field.push_back({kPairTime, pair});
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 6), field)), (Rows{"", "9425", "94ad", "c1c1", "c2c2", ""}));
}

TEST(CaptionPlan, ALoadThatCannotBeginEarlierShowsLate) {
  FieldPairs field;
  appendSamplePairs(field, pairsOf("9420 c1c1 c2c2 942f"), {kPairTime, kPairTime, false});
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 6), field)), (Rows{"9420", "c1c1", "c2c2", "942f", "", ""}));
}

TEST(CaptionPlan, LeavesASlightlyFasterRowAsItIs) {
  // 0.95 of a pair's time apart stays, a tick less does not.
  const Time close = kPairTime * 19 / 20;
  const auto lastPicture = [](Time gap) {
    FieldPairs field;
    for (int i = 0; i <= 20; ++i) field.push_back({gap * i, BytePair{0x20, 0x20}});
    const Rows rows = rowsOf(planOf(Film(k5994, 60), field));
    const auto last = std::find_if(rows.rbegin(), rows.rend(),
                                   [](const std::string& row) { return !row.empty(); });
    return rows.rend() - last - 1;
  };
  EXPECT_EQ(lastPicture(close), 38);
  EXPECT_EQ(lastPicture(close - Time{1}), 40);
  EXPECT_EQ(lastPicture(kPairTime / 2), 40);
}

// ---- The start of the film

TEST(CaptionPlan, BeginsWithWhatIsOnTheScreen) {
  const Film film(k2997, 5, kPairTime * 100);
  FieldPairs field = line("9420 c1c1 942f 942c", kPairTime * 10);
  field += line("9420 c2c2 942f", kPairTime * 50);
  field += line("942c", kPairTime * 104);
  EXPECT_EQ(rowsOf(planOf(film, field)), (Rows{"9420", "c2c2", "942f", "", "942c"}));
}

TEST(CaptionPlan, KeepsTheLoadOfTheFirstCaption) {
  FieldPairs field;
  appendSamplePairs(field, pairsOf("9420 c1c1 942f"), {Time{0}, kPairTime, false});
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 4), field)), (Rows{"9420", "c1c1", "942f", ""}));
}

// ---- Padding in the output

TEST(CaptionPlan, PadsPicturesWithoutCaptions) {
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 4), line("2020", kPairTime), {})),
            (Rows{"8080", "2020", "8080", "8080"}));
}

TEST(CaptionPlan, PadsAtTheRateOfPairs) {
  EXPECT_EQ(rowsOf(planOf(Film(k25, 8), line("2020", k25 * 7), {})),
            (Rows{"8080", "8080", "8080", "8080 8080", "8080", "8080", "8080", "2020"}));
  EXPECT_EQ(rowsOf(planOf(Film(k50, 8), line("2020", k50 * 7), {})),
            (Rows{"8080", "", "8080", "8080", "", "8080", "", "2020"}));
  const CaptionPlan plan = planOf(Film(k23976, 24 * 60), line("2020", Time{0}), {});
  std::size_t pairs = 0;
  for (std::size_t i = 0; i < plan.pictureCount(); ++i) pairs += plan.pairs(Field::one, i).size();
  EXPECT_EQ(pairs, 30u * 60);
}

TEST(CaptionPlan, PadsTheFieldsThatHaveCaptions) {
  const CaptionPlan second = planOf(Film(k2997, 3), {}, {}, line("2020"));
  EXPECT_EQ(rowsOf(second, Field::one), (Rows{"", "", ""}));
  EXPECT_EQ(rowsOf(second, Field::two), (Rows{"2020", "8080", "8080"}));
  const CaptionPlan both = planOf(Film(k2997, 3), line("2020"), {}, line("2020", kPairTime));
  EXPECT_EQ(rowsOf(both, Field::one), (Rows{"2020", "", "8080"}));
  EXPECT_EQ(rowsOf(both, Field::two), (Rows{"", "2020", "8080"}));
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 3), {}, {})), (Rows{"", "", ""}));
}

TEST(CaptionPlan, DoesNotPadBetweenACodeAndItsRepetition) {
  // At 50 pictures a second a picture lies between them, and padding in it would make two codes.
  const Film film(k50, 8);
  EXPECT_EQ(rowsOf(planOf(film, line("942f 942f", k50), {})),
            (Rows{"8080", "942f", "", "942f", "", "8080", "", "8080"}));
  EXPECT_EQ(rowsOf(planOf(film, line("c1c1 c1c1", k50), {})),
            (Rows{"8080", "c1c1", "8080", "c1c1", "", "8080", "", "8080"}));
}

TEST(CaptionPlan, PadsBetweenEqualCodesThatAreNoRepetition) {
  FieldPairs field = line("942c", Time{0});
  field += line("942c", kPairTime * 2);
  EXPECT_EQ(rowsOf(planOf(Film(k2997, 4), field, {})), (Rows{"942c", "8080", "942c", "8080"}));
}

// ---- Hostile input

TEST(CaptionPlan, SurvivesExtremeTimes) {
  const std::vector<Time> extremes = {-kLatestPicture, Time{0}, kLatestPicture};
  for (const Time time : {-kLatestTime, Time{0}, kLatestTime}) {
    FieldPairs field = line("9420 c1c1 942f 942f 8080 942f", time);
    planOf(Film(k2997, 4), field, {});
    planOf(Film(extremes, kLatestPicture), field, {});
    planOf(Film(k2997, 4, kLatestPicture - k2997 * 4), field, {});
    planOf(Film(k2997, 4, -kLatestPicture), field, {});
    planOf(Film({kLatestPicture}, -kLatestPicture), field, {});
  }
}

TEST(CaptionPlan, KeepsOrderAndCapacityWhateverComes) {
  std::mt19937 random(7);
  const std::vector<BytePair> alphabet =
      pairsOf("9420 942f 942c 9425 94ad 9429 94ae c1c1 c2c2 8080 1c20 1c2f 0103 8f1d");
  for (int round = 0; round < 300; ++round) {
    std::vector<Time> starts;
    Time now{0};
    for (std::uint32_t i = 0; i < 1 + random() % 40; ++i) {
      starts.push_back(now);
      now += Time{static_cast<std::int64_t>(random() % 60'000'000)};
    }
    const Film film(starts, now);
    std::array<FieldPairs, kFields> fields;
    for (FieldPairs& field : fields) {
      for (std::uint32_t i = 0; i < random() % 60; ++i) {
        field.push_back({Time{static_cast<std::int64_t>(random() % 1'000'000'000) - 100'000'000},
                         alphabet[random() % alphabet.size()]});
      }
    }
    const CaptionPlan plan = planCaptions(film.screening(), fields, kNoPadding);
    ASSERT_EQ(plan.pictureCount(), starts.size());
    for (const Field which : {Field::one, Field::two}) {
      std::vector<BytePair> placed;
      for (std::size_t i = 0; i < plan.pictureCount(); ++i) {
        const auto pairs = plan.pairs(which, i);
        ASSERT_LE(pairs.size(), which == Field::one ? 16u : 15u);
        placed.insert(placed.end(), pairs.begin(), pairs.end());
      }
      ASSERT_EQ(placed.size(), plan.placedPairs(which));
      // Every placed pair is one of the input, in its order.
      const FieldPairs& input = fields[indexOf(which)];
      auto next = input.begin();
      for (const BytePair pair : placed) {
        next = std::find_if(next, input.end(), [pair](const captions::TimedPair& candidate) {
          return candidate.bytes == pair || (pair.isPadding() && candidate.bytes.isPadding());
        });
        ASSERT_NE(next, input.end());
        ++next;
      }
    }
  }
}

}  // namespace
}  // namespace quarrypack::embed
