#include "captions/formats/scc.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/unit/captions/pair_script.h"

namespace quarrypack::captions {
namespace {

using test::PairScript;
using Kind = SccFindingKind;

const std::string kHeader = "Scenarist_SCC V1.0\r\n\r\n";

std::string written(const FieldPairs& pairs) {
  std::ostringstream out;
  writeScc(pairs, out);
  return out.str();
}

// Kinds of the findings, by the lines of the first.
std::vector<Kind> kinds(const SccFile& file) {
  std::vector<Kind> result;
  for (const SccFinding& finding : file.findings) result.push_back(finding.kind);
  return result;
}

// The places of the pairs in frames of 1001/30000 s.
std::vector<std::int64_t> frames(const SccFile& file) {
  std::vector<std::int64_t> result;
  for (const TimedPair& pair : file.pairs) result.push_back(pair.time / kPairTime);
  return result;
}

using Frames = std::vector<std::int64_t>;
using Kinds = std::vector<Kind>;

// ---- Writing

TEST(SccWriter, WritesAFrameToAWord) {
  EXPECT_EQ(written(PairScript().at(1800).twice(0x14, 0x20).text("Hi!").pairs()),
            "Scenarist_SCC V1.0\r\n\r\n00:01:00;02\t9420 9420 c8e9 a180\r\n");
}

TEST(SccWriter, WritesItsNameForNoPairs) { EXPECT_EQ(written({}), "Scenarist_SCC V1.0\r\n"); }

TEST(SccWriter, KeepsBytesAsTheyAre) {
  EXPECT_EQ(written(PairScript().raw(0x14, 0xA0).pairs()), kHeader + "00:00:00;00\t14a0\r\n");
}

TEST(SccWriter, BeginsALineAfterATimeWithoutPairs) {
  EXPECT_EQ(
      written(PairScript().text("ab").at(2).text("cd").text("ef").at(60).text("gh").pairs()),
      kHeader + "00:00:00;00\t6162\r\n\r\n00:00:00;02\te364 e5e6\r\n\r\n00:00:02;00\t6768\r\n");
}

TEST(SccWriter, KeepsPaddingInsideALine) {
  EXPECT_EQ(written(PairScript().padding(3).text("ab").padding(2).text("cd").padding(2).pairs()),
            kHeader + "00:00:00;03\t6162 8080 8080 e364\r\n");
}

TEST(SccWriter, EndsALineWithASecondOfPadding) {
  EXPECT_EQ(
      written(PairScript().text("ab").padding(29).text("cd").padding(30).text("ef").pairs()),
      kHeader + "00:00:00;00\t6162" +
          [] {
            std::string words;
            for (int i = 0; i < 29; ++i) words += " 8080";
            return words;
          }() +
          " e364\r\n\r\n00:00:02;01\te5e6\r\n");
}

TEST(SccWriter, PutsPairsOfSlowPicturesIntoOneLine) {
  // 23.976 pictures a second carry a pair each, and every fourth carries two.
  FieldPairs pairs;
  for (int picture = 0; picture < 12; ++picture) {
    for (int i = 0; i < (picture % 4 == 3 ? 2 : 1); ++i) {
      pairs.push_back({timeOfUnits(picture * 1001, 24000), {0x94, 0x2C}});
    }
  }
  std::string expected = kHeader + "00:00:00;00\t942c";
  for (int i = 1; i < 15; ++i) expected += " 942c";
  EXPECT_EQ(written(pairs), expected + "\r\n");
}

TEST(SccWriter, SpreadsPairsThatCrowdAFrame) {
  FieldPairs pairs(5, {kPairTime * 10, {0x94, 0x2C}});
  pairs.push_back({kPairTime * 12, {0x94, 0x2F}});
  pairs.push_back({kPairTime * 40, {0x94, 0x20}});
  EXPECT_EQ(written(pairs),
            kHeader + "00:00:00;10\t942c 942c 942c 942c 942c 942f\r\n\r\n00:00:01;10\t9420\r\n");
}

TEST(SccWriter, BeginsNoEarlierThanZero) {
  EXPECT_EQ(written({{-kPairTime * 5, {0x94, 0x20}}, {-kPairTime * 4, {0x94, 0x2C}}}),
            kHeader + "00:00:00;00\t9420 942c\r\n");
}

// ---- Reading

TEST(SccReader, ReadsAFrameFromAWord) {
  const SccFile file = readScc(kHeader + "00:01:00;02\t9420 9420 c8e9 a180\r\n");
  EXPECT_EQ(file.pairs, PairScript().at(1800).twice(0x14, 0x20).text("Hi!").pairs());
  EXPECT_EQ(file.field, Field::one);
  EXPECT_TRUE(file.findings.empty());
  EXPECT_TRUE(file.isDecodable());
}

TEST(SccReader, ReadsWhatTheWriterWrites) {
  const FieldPairs pairs = PairScript()
                               .at(7)
                               .twice(0x14, 0x20)
                               .twice(0x14, 0x70)
                               .text("Hello ")
                               .twice(0x11, 0x37)
                               .padding(2)
                               .twice(0x14, 0x2F)
                               .at(200)
                               .twice(0x14, 0x2C)
                               .at(18'000)
                               .twice(0x14, 0x2C)
                               .pairs();
  EXPECT_EQ(readScc(written(pairs)).pairs, pairs);
}

TEST(SccReader, AcceptsOtherLineEnds) {
  const SccFile unix = readScc("Scenarist_SCC V1.0\n\n00:00:00;00\t9420 9420\n");
  EXPECT_EQ(unix.findings, (std::vector<SccFinding>{{Kind::lineFeed, 1, 3}}));
  EXPECT_EQ(unix.pairs.size(), 2u);
  EXPECT_EQ(readScc("Scenarist_SCC V1.0\r\r00:00:00;00\t9420 9420").pairs, unix.pairs);
}

TEST(SccReader, AcceptsAByteOrderMark) {
  const SccFile file = readScc("\xEF\xBB\xBF" + kHeader + "00:00:00;00\t9420 9420\r\n");
  EXPECT_EQ(kinds(file), Kinds{Kind::byteOrderMark});
  EXPECT_EQ(file.pairs.size(), 2u);
}

TEST(SccReader, AcceptsCapitalsAndSpacesForTheTab) {
  const SccFile file = readScc(kHeader + "00:00:00;00  94AE 94ae  E9E9 \t\r\n");
  EXPECT_EQ(file.findings,
            (std::vector<SccFinding>{{Kind::spacesForTab, 3, 1}, {Kind::capitals, 3, 2}}));
  EXPECT_EQ(file.pairs.size(), 3u);
}

TEST(SccReader, AcceptsATextWithoutHeader) {
  const SccFile file = readScc("00:00:00;00\t9420 9420\r\n");
  EXPECT_EQ(kinds(file), Kinds{Kind::noHeader});
  EXPECT_EQ(file.pairs.size(), 2u);
}

TEST(SccReader, SetsMissingParity) {
  const SccFile file = readScc(kHeader + "00:00:00;00\t1420 1420 4141\r\n");
  EXPECT_EQ(file.pairs, PairScript().twice(0x14, 0x20).text("AA").pairs());
  EXPECT_EQ(file.findings, (std::vector<SccFinding>{{Kind::noParity, 3, 4}}));
}

TEST(SccReader, AcceptsSingleCodes) {
  const SccFile file = readScc(kHeader + "00:00:00;00\t9420 9470 9470 6162 942f\r\n");
  EXPECT_EQ(file.findings, (std::vector<SccFinding>{{Kind::singleCode, 3, 2}}));
  EXPECT_EQ(file.pairs.size(), 5u);
}

TEST(SccReader, CountsOnFromFramesThatDoNotExist) {
  const SccFile file = readScc(kHeader + "00:00:01:45\t6162\r\n\r\n00:01:00:00\t6162\r\n");
  EXPECT_EQ(frames(file), (Frames{75, 1800}));
  EXPECT_EQ(kinds(file), Kinds{Kind::fieldTooLarge});
}

TEST(SccReader, AcceptsDropFrameCodesThatAreLeftOut) {
  const SccFile file = readScc(kHeader + "00:00:59;29\t6162\r\n\r\n00:01:00;00\t6162\r\n");
  EXPECT_EQ(frames(file), (Frames{1799, 1800}));
  EXPECT_EQ(kinds(file), Kinds{Kind::leftOutFrame});
}

TEST(SccReader, AcceptsBothKindsOfTimeCodes) {
  const SccFile file = readScc(kHeader + "00:02:00;02\t6162\r\n\r\n00:02:00:00\t6162\r\n");
  EXPECT_EQ(frames(file), (Frames{3598, 3600}));
  EXPECT_EQ(kinds(file), Kinds{Kind::mixedTimeCodes});
}

TEST(SccReader, GoesOnAfterALineThatIsTooLong) {
  const SccFile file = readScc(kHeader +
                               "00:00:00;00\t6162 6162 6162\r\n\r\n00:00:00;02\t6162\r\n\r\n"
                               "00:00:00;05\t6162\r\n");
  EXPECT_EQ(frames(file), (Frames{0, 1, 2, 3, 5}));
  EXPECT_EQ(file.findings, (std::vector<SccFinding>{{Kind::overrun, 5, 1}}));
}

TEST(SccReader, GoesOnAfterALineThatRunsBackwards) {
  const SccFile file = readScc(kHeader +
                               "00:00:02;00\t6162\r\n\r\n00:00:01;00\t6162 6162\r\n\r\n"
                               "00:00:03;00\t6162\r\n");
  EXPECT_EQ(frames(file), (Frames{60, 61, 62, 90}));
  EXPECT_EQ(file.findings, (std::vector<SccFinding>{{Kind::runsBackwards, 5, 1}}));
}

TEST(SccReader, SendsNothingForABadWord) {
  const SccFile file = readScc(kHeader + "00:00:00;00\t6162 942x 61 \xC3\xA6 94209420 6162\r\n");
  EXPECT_EQ(frames(file), (Frames{0, 5}));
  EXPECT_EQ(file.findings, (std::vector<SccFinding>{{Kind::badWord, 3, 4}}));
}

TEST(SccReader, GoesOnInALineWithoutTime) {
  const SccFile file = readScc(kHeader + "00:00:01;00\t6162\r\n\t6162 6162\r\n6162\r\n");
  EXPECT_EQ(frames(file), (Frames{30, 31, 32, 33}));
  EXPECT_EQ(file.findings, (std::vector<SccFinding>{{Kind::noTimeCode, 4, 2}}));
  EXPECT_EQ(frames(readScc(kHeader + "6162\r\n")), Frames{0});
}

TEST(SccReader, GoesOnInALineWithABrokenTime) {
  const SccFile file = readScc(kHeader + "00:00:01;00\t6162\r\n00:x0:05;00\t6162\r\n");
  EXPECT_EQ(frames(file), (Frames{30, 31}));
  EXPECT_EQ(kinds(file), Kinds{Kind::badTimeCode});
}

TEST(SccReader, ReportsTheFieldByItsCommands) {
  EXPECT_EQ(readScc(kHeader + "00:00:00;00\t1520 1520 15ae 15ae\r\n").field, Field::two);
  EXPECT_EQ(readScc(kHeader + "00:00:00;00\t9d20 9d20\r\n").field, Field::two);
  // A preamble of rows 5 and 6 begins with the same byte.
  const SccFile file = readScc(kHeader + "00:00:00;00\t15d0 15d0 9420 9420\r\n");
  EXPECT_EQ(file.field, Field::one);
  EXPECT_TRUE(file.findings.empty());
  EXPECT_EQ(kinds(readScc(kHeader + "00:00:00;00\t9420 9420 1520 1520\r\n")),
            Kinds{Kind::mixedFields});
}

TEST(SccReader, KeepsEqualCodesOfTwoLinesApart) {
  const SccFile apart = readScc(kHeader + "00:00:00;00\t942c\r\n\r\n00:00:00;02\t942c\r\n");
  EXPECT_EQ(apart.pairs, PairScript().erase().padding().erase().pairs());
  const SccFile copy = readScc(kHeader + "00:00:00;00\t942c\r\n\r\n00:00:00;01\t942c\r\n");
  EXPECT_EQ(copy.pairs, PairScript().erase().erase().pairs());
}

TEST(SccReader, CountsAtOtherRates) {
  SccOptions options;
  options.rate = findFrameRate("25");
  const SccFile file = readScc(kHeader + "00:00:02:10\t6162 6162\r\n", options);
  ASSERT_EQ(file.pairs.size(), 2u);
  EXPECT_EQ(file.pairs[0].time, timeOfUnits(60, 25));
  EXPECT_EQ(file.pairs[1].time, timeOfUnits(60, 25) + kPairTime);
  EXPECT_EQ(kinds(readScc(kHeader + "00:00:02;10\t6162\r\n", options)), Kinds{Kind::noDropFrame});
}

TEST(SccReader, DoesNotTakeRoundingForAnOverrun) {
  SccOptions options;
  options.rate = findFrameRate("30");
  const SccFile file =
      readScc(kHeader + "00:00:00:00\t6162 6162\r\n\r\n00:00:00:02\t6162\r\n", options);
  EXPECT_TRUE(file.findings.empty());
  EXPECT_EQ(file.pairs.back().time, timeOfUnits(2, 30));
}

TEST(SccReader, TakesOffAnOffset) {
  SccOptions options;
  options.offset = parseSccOffset("00:59:59;28").value();
  const std::string text = kHeader + "00:59:59;27\t6162\r\n\r\n01:00:00;00\t6162\r\n";
  const SccFile file = readScc(text, options);
  EXPECT_EQ(frames(file), (Frames{-1, 2}));
  EXPECT_EQ(kinds(file), Kinds{Kind::beforeStart});
}

TEST(SccReader, TakesOffTheHoursOfTheFirstCode) {
  SccOptions options;
  options.offset = parseSccOffset("auto").value();
  EXPECT_EQ(frames(readScc(kHeader + "01:00:00;05\t6162\r\n\r\n02:00:00;00\t6162\r\n", options)),
            (Frames{5, 107'892}));
}

TEST(SccReader, RefusesWhatIsNoOffset) {
  EXPECT_EQ(parseSccOffset("Auto").has_value(), false);
  EXPECT_EQ(parseSccOffset("").has_value(), false);
}

TEST(SccReader, FindsNothingDecodable) {
  EXPECT_FALSE(readScc("").isDecodable());
  EXPECT_FALSE(readScc(kHeader).isDecodable());
  EXPECT_FALSE(readScc("no captions\nat all\n").isDecodable());
  EXPECT_FALSE(readScc(kHeader + "00:00:00;00\t8080 8080\r\n").isDecodable());
}

TEST(SccReader, CountsFindingsOfAKind) {
  std::string text = kHeader;
  for (int i = 0; i < 1000; ++i) text += "xyz\r\n";
  const SccFile file = readScc(text);
  EXPECT_EQ(file.findings,
            (std::vector<SccFinding>{{Kind::badWord, 3, 1000}, {Kind::noTimeCode, 3, 1000}}));
}

TEST(SccFinding, IsASentence) {
  EXPECT_EQ(
      describe({Kind::badWord, 7, 4}),
      "line 7: a word is not four hexadecimal digits; nothing is sent in its frame (and 3 more)");
  EXPECT_EQ(describe({Kind::byteOrderMark, 1, 1}),
            "line 1: the text begins with a byte order mark, which is ignored");
}

TEST(SccEnd, LeavesTimeToReadTheLastCaption) {
  EXPECT_EQ(sccEnd({}), std::chrono::seconds(4));
  EXPECT_EQ(sccEnd({{kPairTime, kPadding}}), kPairTime + std::chrono::seconds(4));
}

TEST(SccFinding, EqualsAnotherInKindLineAndCount) {
  const SccFinding finding{SccFindingKind::noParity, 3, 2};
  EXPECT_EQ(finding, (SccFinding{SccFindingKind::noParity, 3, 2}));
  EXPECT_NE(finding, (SccFinding{SccFindingKind::overrun, 3, 2}));
  EXPECT_NE(finding, (SccFinding{SccFindingKind::noParity, 4, 2}));
  EXPECT_NE(finding, (SccFinding{SccFindingKind::noParity, 3, 1}));
}

}  // namespace
}  // namespace quarrypack::captions
