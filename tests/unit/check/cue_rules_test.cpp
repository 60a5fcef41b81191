#include "check/cue_rules.h"

#include <gtest/gtest.h>

#include "tests/unit/check/checked_script.h"

namespace quarrypack::check {
namespace {

using captions::CaptionMode;
using captions::Channel;
using captions::ChannelCues;
using captions::Cue;
using captions::CueRow;
using captions::test::cueOf;
using captions::test::plainRow;
using test::kPairTime;
using test::Time;
using Ids = std::vector<std::string_view>;

Ids idsOf(std::vector<Cue> cues) {
  Findings findings;
  judgeCues({Channel::cc2, std::move(cues)}, findings);
  Ids ids;
  for (const Finding& finding : findings.all()) {
    EXPECT_EQ(finding.detail, "CC2");
    ids.push_back(finding.rule->id);
  }
  return ids;
}

Cue frames(std::int64_t start, std::int64_t end, const std::string& text = "a",
           CaptionMode mode = CaptionMode::popOn) {
  return {kPairTime * start, kPairTime * end, mode, {plainRow(15, 0, text)}};
}

Cue lasting(std::int64_t milliseconds, const std::string& text = "a") {
  return cueOf(1000, 1000 + milliseconds, {plainRow(15, 0, text)});
}

std::string letters(std::size_t count) { return std::string(count, 'x'); }

TEST(CueRules, FindNothingInReadableCues) {
  EXPECT_EQ(idsOf({}), Ids{});
  EXPECT_EQ(idsOf({lasting(2000), cueOf(4000, 6000, {plainRow(1, 0, "word")})}), Ids{});
}

TEST(CueRules, FindCuesThatAreTooBriefToBeSeen) {
  EXPECT_EQ(idsOf({frames(5, 14)}), Ids{kCueTooBrief.id});
  EXPECT_EQ(idsOf({frames(5, 15)}), Ids{kCueShort.id});
}

TEST(CueRules, FindCuesThatAreTooShortToBeRead) {
  EXPECT_EQ(idsOf({frames(5, 29)}), Ids{kCueShort.id});
  EXPECT_EQ(idsOf({frames(5, 30)}), Ids{});
  EXPECT_EQ(idsOf({lasting(832)}), Ids{kCueShort.id});
  EXPECT_EQ(idsOf({lasting(833)}), Ids{});
}

TEST(CueRules, FindCuesThatStayTooLong) {
  EXPECT_EQ(idsOf({lasting(10'000)}), Ids{});
  EXPECT_EQ(idsOf({lasting(10'001)}), Ids{kCueLong.id});
  EXPECT_EQ(idsOf({frames(0, 400, "a", CaptionMode::rollUp)}), Ids{kCueLong.id});
}

TEST(CueRules, FindGapsThatFlicker) {
  EXPECT_EQ(idsOf({frames(0, 60), frames(60, 120, "b")}), Ids{});
  EXPECT_EQ(idsOf({frames(0, 60), frames(61, 120, "b")}), Ids{kGapTooShort.id});
  EXPECT_EQ(idsOf({frames(0, 60), frames(62, 120, "b")}), Ids{});
}

TEST(CueRules, RoundGapsToFrames) {
  const Time picture = captions::timeOfUnits(1, 30);  // a thousandth shorter than a frame
  const auto gapOf = [](Time gap) {
    return idsOf(
        {{Time{0}, kPairTime * 60, CaptionMode::popOn, {plainRow(15, 0, "a")}},
         {kPairTime * 60 + gap, kPairTime * 200, CaptionMode::popOn, {plainRow(15, 0, "b")}}});
  };
  EXPECT_EQ(gapOf(picture * 2), Ids{});
  EXPECT_EQ(gapOf(picture), Ids{kGapTooShort.id});
  EXPECT_EQ(gapOf(Time{1}), Ids{kGapTooShort.id});
}

TEST(CueRules, FindTextThatIsTooFastToRead) {
  EXPECT_EQ(idsOf({lasting(1000, letters(17))}), Ids{});
  EXPECT_EQ(idsOf({lasting(1000, letters(18))}), Ids{kReadingTooFast.id});
  EXPECT_EQ(idsOf({lasting(2000, letters(32))}), Ids{});
  EXPECT_EQ(idsOf({cueOf(0, 2000, {plainRow(14, 0, letters(20)), plainRow(15, 0, letters(15))})}),
            Ids{kReadingTooFast.id});
}

TEST(CueRules, CountCharactersAsTheyAreRead) {
  EXPECT_EQ(readCharacters(plainRow(15, 0, "a b")), 3u);
  EXPECT_EQ(readCharacters(plainRow(15, 0, "a     b")), 3u);
  EXPECT_EQ(readCharacters(plainRow(15, 0, "♪é")), 2u);
  EXPECT_EQ(readCharacters({15, 0, {}}), 0u);
}

TEST(CueRules, FindMoreThanFourRows) {
  std::vector<CueRow> rows;
  for (const int row : {1, 2, 14, 15}) rows.push_back(plainRow(row, 0, "a"));
  EXPECT_EQ(idsOf({cueOf(0, 3000, rows)}), Ids{});
  rows.insert(rows.begin() + 2, plainRow(8, 0, "a"));
  EXPECT_EQ(idsOf({cueOf(0, 3000, rows)}), Ids{kTooManyRows.id});
}

// ---- Text that is painted on in several cues

TEST(CueRules, MeasureTextThatGrowsUntilItDisappears) {
  const CueRow first = plainRow(14, 0, "I");
  const std::vector<Cue> cues = {
      cueOf(0, 200, {first}, CaptionMode::paintOn),
      cueOf(200, 2000, {first, plainRow(15, 0, "second")}, CaptionMode::paintOn)};
  EXPECT_EQ(idsOf(cues), Ids{});
  EXPECT_EQ(idsOf({cues[0]}), Ids{kCueTooBrief.id});
}

TEST(CueRules, MeasureARowThatGrows) {
  EXPECT_EQ(
      idsOf({frames(0, 5, "I", CaptionMode::paintOn), frames(5, 60, "I am", CaptionMode::paintOn)}),
      Ids{});
  EXPECT_EQ(
      idsOf({frames(0, 5, "I", CaptionMode::paintOn), frames(5, 60, "We", CaptionMode::paintOn)}),
      Ids{kCueTooBrief.id});
}

TEST(CueRules, ReadTextThatGrowsOnce) {
  const CueRow first = plainRow(14, 0, letters(30));
  const auto both = [&first](std::size_t count) {
    return idsOf(
        {cueOf(0, 1000, {first}, CaptionMode::paintOn),
         cueOf(1000, 3000, {first, plainRow(15, 0, letters(count))}, CaptionMode::paintOn)});
  };
  EXPECT_EQ(both(21), Ids{});
  EXPECT_EQ(both(22), Ids{kReadingTooFast.id});
}

TEST(CueRules, MeasureEachRowOfAPaintedScreen) {
  const auto painted = [](std::int64_t start, std::int64_t end, const char* upper,
                          const char* lower) {
    return cueOf(start, end, {plainRow(14, 0, upper), plainRow(15, 0, lower)},
                 CaptionMode::paintOn);
  };
  // One row after the other is replaced; each of them stays for more than a second.
  EXPECT_EQ(idsOf({painted(0, 1000, "one", "two"), painted(1000, 1200, "three", "two"),
                   painted(1200, 2500, "three", "four")}),
            Ids{});
  EXPECT_EQ(idsOf({painted(0, 1000, "one", "two"), painted(1000, 1200, "I", "two"),
                   painted(1200, 2500, "three", "two")}),
            Ids{kCueTooBrief.id});
  // 40 characters in two seconds, of which the last 10 are seen for a fifth of a second.
  EXPECT_EQ(idsOf({painted(0, 1000, "ten letter", "ten letter"),
                   painted(1000, 1800, "a sentence", "ten letter"),
                   painted(1800, 2000, "a sentence", "as quickly")}),
            (Ids{kCueTooBrief.id, kReadingTooFast.id}));
}

TEST(CueRules, CountRowsThatGoTogetherOnce) {
  Findings findings;
  judgeCues({Channel::cc1, {cueOf(0, 100, {plainRow(14, 0, "a"), plainRow(15, 0, "b")})}},
            findings);
  EXPECT_EQ(findings.all().front().count, 1u);
}

}  // namespace
}  // namespace quarrypack::check
