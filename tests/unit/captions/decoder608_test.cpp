#include "captions/decoder608.h"

#include <gtest/gtest.h>

#include "tests/unit/captions/pair_script.h"

// How the decoder handles pairs: parity, copies, fields, channels. channel608_test covers the
// effects of codes on a screen.
namespace quarrypack::captions {
namespace {

using test::Decoded;
using test::decoded;
using test::pageText;
using test::PairScript;

TEST(Decoder608, ReadsAPopOnCaption) {
  const Decoded result = decoded(PairScript()
                                     .twice(0x14, 0x20)
                                     .twice(0x14, 0x70)
                                     .text("Hello")
                                     .twice(0x14, 0x2F)
                                     .at(40)
                                     .erase());
  ASSERT_EQ(result.cues().size(), 1u);
  const Cue& cue = result.cues().front();
  EXPECT_EQ(textOf(cue), "Hello");
  EXPECT_EQ(cue.start, kPairTime * 7);
  EXPECT_EQ(cue.end, kPairTime * 40);
  EXPECT_EQ(cue.mode, CaptionMode::popOn);
}

TEST(Decoder608, ActsOnceOnADoubledCode) {
  EXPECT_EQ(pageText(PairScript().twice(0x11, 0x37).twice(0x12, 0x21)), "É");
  EXPECT_EQ(pageText(PairScript().code(0x11, 0x37).code(0x11, 0x37)), "♪");
}

TEST(Decoder608, ActsTwiceOnFourCopies) {
  const Decoded result =
      decoded(PairScript().popOn().row15().twice(0x11, 0x37).twice(0x11, 0x37).show());
  EXPECT_EQ(result.texts(), std::vector<std::string>{"♪♪"});
  EXPECT_EQ(result.report.repeatedCodes, 2u);
}

TEST(Decoder608, ForgetsACodeAfterCharactersOrPadding) {
  EXPECT_EQ(pageText(PairScript().code(0x11, 0x37).text("a").code(0x11, 0x37)), "♪a♪");
  EXPECT_EQ(pageText(PairScript().code(0x11, 0x37).padding().code(0x11, 0x37)), "♪♪");
  EXPECT_EQ(pageText(PairScript().code(0x11, 0x37).raw(0, 0).code(0x11, 0x37)), "♪♪");
}

TEST(Decoder608, TakesALateCopyForACodeOfItsOwn) {
  EXPECT_EQ(
      decoded(PairScript().popOn().row15().code(0x11, 0x37).at(5).code(0x11, 0x37).at(9).show())
          .texts(),
      std::vector<std::string>{"♪"});
  EXPECT_EQ(
      decoded(PairScript().popOn().row15().code(0x11, 0x37).at(7).code(0x11, 0x37).at(9).show())
          .texts(),
      std::vector<std::string>{"♪♪"});
}

TEST(Decoder608, RemembersCodesForEachFieldAlone) {
  CueBuilder builder;
  Decoder608 decoder(builder);
  const auto both = [&](std::uint8_t first, std::uint8_t other, std::uint8_t second) {
    decoder.decode(Field::one, {withOddParity(first), withOddParity(second)}, kPairTime);
    decoder.decode(Field::two, {withOddParity(other), withOddParity(second)}, kPairTime);
  };
  both(0x14, 0x15, 0x20);
  both(0x11, 0x11, 0x37);
  both(0x11, 0x11, 0x37);
  both(0x14, 0x15, 0x2F);
  decoder.finish(kPairTime * 9);
  ASSERT_EQ(builder.cues(Channel::cc1).size(), 1u);
  EXPECT_EQ(textOf(builder.cues(Channel::cc1).front()), "♪");
  ASSERT_EQ(builder.cues(Channel::cc3).size(), 1u);
  EXPECT_EQ(textOf(builder.cues(Channel::cc3).front()), "♪");
}

TEST(Decoder608, ShowsABlockForAByteWithoutOddParity) {
  EXPECT_EQ(pageText(PairScript().raw(0x41, 0xC1)), "█A");  // 41 has even parity
  EXPECT_EQ(pageText(PairScript().raw(0xC1, 0x41)), "A█");
  EXPECT_EQ(pageText(PairScript().raw(0x00, 0xC1)), "█A");
}

TEST(Decoder608, CountsBytesWithoutOddParity) {
  const Decoded result = decoded(PairScript().popOn().row15().raw(0x41, 0x41).raw(0, 0).padding(2));
  EXPECT_EQ(result.report.parityErrors, 2u);
  EXPECT_EQ(result.report.padding, 2u);
  EXPECT_EQ(result.report.paddingWithoutParity, 1u);
  EXPECT_EQ(result.report.pairs, 6u);
}

TEST(Decoder608, IgnoresACodeWhoseSecondByteIsDamagedAndTakesItsCopy) {
  const Decoded result =
      decoded(PairScript().popOn().row15().text("ab").raw(0x94, 0xAF).code(0x14, 0x2F));
  EXPECT_EQ(result.texts(), std::vector<std::string>{"ab"});
  EXPECT_EQ(result.report.parityErrors, 1u);
}

TEST(Decoder608, IgnoresACharacterWithoutItsNeighbour) {
  EXPECT_EQ(pageText(PairScript().raw(0x80, 0xC1).raw(0xC2, 0x80).raw(0x43, 0x0D)), "ABC");
}

TEST(Decoder608, ShowsNothingBeforeACodeNamesAChannelAndAMode) {
  EXPECT_TRUE(decoded(PairScript().text("lost").row15().text("too").show()).cues().empty());
}

TEST(Decoder608, SeparatesTheChannelsOfAField) {
  const Decoded result = decoded(PairScript()
                                     .popOn()
                                     .row15()
                                     .text("one")
                                     .code(0x1C, 0x20)
                                     .code(0x1C, 0x70)
                                     .text("two")
                                     .row15()
                                     .code(0x17, 0x23)
                                     .text("!")
                                     .code(0x1C, 0x2F)
                                     .show());
  ASSERT_EQ(result.channels.size(), 2u);
  EXPECT_EQ(result.channels[0].channel, Channel::cc1);
  EXPECT_EQ(textOf(result.channels[0].cues.front()), "one!");
  EXPECT_EQ(result.channels[1].channel, Channel::cc2);
  EXPECT_EQ(textOf(result.channels[1].cues.front()), "two");
}

TEST(Decoder608, ReadsField2WithItsOwnCommands) {
  const Decoded result = decoded(PairScript()
                                     .code(0x15, 0x20)
                                     .row15()
                                     .text("three")
                                     .code(0x15, 0x2F)
                                     .code(0x1D, 0x20)
                                     .code(0x1C, 0x70)
                                     .text("four")
                                     .code(0x1D, 0x2F),
                                 RollUpCues::once, Field::two);
  ASSERT_EQ(result.channels.size(), 2u);
  EXPECT_EQ(result.channels[0].channel, Channel::cc3);
  EXPECT_EQ(result.channels[1].channel, Channel::cc4);
  EXPECT_EQ(textOf(result.channels[1].cues.front()), "four");
}

TEST(Decoder608, CountsCommandsOfTheOtherFieldAndIgnoresThem) {
  const Decoded result = decoded(PairScript().code(0x15, 0x20).row15().text("x").code(0x15, 0x2F));
  EXPECT_TRUE(result.cues().empty());
  EXPECT_EQ(result.report.wrongFieldCommands, 2u);
}

TEST(Decoder608, CountsUnknownCodes) {
  const Decoded result = decoded(PairScript()
                                     .code(0x10, 0x60)
                                     .code(0x16, 0x20)
                                     .code(0x14, 0x10)
                                     .code(0x01, 0x41)
                                     .code(0x17, 0x24));
  EXPECT_EQ(result.report.unknownCodes, 4u);
}

TEST(Decoder608, PassesOverExtendedDataInField2) {
  const Decoded result = decoded(PairScript()
                                     .code(0x15, 0x20)
                                     .row15()
                                     .text("be")
                                     .code(0x05, 0x01)
                                     .text("NAME")  // begins a packet
                                     .code(0x15, 0x20)
                                     .text("fore")  // captions interrupt it
                                     .code(0x06, 0x01)
                                     .text("XX")
                                     .code(0x0F, 0x1D)  // to its end
                                     .text("!")
                                     .code(0x15, 0x2F),
                                 RollUpCues::once, Field::two);
  EXPECT_EQ(result.texts(), std::vector<std::string>{"before!"});
  EXPECT_TRUE(result.report.hasExtendedData());
  EXPECT_EQ(result.report.extendedDataPairs, 6u);
}

TEST(Decoder608, PassesOverTheTextService) {
  const Decoded result = decoded(PairScript()
                                     .popOn()
                                     .row15()
                                     .text("ab")
                                     .code(0x14, 0x2A)
                                     .text("page")
                                     .carriageReturn()
                                     .code(0x14, 0x2B)
                                     .row15()
                                     .code(0x11, 0x2E)
                                     .code(0x11, 0x37)
                                     .text("more")
                                     .popOn()
                                     .text("cd")
                                     .show());
  EXPECT_EQ(result.texts(), std::vector<std::string>{"abcd"});
  EXPECT_EQ(result.report.textPairs, 4u);
}

TEST(Decoder608, ErasesCaptionsThatAreShownBesideText) {
  const Decoded result = decoded(
      PairScript().popOn().row15().text("ab").show().code(0x14, 0x2A).text("page").at(30).erase());
  ASSERT_EQ(result.cues().size(), 1u);
  EXPECT_EQ(result.cues().front().end, kPairTime * 30);
}

TEST(Decoder608, NeverGoesBackInTime) {
  const Decoded result = decoded(
      PairScript().at(10).popOn().row15().text("ab").at(5).show().at(2).erase().at(0).show());
  EXPECT_TRUE(result.cues().empty());
}

TEST(Decoder608, EndsWhatIsNeverErasedAtTheEnd) {
  const Decoded result = decoded(PairScript().popOn().row15().text("ab").show());
  ASSERT_EQ(result.cues().size(), 1u);
  EXPECT_EQ(result.cues().front().end, kPairTime * 103);
}

struct PairLog final : PairListener {
  std::vector<DecodedPair> pairs;

  void pairDecoded(const DecodedPair& pair) override { pairs.push_back(pair); }
};

std::vector<DecodedPair> log(const PairScript& script, Field field = Field::one) {
  CueBuilder builder;
  PairLog log;
  Decoder608(builder, &log).decode(field, script.pairs());
  return log.pairs;
}

std::vector<PairKind> kinds(const PairScript& script, Field field = Field::one) {
  std::vector<PairKind> result;
  for (const DecodedPair& pair : log(script, field)) result.push_back(pair.kind);
  return result;
}

TEST(Decoder608, ReportsTheKindOfEachPair) {
  using enum PairKind;
  EXPECT_EQ(kinds(PairScript().text("a").popOn().popOn().text("a").padding().raw(0, 0)),
            (std::vector{characters, controlCode, repeatedCode, characters, padding, padding}));
  EXPECT_EQ(kinds(PairScript().raw(0x94, 0xA0).code(0x15, 0x20).code(0x10, 0x60)),
            (std::vector{damagedCode, wrongFieldCommand, unknownCode}));
  EXPECT_EQ(kinds(PairScript().code(0x14, 0x2A).text("page").popOn().text("a")),
            (std::vector{controlCode, textService, textService, controlCode, characters}));
}

TEST(Decoder608, DistinguishesExtendedDataByField) {
  using enum PairKind;
  const PairScript script = PairScript().code(0x01, 0x03).text("AB").code(0x0F, 0x1D).text("a");
  EXPECT_EQ(kinds(script, Field::two),
            (std::vector{extendedData, extendedData, extendedData, characters}));
  EXPECT_EQ(kinds(script),
            (std::vector{extendedDataInField1, characters, extendedDataInField1, characters}));
}

TEST(Decoder608, ReportsPairsAtTheTimesOfTheirEffect) {
  const auto pairs = log(PairScript().at(9).raw(0x94, 0x20).at(5).raw(0x41, 0xC1), Field::two);
  ASSERT_EQ(pairs.size(), 2u);
  EXPECT_EQ(pairs[1].time, kPairTime * 9);
  EXPECT_EQ(pairs[1].bytes, (BytePair{0x41, 0xC1}));
  EXPECT_EQ(pairs[1].field, Field::two);
}

}  // namespace
}  // namespace quarrypack::captions
