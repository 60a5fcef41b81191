#include "captions/sei.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/support/bytes.h"

namespace quarrypack::captions {
namespace {

using test::Bytes;
using test::concat;
using test::hex;

constexpr CcTriplet kLoad{true, CcType::field1, 0x94, 0x20};
constexpr CcTriplet kClear{true, CcType::field1, 0x94, 0xAE};
constexpr CcTriplet kRollUp{true, CcType::field2, 0x15, 0x25};

Bytes built(const CaptionUnitForm& form, const std::vector<CcTriplet>& triplets) {
  Bytes unit;
  buildCaptionUnit(unit, form, triplets);
  return unit;
}

TEST(BuildCaptionUnit, WritesAUnitOfH264) {
  EXPECT_EQ(built({}, {kLoad, kClear}),
            hex("00000015 06 0411 b50031 47413934 03 c2ff fc9420 fc94ae ff 80"));
  EXPECT_EQ(built({}, {}), hex("0000000f 06 040b b50031 47413934 03 c0ff ff 80"));
}

TEST(BuildCaptionUnit, WritesAUnitOfHevcInTheSubLayerOfThePicture) {
  EXPECT_EQ(built({.rules = &kHevcRules}, {kRollUp}),
            hex("00000013 4e01 040e b50031 47413934 03 c1ff fd1525 ff 80"));
  EXPECT_EQ(built({.rules = &kHevcRules, .temporalId = 2}, {kRollUp}),
            hex("00000013 4e03 040e b50031 47413934 03 c1ff fd1525 ff 80"));
}

TEST(BuildCaptionUnit, WritesLengthsOfEverySize) {
  const Bytes whole = built({}, {kLoad});
  for (std::uint8_t size = 1; size <= 4; ++size) {
    EXPECT_EQ(built({.nalLengthSize = size}, {kLoad}),
              Bytes(whole.begin() + 4 - size, whole.end()));
  }
}

TEST(BuildCaptionUnit, StatesAnotherCountThanItWrites) {
  Bytes unit;
  buildCaptionUnit(unit, {}, std::vector<CcTriplet>{kLoad, kRollUp}, 1);
  EXPECT_EQ(unit, hex("00000015 06 0411 b50031 47413934 03 c1ff fc9420 fd1525 ff 80"));
}

TEST(BuildCaptionUnit, ReplacesWhatTheBufferHeld) {
  Bytes unit(500, 0x11);
  const std::uint8_t* memory = unit.data();
  buildCaptionUnit(unit, {}, std::vector<CcTriplet>{kLoad});
  EXPECT_EQ(unit, built({}, {kLoad}));
  EXPECT_EQ(unit.data(), memory);
}

// The unit made step by step: head and data, escapes, size, trailing bits, length.
Bytes builtInSteps(const std::vector<CcTriplet>& triplets) {
  Bytes unit = hex("0604 b50031 47413934 03");
  appendCcData(unit, triplets, triplets.size());
  applyEmulationPrevention(unit);
  appendSeiPayloadSize(unit, 2);
  unit.push_back(0x80);
  prependNalLength(unit, 4);
  return unit;
}

TEST(BuildCaptionUnit, NeedsNoEscapesWhateverThePairsAre) {
  std::mt19937 random(1);
  const auto byte = [&] { return static_cast<std::uint8_t>(random() % 4); };
  for (int round = 0; round < 1000; ++round) {
    std::vector<CcTriplet> triplets(random() % (kMostTriplets + 1));
    for (CcTriplet& triplet : triplets) {
      triplet = {random() % 2 == 0, CcType(random() % 4), byte(), byte()};
    }
    const Bytes unit = built({}, triplets);
    ASSERT_EQ(unit, builtInSteps(triplets)) << round;
    Bytes escaped(unit.begin() + 4, unit.end());
    escapeNalUnit(escaped);
    ASSERT_EQ(escaped, Bytes(unit.begin() + 4, unit.end())) << round;
  }
}

TEST(AppendSeiPayloadSize, WritesOneByteUpTo255AndSeveralBeyond) {
  const std::vector<std::pair<std::size_t, const char*>> cases{
      {0, "00"},       {1, "01"},       {17, "11"},        {83, "53"},
      {254, "fe"},     {255, "ff"},     {256, "ff01"},     {509, "fffe"},
      {510, "ffff00"}, {511, "ffff01"}, {765, "ffffff00"}, {1020, "ffffffff00"},
  };
  for (const auto& [count, size] : cases) {
    Bytes bytes = concat({hex("0604"), Bytes(count, 0x78)});
    EXPECT_EQ(appendSeiPayloadSize(bytes, 2), hex(size).size());
    EXPECT_EQ(bytes, concat({hex("0604"), hex(size), Bytes(count, 0x78)})) << count;
  }
}

const char kCaptionMessage[] = "040e b50031 47413934 03 c1ff fc9420 ff";

TEST(ParseSeiUnit, ReadsBackWhatWasBuilt) {
  for (const NalRules* rules : {&kH264Rules, &kHevcRules}) {
    const Bytes built4 = built({.rules = rules}, {kLoad, kRollUp});
    const SeiUnit sei = parseSeiUnit(std::span(built4).subspan(4), *rules);
    EXPECT_TRUE(sei.whole);
    ASSERT_EQ(sei.messages.size(), 1u);
    EXPECT_EQ(sei.messages[0].payloadType, 4u);
    EXPECT_EQ(sei.messages[0].payloadSize, 17u);
    const auto data = captionData(sei, sei.messages[0]);
    ASSERT_TRUE(data.has_value());
    EXPECT_TRUE(data->process);
    EXPECT_EQ(data->triplets, (std::vector<CcTriplet>{kLoad, kRollUp}));
    EXPECT_TRUE(holdsOnlyCaptions(sei));
  }
}

TEST(ParseSeiUnit, ReportsWhereEachMessageLies) {
  const Bytes unit = concat({hex("06 0101aa"), hex(kCaptionMessage), hex("0502bbcc 80")});
  const SeiUnit sei = parseSeiUnit(unit, kH264Rules);
  EXPECT_TRUE(sei.whole);
  EXPECT_EQ(sei.content, unit);
  ASSERT_EQ(sei.messages.size(), 3u);
  EXPECT_EQ(sei.messages[0].offset, 1u);
  EXPECT_EQ(sei.messages[0].payloadOffset, 3u);
  EXPECT_EQ(sei.messages[0].end(), 4u);
  EXPECT_EQ(sei.messages[1].offset, 4u);
  EXPECT_EQ(sei.messages[1].end(), 20u);
  EXPECT_EQ(sei.messages[2].payloadType, 5u);
  const auto payload = sei.payload(sei.messages[2]);
  EXPECT_EQ(Bytes(payload.begin(), payload.end()), hex("bbcc"));
}

TEST(ParseSeiUnit, RemovesEscapes) {
  const SeiUnit sei = parseSeiUnit(hex("06 0504 00000300aa 80"), kH264Rules);
  EXPECT_TRUE(sei.whole);
  const auto payload = sei.payload(sei.messages.at(0));
  EXPECT_EQ(Bytes(payload.begin(), payload.end()), hex("000000aa"));
}

TEST(ParseSeiUnit, AddsUpTypesAndSizesOfSeveralBytes) {
  const Bytes payload(255, 0x22);
  const Bytes unit = concat({hex("06 ffff03 ff00"), payload, hex("80")});
  const SeiUnit sei = parseSeiUnit(unit, kH264Rules);
  EXPECT_TRUE(sei.whole);
  ASSERT_EQ(sei.messages.size(), 1u);
  EXPECT_EQ(sei.messages[0].payloadType, 513u);
  EXPECT_EQ(sei.messages[0].payloadSize, 255u);
  EXPECT_EQ(sei.messages[0].payloadOffset, 6u);
}

TEST(ParseSeiUnit, AcceptsZerosAfterTheTrailingBits) {
  EXPECT_TRUE(parseSeiUnit(hex("06 0101aa 80 00000000"), kH264Rules).whole);
}

TEST(ParseSeiUnit, DistinguishesTrailingBitsFromPayloadThatLooksLikeThem) {
  // A payload that ends with 80, and a message of type 128 without a payload.
  const SeiUnit sei = parseSeiUnit(hex("06 05020080 8000 80"), kH264Rules);
  EXPECT_TRUE(sei.whole);
  ASSERT_EQ(sei.messages.size(), 2u);
  EXPECT_EQ(sei.messages[1].payloadType, 128u);
  EXPECT_EQ(sei.messages[1].payloadSize, 0u);
}

TEST(ParseSeiUnit, GoesWithoutTrailingBits) {
  const SeiUnit sei = parseSeiUnit(hex("06 0101aa"), kH264Rules);
  EXPECT_TRUE(sei.whole);
  EXPECT_EQ(sei.messages.size(), 1u);
}

TEST(ParseSeiUnit, KeepsTheMessagesBeforeABrokenOne) {
  for (const char* rest : {"05", "ff", "0504bb", "05ff", "05ffffffff", "ffffffff", "05ff80"}) {
    const SeiUnit sei = parseSeiUnit(concat({hex("06 0101aa"), hex(rest), hex("80")}), kH264Rules);
    EXPECT_EQ(sei.messages.size(), 1u) << rest;
    EXPECT_FALSE(sei.whole) << rest;
  }
}

TEST(ParseSeiUnit, FindsNothingInAUnitWithoutMessages) {
  EXPECT_TRUE(parseSeiUnit(hex("06 80"), kH264Rules).whole);
  EXPECT_TRUE(parseSeiUnit(hex("4e01 80"), kHevcRules).whole);
  EXPECT_TRUE(parseSeiUnit(hex("06"), kH264Rules).messages.empty());
  EXPECT_FALSE(parseSeiUnit({}, kH264Rules).whole);
  EXPECT_FALSE(parseSeiUnit(hex("4e"), kHevcRules).whole);
}

TEST(ParseSeiUnit, SurvivesCopies) {
  const SeiUnit copy =
      parseSeiUnit(concat({hex("06"), hex(kCaptionMessage), hex("80")}), kH264Rules);
  const SeiUnit again = copy;
  EXPECT_TRUE(captionData(again, again.messages[0]).has_value());
}

TEST(FirstPayloadType, NeedsOnlyTheBeginning) {
  EXPECT_EQ(firstPayloadType(hex("0605"), kH264Rules), 5u);
  EXPECT_EQ(firstPayloadType(hex("06ff01"), kH264Rules), 256u);
  EXPECT_EQ(firstPayloadType(hex("4e0181"), kHevcRules), 129u);
  EXPECT_EQ(firstPayloadType(hex("06"), kH264Rules), std::nullopt);
  EXPECT_EQ(firstPayloadType(hex("06ff"), kH264Rules), std::nullopt);
  EXPECT_EQ(firstPayloadType(hex("4e"), kHevcRules), std::nullopt);
}

TEST(CaptionData, IsFoundInMessagesOfCaptionsOnly) {
  const char* others[] = {
      "050e b50031 47413934 03 c1ff fc9420 ff",  // another payload type
      "040e b60031 47413934 03 c1ff fc9420 ff",  // another country
      "040e b5002f 47413934 03 c1ff fc9420 ff",  // another provider
      "040e b50031 44544731 03 c1ff fc9420 ff",  // another identifier
      "040e b50031 47413934 06 c1ff fc9420 ff",  // bar data
      "0407 b50031 47413934",                    // breaks off before its type
      "0400",
  };
  for (const char* message : others) {
    const SeiUnit sei = parseSeiUnit(concat({hex("06"), hex(message), hex("80")}), kH264Rules);
    ASSERT_EQ(sei.messages.size(), 1u) << message;
    EXPECT_FALSE(captionData(sei, sei.messages[0])) << message;
    EXPECT_FALSE(holdsOnlyCaptions(sei)) << message;
  }
}

TEST(CaptionData, IsAsShortAsItsMessage) {
  const SeiUnit sei = parseSeiUnit(hex("06 0408 b50031 47413934 03 80"), kH264Rules);
  const auto data = captionData(sei, sei.messages.at(0));
  ASSERT_TRUE(data.has_value());
  EXPECT_FALSE(data->process);
  EXPECT_TRUE(data->triplets.empty());
}

TEST(HoldsOnlyCaptions, AsksForEveryMessageAndAWholeUnit) {
  const Bytes captions = hex(kCaptionMessage);
  const auto only = [](const Bytes& unit) {
    return holdsOnlyCaptions(parseSeiUnit(unit, kH264Rules));
  };
  EXPECT_TRUE(only(concat({hex("06"), captions, hex("80")})));
  EXPECT_TRUE(only(concat({hex("06"), captions, captions, hex("80")})));
  EXPECT_FALSE(only(concat({hex("06"), captions, hex("0101aa 80")})));
  EXPECT_FALSE(only(concat({hex("06"), captions, hex("0102aa 80")})));
  EXPECT_FALSE(only(hex("0680")));
}

TEST(WithoutCaptions, KeepsTheOtherMessagesAsTheyAre) {
  const Bytes captions = hex(kCaptionMessage);
  const auto without = [](const Bytes& unit) {
    return withoutCaptions(parseSeiUnit(unit, kH264Rules), kH264Rules);
  };
  EXPECT_EQ(without(concat({hex("06 0101aa"), captions, hex("05020000 80")})),
            hex("06 0101aa 05020000 80"));
  EXPECT_EQ(without(concat({hex("06"), captions, hex("0504000003 0102 80")})),
            hex("06 0504000003 0102 80"));
  EXPECT_EQ(without(concat({hex("06"), captions, captions, hex("80")})), Bytes());
  EXPECT_EQ(
      withoutCaptions(parseSeiUnit(concat({hex("4e01"), captions, hex("8100 80")}), kHevcRules),
                      kHevcRules),
      hex("4e01 8100 80"));
}

// Two messages that meet once the captions between them are gone: 00 00 and 01 must be escaped.
TEST(WithoutCaptions, EscapesWhatComesTogether) {
  const Bytes unit = concat({hex("06 05020000"), hex(kCaptionMessage), hex("0100 80")});
  EXPECT_EQ(withoutCaptions(parseSeiUnit(unit, kH264Rules), kH264Rules),
            hex("06 05020000 030100 80"));
}

CaptionPlace place(const char* sample, const NalRules& rules, std::uint8_t lengthSize = 1) {
  const Bytes bytes = hex(sample);
  return findCaptionPlace(bytes, bytes.size(), lengthSize, rules);
}

TEST(FindCaptionPlace, FollowsWhatOpensAnAccessUnitOfH264) {
  using enum CaptionPlace::State;
  struct Case {
    const char* sample;
    std::uint64_t offset;
  };
  for (const Case& c : {
           Case{"0265aa", 0}, Case{"0209f0 0265aa", 3},
           Case{"0209f0 0267aa 0268aa 026daa 0265aa", 12},
           Case{"0209f0 04060001aa 0265aa", 8},             // buffering period
           Case{"0209f0 04060001aa 04060101aa 0265aa", 8},  // then picture timing
           Case{"0209f0 04060101aa 0265aa", 3},
           Case{"026eaa 0265aa", 0},         // a prefix unit goes with its slice
           Case{"0209f0 0274aa 0265aa", 3},  // so does a slice of an extension
           Case{"0209f0", 3}, Case{"", 0}, Case{"00 0265aa", 0},  // an empty unit
           Case{"0209f0 0106 0265aa", 3},                         // an SEI unit without a message
       }) {
    const CaptionPlace found = place(c.sample, kH264Rules);
    EXPECT_EQ(found.state, known) << c.sample;
    EXPECT_EQ(found.offset, c.offset) << c.sample;
  }
}

TEST(FindCaptionPlace, FollowsWhatOpensAnAccessUnitOfHevc) {
  struct Case {
    const char* sample;
    std::uint64_t offset;
  };
  for (const Case& c : {
           Case{"032601aa", 0}, Case{"03460150 034001aa 034201aa 034401aa 032601aa", 16},
           Case{"03460150 054e010001aa 032601aa", 10},  // buffering period
           Case{"03460150 054e010101aa 032601aa", 10},  // picture timing
           Case{"03460150 054e018101aa 032601aa", 10},  // active parameter sets
           Case{"03460150 054e018201aa 032601aa", 10},  // decoding unit
           Case{"03460150 054e010501aa 032601aa", 4},   // user data
           Case{"03460150 05500184 01aa 032601aa", 4},  // a suffix unit
       }) {
    const CaptionPlace found = place(c.sample, kHevcRules);
    EXPECT_EQ(found.state, CaptionPlace::State::known) << c.sample;
    EXPECT_EQ(found.offset, c.offset) << c.sample;
  }
}

TEST(FindCaptionPlace, ReportsHowFarADamagedSampleCanBeWalked) {
  const CaptionPlace found = place("0209f0 09650000", kH264Rules);
  EXPECT_EQ(found.state, CaptionPlace::State::damaged);
  EXPECT_EQ(found.offset, 3u);
}

TEST(FindCaptionPlace, AsksForBytesUntilThePlaceIsCertain) {
  const Bytes sample = hex("00000002 09f0  00000005 06ff010100  00000002 65aa");
  for (std::size_t head = 0; head <= sample.size(); ++head) {
    const CaptionPlace found =
        findCaptionPlace(std::span(sample).first(head), sample.size(), 4, kH264Rules);
    // The type of the message, ff 01, is known with the 13th byte.
    const bool isKnown = head >= 13;
    EXPECT_EQ(found.state, isKnown ? CaptionPlace::State::known : CaptionPlace::State::needsBytes)
        << head;
    EXPECT_EQ(found.offset, head < 5 ? 0u : 6u) << head;
  }
}

}  // namespace
}  // namespace quarrypack::captions
