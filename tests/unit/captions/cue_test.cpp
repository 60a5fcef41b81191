#include "captions/cue.h"

#include <gtest/gtest.h>

#include "tests/unit/captions/pair_script.h"

namespace quarrypack::captions {
namespace {

using test::cueOf;
using test::plainRow;

constexpr Style kPlain;
constexpr Style kItalic{Color::white, true, false};
constexpr Style kRed{Color::red, false, false};
constexpr Style kUnderlined{Color::white, false, true};

// A row whose first cells are these; a dot is an empty cell.
class Cells {
 public:
  Cells& add(std::u16string_view glyphs, Style style) {
    for (const char16_t glyph : glyphs) row_.at(used_++) = {glyph == u'.' ? u'\0' : glyph, style};
    return *this;
  }
  CueRow cue() const { return cueRow(row_, 7); }

 private:
  ScreenRow row_{};
  std::size_t used_ = 0;
};

TEST(CueRow, ReachesFromTheFirstToTheLastLegibleCell) {
  EXPECT_EQ(Cells().add(u".. ab.c. ", kPlain).cue(), plainRow(7, 3, "ab c"));
}

TEST(CueRow, HasNoRunsWhenNothingIsLegible) {
  EXPECT_TRUE(Cells().add(u" . ", kUnderlined).cue().runs.empty());
}

TEST(CueRow, MayFillAllColumns) {
  const CueRow row = Cells().add(std::u16string(32, u'é'), kPlain).cue();
  EXPECT_EQ(textOf(row).size(), 64u);
}

TEST(CueRow, HasARunForEachStyle) {
  const CueRow row = Cells().add(u"a", kPlain).add(u"b", kItalic).add(u"cd", kRed).cue();
  EXPECT_EQ(row.runs, (std::vector<CueRun>{{"a", Color::white, false, false},
                                           {"b", Color::white, true, false},
                                           {"cd", Color::red, false, false}}));
}

TEST(CueRow, LeavesSpacesOutOfStyledRunsWhereItCan) {
  const CueRow row = Cells().add(u"a ", kPlain).add(u" b ", kItalic).add(u"  c", kPlain).cue();
  EXPECT_EQ(row.runs, (std::vector<CueRun>{{"a  ", Color::white, false, false},
                                           {"b", Color::white, true, false},
                                           {"   c", Color::white, false, false}}));
}

TEST(CueRow, KeepsSpacesInsideARun) {
  const CueRow row = Cells().add(u"a b.c", kItalic).cue();
  EXPECT_EQ(row.runs, (std::vector<CueRun>{{"a b c", Color::white, true, false}}));
}

TEST(CueRow, UnderlinesSpacesThatAreUnderlined) {
  const CueRow row = Cells().add(u"a b.c", kUnderlined).cue();
  EXPECT_EQ(row.runs, (std::vector<CueRun>{{"a b", Color::white, false, true},
                                           {" ", Color::white, false, false},
                                           {"c", Color::white, false, true}}));
}

TEST(CueRow, GivesSpacesBetweenTwoStylesToTheOneWithoutALine) {
  const Style redLine{Color::red, false, true};
  EXPECT_EQ(Cells().add(u"a", kItalic).add(u" ", kRed).add(u"b", kRed).cue().runs.front().text,
            "a ");
  EXPECT_EQ(Cells().add(u"a", redLine).add(u".", kPlain).add(u"b", kItalic).cue().runs.back().text,
            " b");
  const CueRow row = Cells().add(u"a", redLine).add(u".", kRed).add(u"b", kUnderlined).cue();
  EXPECT_EQ(row.runs.at(1), (CueRun{" ", Color::white, false, false}));
}

TEST(CueRows, AreTheLegibleRowsOfAScreen) {
  Screen screen;
  screen.row(3).at(31) = {u'x', {}};
  screen.row(4).at(0) = {u' ', {}};
  screen.row(15).at(0) = {u'y', {}};
  EXPECT_EQ(cueRows(screen), (std::vector<CueRow>{plainRow(3, 31, "x"), plainRow(15, 0, "y")}));
}

TEST(Cue, ItsTextHasALineForEachRow) {
  EXPECT_EQ(textOf(cueOf(0, 1, {plainRow(14, 0, "one"), plainRow(15, 0, "two")})), "one\ntwo");
}

TEST(Cue, ItsMillisecondsAreNeverEmptyOrNegative) {
  const auto times = [](Time start, Time end) {
    const CueMilliseconds result = cueMilliseconds({start, end, CaptionMode::popOn, {}});
    return std::pair(result.start, result.end);
  };
  EXPECT_EQ(times(kPairTime, kPairTime * 2), std::pair(std::int64_t{33}, std::int64_t{67}));
  EXPECT_EQ(times(Time(1000), Time(2000)), std::pair(std::int64_t{0}, std::int64_t{1}));
  EXPECT_EQ(times(-kPairTime, kPairTime), std::pair(std::int64_t{0}, std::int64_t{33}));
}

TEST(UsualMode, IsThatOfMostCues) {
  const auto cue = [](CaptionMode mode) { return cueOf(0, 1, {}, mode); };
  EXPECT_EQ(usualMode({}), CaptionMode::none);
  EXPECT_EQ(usualMode({cue(CaptionMode::rollUp), cue(CaptionMode::popOn)}), CaptionMode::rollUp);
  EXPECT_EQ(usualMode({cue(CaptionMode::rollUp), cue(CaptionMode::popOn), cue(CaptionMode::popOn)}),
            CaptionMode::popOn);
}

TEST(Names, AreThoseOfJson) {
  EXPECT_EQ(colorName(Color::white), "white");
  EXPECT_EQ(colorName(Color::magenta), "magenta");
  EXPECT_EQ(colorName(Color::black), "black");
  EXPECT_EQ(modeName(CaptionMode::popOn), "pop-on");
  EXPECT_EQ(modeName(CaptionMode::rollUp), "roll-up");
  EXPECT_EQ(modeName(CaptionMode::paintOn), "paint-on");
}

TEST(Cue, EqualsAnotherInAllThatIsShown) {
  const CueRun run{"Hi", Color::yellow, true, false};
  EXPECT_NE(run, (CueRun{"Ho", Color::yellow, true, false}));
  EXPECT_NE(run, (CueRun{"Hi", Color::red, true, false}));
  EXPECT_NE(run, (CueRun{"Hi", Color::yellow, false, false}));
  EXPECT_NE(run, (CueRun{"Hi", Color::yellow, true, true}));

  const CueRow row{15, 4, {run}};
  EXPECT_EQ(row, (CueRow{15, 4, {run}}));
  EXPECT_NE(row, (CueRow{14, 4, {run}}));
  EXPECT_NE(row, (CueRow{15, 5, {run}}));
  EXPECT_NE(row, (CueRow{15, 4, {}}));

  const Cue cue{Time{1}, Time{2}, CaptionMode::popOn, {row}};
  EXPECT_EQ(cue, (Cue{Time{1}, Time{2}, CaptionMode::popOn, {row}}));
  EXPECT_NE(cue, (Cue{Time{0}, Time{2}, CaptionMode::popOn, {row}}));
  EXPECT_NE(cue, (Cue{Time{1}, Time{3}, CaptionMode::popOn, {row}}));
  EXPECT_NE(cue, (Cue{Time{1}, Time{2}, CaptionMode::paintOn, {row}}));
  EXPECT_NE(cue, (Cue{Time{1}, Time{2}, CaptionMode::popOn, {}}));
}

}  // namespace
}  // namespace quarrypack::captions
