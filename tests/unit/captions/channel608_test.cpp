#include "captions/channel608.h"

#include <gtest/gtest.h>

#include "tests/unit/captions/pair_script.h"

// The effects of codes on the screen, seen in the resulting cues.
namespace quarrypack::captions {
namespace {

using test::Decoded;
using test::decoded;
using test::page;
using test::pageText;
using test::PairScript;
using test::plainRow;
using Texts = std::vector<std::string>;

// The rows of the only cue.
std::vector<CueRow> rows(const Decoded& result) {
  EXPECT_EQ(result.cues().size(), 1u);
  return result.cues().empty() ? std::vector<CueRow>() : result.cues().front().rows;
}

std::vector<CueRun> runs(const PairScript& script) { return rows(page(script)).at(0).runs; }

const std::string kFullRow = "abcdefghijklmnopqrstuvwxyzABCDEF";

// The frames of what is lost: characters of full rows, and captions that are never shown.
struct LossLog final : DisplayListener {
  std::vector<std::int64_t> overflows;
  std::vector<std::int64_t> discardedLoads;

  void displayChanging(const DisplayChange&) override {}
  void rowOverflowing(Channel, Time time) override { overflows.push_back(time / kPairTime); }
  void loadDiscarded(Channel, Time time) override { discardedLoads.push_back(time / kPairTime); }
};

LossLog losses(const PairScript& script) {
  LossLog log;
  Decoder608 decoder(log);
  decoder.decode(Field::one, script.pairs());
  decoder.finish(kPairTime * 1000);
  return log;
}

using FramesOf = std::vector<std::int64_t>;

TEST(Channel608, PlacesRowsByPreambleAndTab) {
  const Decoded result = page(
      PairScript().code(0x11, 0x54).text("top").code(0x13, 0x5E).code(0x17, 0x22).text("right"));
  // The second row has two columns left, the last of which takes what does not fit.
  EXPECT_EQ(rows(result), (std::vector<CueRow>{plainRow(1, 8, "top"), plainRow(12, 30, "rt")}));
}

TEST(Channel608, KeepsTextOnAPreambleOfItsRow) {
  EXPECT_EQ(pageText(PairScript().text("abcdef").row15().text("XY")), "XYcdef");
}

TEST(Channel608, OverwritesTheLastColumnOfAFullRow) {
  EXPECT_EQ(pageText(PairScript().text(kFullRow).text("xy")), kFullRow.substr(0, 31) + "y");
}

TEST(Channel608, ReplacesTheLastColumnByAnExtendedCharacter) {
  EXPECT_EQ(pageText(PairScript().text(kFullRow).code(0x12, 0x20)), kFullRow.substr(0, 31) + "Á");
}

TEST(Channel608, ReplacesTheCharacterBeforeByAnExtendedOne) {
  EXPECT_EQ(pageText(PairScript().text("cafe").code(0x12, 0x21).text("s")), "cafÉs");
}

TEST(Channel608, TakesACellForAnExtendedCharacterAtTheLeftEdge) {
  EXPECT_EQ(pageText(PairScript().code(0x13, 0x34).text("a")), "ßa");
}

TEST(Channel608, StoresNothingForTheTransparentSpace) {
  EXPECT_EQ(pageText(PairScript().text("ab").code(0x11, 0x39).text("cd")), "ab cd");
  EXPECT_EQ(rows(page(PairScript().twice(0x11, 0x39).twice(0x11, 0x39).text("x"))),
            std::vector<CueRow>{plainRow(15, 2, "x")});
  EXPECT_EQ(pageText(PairScript().text("abc").row15().code(0x11, 0x39)), "bc");
}

TEST(Channel608, StopsTabsAtTheLastColumn) {
  EXPECT_EQ(rows(page(PairScript().code(0x14, 0x7E).code(0x17, 0x23).code(0x17, 0x22).text("x"))),
            std::vector<CueRow>{plainRow(15, 31, "x")});
  EXPECT_EQ(pageText(PairScript().text(kFullRow).code(0x17, 0x21).text("!")),
            kFullRow.substr(0, 31) + "!");
}

TEST(Channel608, TakesACellForMidRowCodes) {
  EXPECT_EQ(runs(PairScript().text("a").code(0x11, 0x28).text("b").code(0x11, 0x20).text("c")),
            (std::vector<CueRun>{{"a ", Color::white, false, false},
                                 {"b", Color::red, false, false},
                                 {" c", Color::white, false, false}}));
}

TEST(Channel608, KeepsTheColorWhenItalicsBeginAndEndsItalicsWithAColor) {
  EXPECT_EQ(runs(PairScript()
                     .code(0x14, 0x6A)
                     .text("a")
                     .code(0x11, 0x2F)
                     .text("b")
                     .code(0x11, 0x22)
                     .text("c")),
            (std::vector<CueRun>{{"a ", Color::yellow, false, false},
                                 {"b", Color::yellow, true, true},
                                 {" c", Color::green, false, false}}));
}

TEST(Channel608, BeginsARowInTheStyleOfItsPreamble) {
  EXPECT_EQ(runs(PairScript().code(0x14, 0x6F).text("a")),
            (std::vector<CueRun>{{"a", Color::white, true, true}}));
  EXPECT_EQ(runs(PairScript().code(0x14, 0x6E).row15().text("a")),
            (std::vector<CueRun>{{"a", Color::white, false, false}}));
}

TEST(Channel608, TakesNoCellForBackgrounds) {
  EXPECT_EQ(
      pageText(PairScript().text("a ").code(0x10, 0x24).text("b ").code(0x17, 0x2D).text("c")),
      "a b c");
  EXPECT_EQ(pageText(PairScript().text("ab").code(0x10, 0x2E).text("c")), "abc");
  EXPECT_EQ(rows(page(PairScript().code(0x10, 0x2E).text("a"))),
            std::vector<CueRow>{plainRow(15, 0, "a")});
}

TEST(Channel608, WritesInBlack) {
  EXPECT_EQ(
      runs(PairScript().text("a ").code(0x17, 0x2F).text("b")),
      (std::vector<CueRun>{{"a ", Color::white, false, false}, {"b", Color::black, false, true}}));
}

TEST(Channel608, TakesACellForFlashing) {
  EXPECT_EQ(pageText(PairScript().text("a").code(0x14, 0x28).text("b")), "a b");
}

TEST(Channel608, ErasesBackwards) {
  EXPECT_EQ(pageText(PairScript().text("abc").code(0x14, 0x21).text("X")), "abX");
  EXPECT_EQ(pageText(PairScript().text("ab").code(0x14, 0x21).padding().code(0x14, 0x21)), "");
  EXPECT_EQ(pageText(PairScript().text("ab").row15().code(0x14, 0x21)), "ab");
  EXPECT_EQ(pageText(PairScript().text(kFullRow).code(0x14, 0x21)), kFullRow.substr(0, 31));
}

TEST(Channel608, ErasesToTheEndOfTheRow) {
  EXPECT_EQ(pageText(PairScript().text("abcdef").row15().code(0x17, 0x22).code(0x14, 0x24)), "ab");
  EXPECT_EQ(pageText(PairScript().text(kFullRow).code(0x14, 0x24)), kFullRow);
}

TEST(Channel608, LoadsAPageWhileAnotherIsShown) {
  const Decoded result = decoded(
      PairScript().popOn().row15().text("one").show().popOn().row15().text("two").at(50).show());
  EXPECT_EQ(result.texts(), (Texts{"one", "two"}));
  EXPECT_EQ(result.cues()[0].end, kPairTime * 50);
  EXPECT_EQ(result.cues()[1].start, kPairTime * 50);
}

TEST(Channel608, ShowsThePageBeforeAgainUnlessItIsErased) {
  const PairScript both =
      PairScript().popOn().row15().text("one").at(10).show().row15().text("two").at(20).show();
  EXPECT_EQ(decoded(PairScript(both).at(30).show()).texts(), (Texts{"one", "two", "one"}));
  EXPECT_EQ(decoded(PairScript(both).code(0x14, 0x2E).at(30).show()).texts(),
            (Texts{"one", "two"}));
}

TEST(Channel608, GoesOnInPopOnAfterTheEndOfACaption) {
  const Decoded result =
      decoded(PairScript().rollUp(2).text("up").show().row15().text("next").show());
  EXPECT_EQ(result.texts(), (Texts{"up", "next"}));
}

TEST(Channel608, RollsUp) {
  const Decoded result = decoded(PairScript()
                                     .rollUp(2)
                                     .carriageReturn()
                                     .row15()
                                     .text("one")
                                     .at(20)
                                     .carriageReturn()
                                     .row15()
                                     .text("two")
                                     .at(40)
                                     .carriageReturn()
                                     .row15()
                                     .text("three"),
                                 RollUpCues::screen);
  EXPECT_EQ(result.texts(), (Texts{"one", "one\ntwo", "two\nthree"}));
  EXPECT_EQ(result.cues()[2].rows,
            (std::vector<CueRow>{plainRow(14, 0, "two"), plainRow(15, 0, "three")}));
  EXPECT_EQ(result.cues()[2].mode, CaptionMode::rollUp);
}

TEST(Channel608, RollsUpThreeAndFourRows) {
  for (const unsigned depth : {3u, 4u}) {
    PairScript script;
    script.rollUp(depth).row15();
    for (const char* text : {"a", "b", "c", "d", "e"}) script.text(text).carriageReturn();
    EXPECT_EQ(decoded(script, RollUpCues::screen).texts().back(),
              depth == 3 ? "c\nd\ne" : "b\nc\nd\ne");
  }
}

TEST(Channel608, BeginsEachRolledRowPlainAndAtTheLeft) {
  const Decoded result = decoded(PairScript()
                                     .rollUp(2)
                                     .code(0x14, 0x6E)
                                     .code(0x17, 0x23)
                                     .text("a")
                                     .carriageReturn()
                                     .text("b"));
  ASSERT_EQ(result.cues().size(), 2u);
  EXPECT_EQ(result.cues()[1].rows, std::vector<CueRow>{plainRow(15, 0, "b")});
}

TEST(Channel608, MovesARollUpCaptionToItsBaseRow) {
  const Decoded result = decoded(
      PairScript().rollUp(3).row15().text("one").carriageReturn().code(0x12, 0x60).text("two"),
      RollUpCues::screen);
  EXPECT_EQ(result.cues().back().rows,
            (std::vector<CueRow>{plainRow(3, 0, "one"), plainRow(4, 0, "two")}));
}

TEST(Channel608, LowersABaseRowThatHasNoRoomAbove) {
  const Decoded result =
      decoded(PairScript().rollUp(4).code(0x11, 0x40).text("one").carriageReturn().text("two"),
              RollUpCues::screen);
  EXPECT_EQ(result.cues().back().rows,
            (std::vector<CueRow>{plainRow(3, 0, "one"), plainRow(4, 0, "two")}));
}

TEST(Channel608, GrowsARollUpCaptionNearTheTop) {
  const Decoded result = decoded(PairScript()
                                     .rollUp(2)
                                     .code(0x11, 0x60)
                                     .text("a")
                                     .carriageReturn()
                                     .text("b")
                                     .rollUp(4)
                                     .carriageReturn()
                                     .text("c"),
                                 RollUpCues::screen);
  EXPECT_EQ(result.cues().back().rows,
            (std::vector<CueRow>{plainRow(2, 0, "a"), plainRow(3, 0, "b"), plainRow(4, 0, "c")}));
}

TEST(Channel608, DropsRowsWhenTheDepthDecreases) {
  const Decoded result = decoded(PairScript()
                                     .rollUp(4)
                                     .row15()
                                     .text("a")
                                     .carriageReturn()
                                     .text("b")
                                     .carriageReturn()
                                     .text("c")
                                     .at(30)
                                     .rollUp(2),
                                 RollUpCues::screen);
  EXPECT_EQ(result.texts(), (Texts{"a", "a\nb", "a\nb\nc", "b\nc"}));
  EXPECT_EQ(result.cues()[3].start, kPairTime * 30);
}

TEST(Channel608, ErasesOtherCaptionsWhenRollUpBegins) {
  const Decoded result = decoded(PairScript()
                                     .popOn()
                                     .code(0x11, 0x40)
                                     .text("page")
                                     .show()
                                     .popOn()
                                     .text("hidden")
                                     .at(30)
                                     .rollUp(2)
                                     .text("up")
                                     .at(60)
                                     .show());
  EXPECT_EQ(result.texts(), (Texts{"page", "up"}));
  EXPECT_EQ(result.cues()[0].end, kPairTime * 30);
  EXPECT_EQ(result.cues()[1].rows.front().row, 15);
}

TEST(Channel608, IgnoresACarriageReturnOutsideRollUp) {
  EXPECT_EQ(pageText(PairScript().text("ab").carriageReturn().text("cd")), "abcd");
  EXPECT_EQ(decoded(PairScript().paintOn().row15().text("ab").carriageReturn().text("cd")).texts(),
            Texts{"abcd"});
}

TEST(Channel608, PaintsOnTheScreenThatIsShown) {
  const Decoded result = decoded(PairScript()
                                     .popOn()
                                     .row15()
                                     .text("page")
                                     .show()
                                     .at(30)
                                     .paintOn()
                                     .code(0x11, 0x40)
                                     .text("top"));
  EXPECT_EQ(result.texts(), (Texts{"page", "top\npage"}));
  EXPECT_EQ(result.cues()[1].mode, CaptionMode::paintOn);
  EXPECT_EQ(result.cues()[1].start, kPairTime * 32);
}

TEST(Channel608, GoesOnInTheRowWhenRollUpTurnsToPaintOn) {
  const Decoded result =
      decoded(PairScript().rollUp(2).code(0x10, 0x40).text("ab").paintOn().text("cd"));
  EXPECT_EQ(result.cues().back().rows, std::vector<CueRow>{plainRow(11, 0, "abcd")});
}

TEST(Channel608, KnowsWhenItIsInText) {
  CueBuilder builder;
  Channel608 channel(Channel::cc1, builder);
  EXPECT_FALSE(channel.isInText());
  channel.control(Command::textRestart, Time(0));
  EXPECT_TRUE(channel.isInText());
  channel.control(Command::eraseDisplayed, Time(0));
  EXPECT_TRUE(channel.isInText());
  for (const Command command :
       {Command::resumeLoading, Command::rollUp3, Command::resumeDirect, Command::endOfCaption}) {
    channel.control(Command::resumeText, Time(0));
    channel.control(command, Time(0));
    EXPECT_FALSE(channel.isInText());
  }
}

TEST(Channel608, GoesOnRollingUpAfterText) {
  const Decoded result = decoded(PairScript()
                                     .rollUp(2)
                                     .text("one")
                                     .code(0x14, 0x2B)
                                     .text("page")
                                     .rollUp(2)
                                     .carriageReturn()
                                     .text("two"),
                                 RollUpCues::screen);
  EXPECT_EQ(result.texts(), (Texts{"one", "one\ntwo"}));
}

TEST(Channel608, HasNothingToDoForReservedCodes) {
  EXPECT_EQ(
      pageText(PairScript().text("a").code(0x14, 0x22).code(0x14, 0x23).code(0x17, 0x25).text("b")),
      "ab");
}

TEST(Channel608, ReportsCharactersThatDoNotFitIntoTheirRow) {
  for (PairScript mode : {PairScript().popOn(), PairScript().paintOn(), PairScript().rollUp(2)}) {
    EXPECT_EQ(losses(mode.row15().text(kFullRow)).overflows, FramesOf{});
    EXPECT_EQ(losses(mode.text("xyz")).overflows, FramesOf{18});
    EXPECT_EQ(losses(mode.row15().text(kFullRow).text("x")).overflows, (FramesOf{18, 37}));
  }
}

TEST(Channel608, ReportsACodeThatOverwritesTheLastCharacter) {
  EXPECT_EQ(losses(PairScript().popOn().row15().text(kFullRow).code(0x11, 0x20)).overflows,
            FramesOf{18});
}

TEST(Channel608, ReportsNoOverflowForAReplacedOrMovedCharacter) {
  const PairScript full = PairScript().popOn().row15().text(kFullRow);
  EXPECT_EQ(losses(PairScript(full).code(0x12, 0x20)).overflows, FramesOf{});
  EXPECT_EQ(losses(PairScript(full).code(0x14, 0x21).text("x")).overflows, FramesOf{});
  EXPECT_EQ(losses(PairScript(full).row15().text("x")).overflows, FramesOf{});
}

TEST(Channel608, ReportsALoadThatIsErasedUnseen) {
  const PairScript load = PairScript().popOn().row15().text("  abc");
  EXPECT_EQ(losses(PairScript(load).code(0x14, 0x2E)).discardedLoads, FramesOf{3});
  EXPECT_EQ(losses(PairScript(load).rollUp(3)).discardedLoads, FramesOf{3});
  EXPECT_EQ(losses(load).discardedLoads, FramesOf{3});
}

TEST(Channel608, ReportsNoLoadThatIsShown) {
  const PairScript shown = PairScript().popOn().row15().text("abc").show();
  EXPECT_EQ(losses(shown).discardedLoads, FramesOf{});
  // What is erased here was on the screen before.
  const PairScript next = PairScript(shown).popOn().row15().text("de").show().code(0x14, 0x2E);
  EXPECT_EQ(losses(next).discardedLoads, FramesOf{});
  EXPECT_EQ(losses(PairScript().popOn().row15().text("  ")).discardedLoads, FramesOf{});
  EXPECT_EQ(losses(PairScript().popOn().row15().text("a").code(0x14, 0x21)).discardedLoads,
            FramesOf{});
}

}  // namespace
}  // namespace quarrypack::captions
