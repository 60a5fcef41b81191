#include "check/screen_rules.h"

#include <gtest/gtest.h>

#include "tests/unit/check/checked_script.h"

namespace quarrypack::check {
namespace {

using captions::TimedPair;
using test::Checked;
using test::checked;
using test::faultless;
using test::Field;
using test::filmOf;
using test::kPairTime;
using test::PairScript;
using test::Time;
using Ids = std::vector<std::string_view>;

const std::string kFullRow = "abcdefghijklmnopqrstuvwxyzABCDEF";

TEST(ScreenRules, FindRowsThatAreTooLong) {
  PairScript script;
  script.twice(0x14, 0x20).twice(0x14, 0x70).text(kFullRow);
  EXPECT_EQ(checked(script).count(kRowTooLong), 0u);
  const Checked film = checked(script.text("xy"));
  EXPECT_EQ(film.count(kRowTooLong), 1u);
  EXPECT_EQ(film.frame(kRowTooLong), 20);
  EXPECT_EQ(film.detail(kRowTooLong), "CC1");
}

TEST(ScreenRules, FindRowsOfField2ThatAreTooLong) {
  const Checked film =
      checked(PairScript().code(0x1D, 0x29).code(0x1C, 0x70).text(kFullRow).text("x"), Field::two);
  EXPECT_EQ(film.count(kRowTooLong), 1u);
  EXPECT_EQ(film.detail(kRowTooLong), "CC4");
}

TEST(ScreenRules, FindCaptionsThatAreNeverShown) {
  const Checked film = checked(
      faultless().at(90).twice(0x14, 0x20).twice(0x14, 0x70).text("lost").twice(0x14, 0x2E));
  EXPECT_EQ(film.ids(), Ids{kNeverShown.id});
  EXPECT_EQ(film.frame(kNeverShown), 94);
  EXPECT_EQ(film.detail(kNeverShown), "CC1");
}

TEST(ScreenRules, FindCaptionsThatAreNeverErased) {
  const PairScript open = PairScript().at(10).popOn().row15().text("word").at(40).show();
  const Checked film = checked(open);
  EXPECT_EQ(film.count(kNeverErased), 1u);
  EXPECT_EQ(film.frame(kNeverErased), 40);
  EXPECT_EQ(film.detail(kNeverErased), "CC1");
  EXPECT_EQ(checked(PairScript(open).at(90).erase()).count(kNeverErased), 0u);
  // A blank caption erases the one before.
  EXPECT_EQ(checked(PairScript(open).at(90).code(0x14, 0x2E).show()).count(kNeverErased), 0u);
}

TEST(ScreenRules, FindRollUpAndPaintOnTextThatIsNeverErased) {
  const Checked rolled =
      checked(PairScript().rollUp(2).text("one").at(50).carriageReturn().at(60).text("two"));
  EXPECT_EQ(rolled.count(kNeverErased), 1u);
  EXPECT_EQ(rolled.frame(kNeverErased), 60);
  const PairScript painted = PairScript().at(7).paintOn().row15().text("one");
  EXPECT_EQ(checked(painted).frame(kNeverErased), 9);
  EXPECT_EQ(checked(PairScript(painted).at(90).text("two")).frame(kNeverErased), 90);
}

// All pairs in one picture.
Checked atOnce(const PairScript& script) {
  sources::CaptionPairs pairs = filmOf(script, Field::one, 200);
  for (TimedPair& pair : pairs.of(Field::one)) pair.time = kPairTime * 3;
  return {pairs, {}};
}

TEST(ScreenRules, FindCaptionsThatAreShownForNoTime) {
  const PairScript page = PairScript().popOn().row15().text("word").show();
  const Checked erased = atOnce(PairScript(page).erase());
  EXPECT_EQ(erased.count(kCueTooBrief), 1u);
  EXPECT_EQ(erased.frame(kCueTooBrief), 3);
  EXPECT_EQ(atOnce(PairScript(page).popOn().row15().text("next").show()).count(kCueTooBrief), 1u);
  EXPECT_EQ(atOnce(PairScript().paintOn().row15().text("word").erase()).count(kCueTooBrief), 1u);
  EXPECT_EQ(atOnce(PairScript().rollUp(2).text("word").erase()).count(kCueTooBrief), 1u);
  EXPECT_EQ(atOnce(page).count(kCueTooBrief), 0u);
  EXPECT_EQ(atOnce(PairScript().popOn().show().erase().erase()).count(kCueTooBrief), 0u);
}

// ---- Rows of roll-up captions

PairScript rolled(unsigned depth, std::int64_t framesBetween, int rows,
                  const std::string& text = "row") {
  PairScript script;
  script.rollUp(depth);
  for (int row = 0; row < rows; ++row) {
    script.at(10 + framesBetween * row).carriageReturn().text(text);
  }
  return script.at(10 + framesBetween * rows + 40).erase();
}

TEST(ScreenRules, MeasureARollUpRowUntilItLeavesTheScreen) {
  // Each row begins so many frames after the one before, and stays for as many rows as there are.
  EXPECT_EQ(checked(rolled(2, 4, 9)).count(kCueTooBrief), 8u - 1);
  EXPECT_EQ(checked(rolled(2, 5, 9)).count(kCueTooBrief), 7u);
  EXPECT_EQ(checked(rolled(2, 6, 9)).count(kCueTooBrief), 0u);
  EXPECT_EQ(checked(rolled(3, 4, 9)).count(kCueTooBrief), 0u);
  EXPECT_EQ(checked(rolled(4, 9, 9)).count(kCueShort), 0u);
}

TEST(ScreenRules, ReadAllRowsOfARollUpCaptionThatAreOnTheScreen) {
  // A row of 16 characters every 30 frames, of 1001 ms: about 16 characters a second.
  EXPECT_EQ(checked(rolled(2, 30, 9, "sixteen letters.")).count(kReadingTooFast), 0u);
  EXPECT_EQ(checked(rolled(3, 30, 9, "sixteen letters.")).count(kReadingTooFast), 0u);
  EXPECT_GE(checked(rolled(3, 30, 9, "more letters than sixteen")).count(kReadingTooFast), 7u);
}

TEST(ScreenRules, AllowTwoRowsAtOnceWithTimeToReadThem) {
  PairScript script;
  script.rollUp(3).carriageReturn().text("a first row of text").carriageReturn();
  script.text("and a second one").at(120).erase();
  EXPECT_EQ(checked(script).count(kReadingTooFast), 0u);
  EXPECT_EQ(checked(script).count(kCueTooBrief), 0u);
}

TEST(ScreenRules, LetRowsGoThatALowerDepthDoesNotShow) {
  const PairScript script = PairScript()
                                .rollUp(3)
                                .text("one")
                                .carriageReturn()
                                .text("two")
                                .carriageReturn()
                                .text("three")
                                .rollUp(2)
                                .carriageReturn()
                                .text("four")
                                .at(100)
                                .erase();
  // The first two rows leave with the smaller depth and the carriage return; the others stay.
  EXPECT_EQ(checked(script).count(kCueTooBrief), 2u);
}

}  // namespace
}  // namespace quarrypack::check
