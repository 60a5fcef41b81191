#include "companions/captions/caption_documents.h"

#include <gtest/gtest.h>

#include <chrono>

#include "captions/formats/scc.h"

namespace quarrypack::companions {
namespace {

using captions::Channel;
using captions::Field;
using sources::CaptionPairs;

// A pop-on page "AA" of each channel that is named.
CaptionPairs pages(std::initializer_list<Channel> channels) {
  CaptionPairs pairs;
  pairs.source = "track";
  pairs.end = std::chrono::seconds(10);
  for (const Channel channel : channels) {
    const bool second = channel == Channel::cc2 || channel == Channel::cc4;
    const Field field = captions::fieldOf(channel);
    const unsigned command = (field == Field::one ? 0x14u : 0x15u) | (second ? 8u : 0u);
    const unsigned row = 0x14u | (second ? 8u : 0u);
    for (const auto& [first, code] : {std::pair{command, 0x20u}, std::pair{row, 0x70u},
                                      std::pair{0x41u, 0x41u}, std::pair{command, 0x2Fu}}) {
      captions::FieldPairs& all = pairs.of(field);
      all.push_back({captions::kPairTime * static_cast<std::int64_t>(all.size()),
                     {captions::withOddParity(static_cast<std::uint8_t>(first)),
                      captions::withOddParity(static_cast<std::uint8_t>(code))}});
    }
  }
  return pairs;
}

CaptionOptions options(const char* format) {
  CaptionOptions result;
  result.input = "film.mp4";
  result.format = captions::findFormat(format);
  return result;
}

TEST(CaptionDocuments, AreOfTheFirstChannelThatHasCaptions) {
  const CaptionDocuments made = makeDocuments(pages({Channel::cc2, Channel::cc3}), options("srt"));
  ASSERT_EQ(made.documents.size(), 1u);
  EXPECT_FALSE(made.documents[0].channel.has_value());
  const captions::CaptionDocument& document = made.documents[0].document;
  ASSERT_EQ(document.channels.size(), 1u);
  EXPECT_EQ(document.channels[0].channel, Channel::cc2);
  EXPECT_EQ(document.file, "film.mp4");
  EXPECT_EQ(document.source, "track");
}

TEST(CaptionDocuments, AreOfTheChannelThatIsWanted) {
  CaptionOptions wanted = options("srt");
  wanted.channel = Channel::cc3;
  const CaptionDocuments made = makeDocuments(pages({Channel::cc2, Channel::cc3}), wanted);
  ASSERT_EQ(made.documents.size(), 1u);
  EXPECT_EQ(made.documents[0].document.channels[0].channel, Channel::cc3);
  wanted.channel = Channel::cc1;
  EXPECT_TRUE(makeDocuments(pages({Channel::cc2}), wanted).documents.empty());
}

TEST(CaptionDocuments, AreOneForEachChannelWhenAllAreWanted) {
  CaptionOptions all = options("vtt");
  all.allChannels = true;
  const CaptionDocuments made = makeDocuments(pages({Channel::cc1, Channel::cc4}), all);
  ASSERT_EQ(made.documents.size(), 2u);
  EXPECT_EQ(made.documents[0].channel, Channel::cc1);
  EXPECT_EQ(made.documents[1].channel, Channel::cc4);
}

TEST(CaptionDocuments, HoldAllChannelsWhereTheFormatDoes) {
  CaptionOptions all = options("json");
  all.allChannels = true;
  const CaptionDocuments made = makeDocuments(pages({Channel::cc1, Channel::cc4}), all);
  ASSERT_EQ(made.documents.size(), 1u);
  EXPECT_FALSE(made.documents[0].channel.has_value());
  EXPECT_EQ(made.documents[0].document.channels.size(), 2u);
}

TEST(CaptionDocuments, HaveThePairsOfTheFieldOfTheChannel) {
  const CaptionPairs pairs = pages({Channel::cc1, Channel::cc3});
  CaptionOptions wanted = options("scc");
  EXPECT_EQ(makeDocuments(pairs, wanted).documents.at(0).document.pairs, pairs.fields[0]);
  wanted.channel = Channel::cc3;
  EXPECT_EQ(makeDocuments(pairs, wanted).documents.at(0).document.pairs, pairs.fields[1]);
}

TEST(CaptionDocuments, OfPairsAreOneForEachField) {
  CaptionOptions all = options("scc");
  all.allChannels = true;
  const CaptionDocuments made =
      makeDocuments(pages({Channel::cc1, Channel::cc2, Channel::cc4}), all);
  ASSERT_EQ(made.documents.size(), 2u);
  EXPECT_EQ(made.documents[0].channel, Channel::cc1);
  EXPECT_EQ(made.documents[0].document.pairs.size(), 8u);
  EXPECT_EQ(made.documents[1].channel, Channel::cc4);
  EXPECT_EQ(made.documents[1].document.pairs.size(), 4u);
}

TEST(CaptionDocuments, ReportWhatTheDecoderFound) {
  CaptionPairs pairs = pages({Channel::cc1});
  pairs.of(Field::one)[2].bytes = {0x41, 0x41};  // even parity
  pairs.of(Field::two).push_back({captions::Time{0}, {0x01, 0x02}});
  const CaptionDocuments made = makeDocuments(pairs, options("srt"));
  ASSERT_EQ(made.findings.size(), 2u);
  EXPECT_EQ(made.findings[0], "2 bytes lack odd parity and are shown as solid blocks");
  EXPECT_EQ(made.findings[1], "field 2 carries extended data (XDS), which is skipped");
}

// Pairs of field 1, a frame apart.
CaptionPairs pairsOf(std::initializer_list<captions::BytePair> list) {
  CaptionPairs pairs;
  pairs.end = std::chrono::seconds(10);
  for (const captions::BytePair pair : list) {
    captions::FieldPairs& all = pairs.of(Field::one);
    all.push_back({captions::kPairTime * static_cast<std::int64_t>(all.size()),
                   {captions::withOddParity(pair.first), captions::withOddParity(pair.second)}});
  }
  return pairs;
}

TEST(CaptionDocuments, TellWhatTheDecoderPassedOver) {
  const auto findings = [](const CaptionPairs& pairs) {
    return makeDocuments(pairs, options("srt")).findings;
  };
  using Texts = std::vector<std::string>;
  EXPECT_EQ(findings(pages({Channel::cc1})), Texts());
  EXPECT_EQ(findings(pairsOf({{0x10, 0x60}})), Texts{"1 code is unknown and does nothing"});
  EXPECT_EQ(findings(pairsOf({{0x10, 0x60}, {0x17, 0x3F}})),
            Texts{"2 codes are unknown and do nothing"});
  EXPECT_EQ(findings(pairsOf({{0x15, 0x20}})),
            Texts{"1 command belongs to the other field and does nothing"});
  EXPECT_EQ(findings(pairsOf({{0x15, 0x20}, {0x15, 0x2F}})),
            Texts{"2 commands belong to the other field and do nothing"});
  EXPECT_EQ(findings(pairsOf({{0x14, 0x2A}, {0x41, 0x42}})),
            Texts{"there is text for the text service, which is skipped"});
}

TEST(CaptionDocuments, TellOfOneByteWithoutParity) {
  CaptionPairs pairs = pages({Channel::cc1});
  pairs.of(Field::one)[2].bytes.first = 0x41;
  EXPECT_EQ(makeDocuments(pairs, options("srt")).findings,
            std::vector<std::string>{"1 byte lacks odd parity and is shown as a solid block"});
}

// Two full screens that take turns: each turn is a cue in two pairs.
TEST(CaptionDocuments, AreRefusedWithMoreTextThanAnyFilmHas) {
  CaptionPairs pairs;
  captions::FieldPairs& all = pairs.of(Field::one);
  const auto add = [&all](unsigned first, unsigned second) {
    all.push_back({captions::kPairTime * static_cast<std::int64_t>(all.size()),
                   {captions::withOddParity(static_cast<std::uint8_t>(first)),
                    captions::withOddParity(static_cast<std::uint8_t>(second))}});
  };
  for (int screen = 0; screen < 2; ++screen) {
    add(0x14, 0x20);
    for (const unsigned rows : {0x11u, 0x12u, 0x15u, 0x16u, 0x17u, 0x13u, 0x14u}) {
      for (const unsigned row : {0x50u, 0x70u}) {
        add(rows, row);
        for (int i = 0; i < captions::kColumns / 2; ++i) add(0x41, 0x42);
      }
    }
    add(0x14, 0x2F);
  }
  for (int turn = 0; turn < 9'000; ++turn) {
    add(0x14, 0x20);
    add(0x14, 0x2F);
  }
  pairs.end = captions::kPairTime * static_cast<std::int64_t>(all.size());
  EXPECT_THROW(makeDocuments(pairs, options("srt")), sources::SourceError);
  all.resize(all.size() / 2);
  EXPECT_EQ(makeDocuments(pairs, options("srt")).documents.size(), 1u);
}

TEST(CaptionDocuments, AreNoneWithoutCaptions) {
  EXPECT_TRUE(makeDocuments(pages({}), options("json")).documents.empty());
}

}  // namespace
}  // namespace quarrypack::companions
