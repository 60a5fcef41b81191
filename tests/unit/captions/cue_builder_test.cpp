#include "captions/cue_builder.h"

#include <gtest/gtest.h>

#include "tests/unit/captions/pair_script.h"

namespace quarrypack::captions {
namespace {

using test::Decoded;
using test::decoded;
using test::PairScript;
using Texts = std::vector<std::string>;
using Frames = std::vector<std::pair<std::int64_t, std::int64_t>>;

Frames framesOf(const Decoded& result) {
  Frames frames;
  for (const Cue& cue : result.cues())
    frames.emplace_back(cue.start / kPairTime, cue.end / kPairTime);
  return frames;
}

TEST(CueBuilder, HasEveryRolledRowOnceFromItsAppearance) {
  const Decoded result = decoded(PairScript()
                                     .rollUp(3)
                                     .carriageReturn()
                                     .row15()
                                     .at(10)
                                     .text("one")
                                     .at(20)
                                     .carriageReturn()
                                     .row15()
                                     .at(30)
                                     .text("two")
                                     .at(50)
                                     .erase());
  EXPECT_EQ(result.texts(), (Texts{"one", "two"}));
  // A row lasts until the next one begins, not only until it rolls up.
  EXPECT_EQ(framesOf(result), (Frames{{10, 30}, {30, 50}}));
}

TEST(CueBuilder, BeginsARolledRowWithItsFirstLegibleCharacter) {
  const Decoded result =
      decoded(PairScript().rollUp(2).at(10).text("    ").text("x").at(30).erase());
  EXPECT_EQ(framesOf(result), (Frames{{12, 30}}));
}

TEST(CueBuilder, EndsARowThatRollsOffTheScreen) {
  const Decoded result = decoded(PairScript()
                                     .rollUp(2)
                                     .text("one")
                                     .at(10)
                                     .carriageReturn()
                                     .at(20)
                                     .carriageReturn()
                                     .at(90)
                                     .text("two")
                                     .at(99)
                                     .erase());
  EXPECT_EQ(framesOf(result), (Frames{{1, 20}, {90, 99}}));
}

TEST(CueBuilder, EndsRolledRowsWithTheScreen) {
  const Decoded result =
      decoded(PairScript().rollUp(2).text("one").at(10).carriageReturn().at(40).erase());
  EXPECT_EQ(framesOf(result), (Frames{{1, 40}}));
}

TEST(CueBuilder, HasTheWholeScreenOfRolledRows) {
  const Decoded result = decoded(PairScript()
                                     .rollUp(3)
                                     .text("one")
                                     .at(10)
                                     .carriageReturn()
                                     .at(20)
                                     .text("two")
                                     .at(30)
                                     .carriageReturn()
                                     .at(40)
                                     .text("three")
                                     .at(60)
                                     .erase(),
                                 RollUpCues::screen);
  EXPECT_EQ(result.texts(), (Texts{"one", "one\ntwo", "one\ntwo\nthree"}));
  EXPECT_EQ(framesOf(result), (Frames{{1, 20}, {20, 40}, {40, 60}}));
}

TEST(CueBuilder, BeginsANewScreenWhereTheBaseRowMoves) {
  const Decoded result =
      decoded(PairScript().rollUp(2).text("one").at(30).code(0x11, 0x40).at(60).erase(),
              RollUpCues::screen);
  EXPECT_EQ(framesOf(result), (Frames{{1, 30}, {30, 60}}));
  EXPECT_EQ(result.cues()[0].rows.front().row, 15);
  EXPECT_EQ(result.cues()[1].rows.front().row, 2);
}

TEST(CueBuilder, HasARowOnceThoughTheBaseRowMoves) {
  const Decoded result =
      decoded(PairScript().rollUp(2).text("one").at(30).code(0x11, 0x40).text("!").at(60).erase());
  EXPECT_EQ(result.texts(), Texts{"!ne"});
  EXPECT_EQ(framesOf(result), (Frames{{1, 60}}));
}

TEST(CueBuilder, EndsRollUpWithAPopOnCaption) {
  const Decoded result = decoded(
      PairScript().rollUp(2).text("one").popOn().code(0x11, 0x40).text("page").at(40).show());
  EXPECT_EQ(result.texts(), (Texts{"one", "page"}));
  EXPECT_EQ(result.cues()[0].end, kPairTime * 40);
}

TEST(CueBuilder, HasAPaintOnCaptionFromItsFirstCharacterWithAllItsText) {
  const Decoded result =
      decoded(PairScript().paintOn().row15().text("a long caption").at(60).erase());
  EXPECT_EQ(result.texts(), Texts{"a long caption"});
  EXPECT_EQ(framesOf(result), (Frames{{2, 60}}));
}

TEST(CueBuilder, BeginsAPaintOnCueWithItsCommand) {
  const Decoded result = decoded(PairScript()
                                     .paintOn()
                                     .code(0x11, 0x40)
                                     .text("one")
                                     .at(20)
                                     .paintOn()
                                     .row15()
                                     .text("two")
                                     .at(60)
                                     .erase());
  EXPECT_EQ(result.texts(), (Texts{"one", "one\ntwo"}));
  EXPECT_EQ(framesOf(result), (Frames{{2, 22}, {22, 60}}));
}

TEST(CueBuilder, BeginsAPaintOnCueAfterARest) {
  const Decoded result = decoded(PairScript()
                                     .paintOn()
                                     .row15()
                                     .text("ab")
                                     .at(20)
                                     .text("cd")
                                     .at(80)
                                     .text("ef")
                                     .at(120)
                                     .erase());
  EXPECT_EQ(result.texts(), (Texts{"abcd", "abcdef"}));
  EXPECT_EQ(framesOf(result), (Frames{{2, 80}, {80, 120}}));
}

TEST(CueBuilder, HasPaintedTextThatIsDeletedLater) {
  const Decoded result = decoded(
      PairScript().paintOn().row15().text("gone").at(60).row15().code(0x14, 0x24).at(90).erase());
  EXPECT_EQ(result.texts(), Texts{"gone"});
  EXPECT_EQ(framesOf(result), (Frames{{2, 61}}));
}

TEST(CueBuilder, LeavesOutWhatIsShownForNoTime) {
  const Time now = kPairTime;
  CueBuilder builder;
  Decoder608 decoder(builder);
  for (const BytePair pair :
       {BytePair{0x94, 0x20}, BytePair{0xC1, 0x80}, BytePair{0x94, 0x2F}, BytePair{0x94, 0x2C}}) {
    decoder.decode(Field::one, pair, now);
  }
  decoder.finish(now * 9);
  EXPECT_TRUE(builder.cues(Channel::cc1).empty());
}

TEST(CueBuilder, LeavesOutBlankScreens) {
  EXPECT_TRUE(decoded(PairScript().popOn().row15().text("  ").show()).cues().empty());
  EXPECT_TRUE(decoded(PairScript().popOn().show()).cues().empty());
}

TEST(CueBuilder, HandsOutTheChannelsThatHaveCues) {
  CueBuilder builder;
  Decoder608 decoder(builder);
  decoder.decode(Field::one, PairScript().code(0x1C, 0x29).text("a").pairs());
  decoder.decode(Field::two, PairScript().code(0x1D, 0x29).text("b").pairs());
  decoder.finish(kPairTime * 9);
  const auto channels = builder.takeCues();
  ASSERT_EQ(channels.size(), 2u);
  EXPECT_EQ(channels[0].channel, Channel::cc2);
  EXPECT_EQ(channels[1].channel, Channel::cc4);
  EXPECT_TRUE(builder.takeCues().empty());
}

TEST(CueBuilder, StopsAtMoreTextThanAnyFilmHas) {
  PairScript page;
  page.popOn();
  for (const unsigned first : {0x11u, 0x12u, 0x13u, 0x14u, 0x15u, 0x16u, 0x17u}) {
    for (const unsigned second : {0x40u, 0x60u})
      page.code(first, second).text(std::string(32, 'x'));
  }
  CueBuilder builder;
  Decoder608 decoder(builder);
  decoder.decode(Field::one, page.pairs());
  std::int64_t frame = page.frame();
  // The page is shown in every other frame, with padding between, which keeps the codes apart.
  std::size_t pages = 0;
  while (!builder.isFull() && pages < 100'000) {
    for (const BytePair pair : {BytePair{0x94, 0x2F}, kPadding, BytePair{0x94, 0x2F}, kPadding}) {
      decoder.decode(Field::one, pair, kPairTime * frame++);
    }
    ++pages;
  }
  EXPECT_TRUE(builder.isFull());
  EXPECT_EQ(builder.cues(Channel::cc1).size(), CueBuilder::kMostText / (14 * 32));
}

}  // namespace
}  // namespace quarrypack::captions
