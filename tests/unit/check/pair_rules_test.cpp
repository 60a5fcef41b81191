#include "check/pair_rules.h"

#include <gtest/gtest.h>

#include "tests/unit/check/checked_script.h"

namespace quarrypack::check {
namespace {

using captions::FieldPairs;
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

TEST(PairRules, FindNothingInAFaultlessFilm) {
  EXPECT_EQ(checked(faultless()).ids(), Ids{});
  EXPECT_EQ(checked(faultless().padding(9)).ids(), Ids{});
}

TEST(PairRules, CountBytesWithoutOddParity) {
  for (const Field field : {Field::one, Field::two}) {
    const Checked film = checked(faultless().at(80).raw(0x41, 0xC1).raw(0x41, 0x42), field);
    EXPECT_EQ(film.count(kParityError), 3u);
    EXPECT_EQ(film.frame(kParityError), 80);
    EXPECT_EQ(film.detail(kParityError), field == Field::one ? "field 1" : "field 2");
    EXPECT_EQ(film.count(kParityMissing), 0u);
  }
}

TEST(PairRules, DistinguishMissingParityFromDamagedBytes) {
  const PairScript script = faultless();
  PairScript bare;
  for (const TimedPair& pair : script.pairs()) {
    bare.raw(pair.bytes.first & 0x7Fu, pair.bytes.second & 0x7Fu);
  }
  const Checked film = checked(bare);
  EXPECT_EQ(film.frame(kParityMissing), 0);
  EXPECT_EQ(film.count(kParityError), 0u);
  // A single byte with its bit is enough.
  EXPECT_EQ(checked(bare.raw(0x80, 0x41)).count(kParityMissing), 0u);
}

TEST(PairRules, CheckTheParityOfEachFieldAlone) {
  sources::CaptionPairs pairs = filmOf(faultless(), Field::one, 200);
  pairs.of(Field::two) = PairScript().raw(0x14, 0x20).raw(0x41, 0x41).pairs();
  const Checked film(pairs, {});
  EXPECT_EQ(film.count(kParityError), 0u);
  EXPECT_EQ(film.count(kParityMissing), 3u);
  EXPECT_EQ(film.detail(kParityMissing), "field 2");
}

TEST(PairRules, CountPaddingWithoutParity) {
  const Checked film = checked(faultless().at(70).padding().raw(0, 0).raw(0, 0));
  EXPECT_EQ(film.ids(), Ids{kPaddingWithoutParity.id});
  EXPECT_EQ(film.count(kPaddingWithoutParity), 2u);
  EXPECT_EQ(film.frame(kPaddingWithoutParity), 71);
}

TEST(PairRules, FindCodesThatFillTwoPairs) {
  for (const Field field : {Field::one, Field::two}) {
    const Checked film =
        checked(faultless().at(70).code(0x00, 0x14).code(0x2C, 0x14).code(0x2C, 0x00), field);
    EXPECT_EQ(film.count(kSplitControlCode), 2u);
    EXPECT_EQ(film.frame(kSplitControlCode), 70);
  }
}

TEST(PairRules, TakeNoOtherByteForASplitCode) {
  // 0F and 20 are no first bytes of codes; a byte without parity is damaged.
  const Checked film =
      checked(faultless().at(70).code(0x41, 0x0F).code(0x41, 0x20).raw(0xC1, 0x14));
  EXPECT_EQ(film.count(kSplitControlCode), 0u);
}

TEST(PairRules, DoNotTakeTheTypeOfExtendedDataForASplitCode) {
  const Checked film =
      checked(PairScript().code(0x05, 0x10).text("A").code(0x0F, 0x1B), Field::two);
  EXPECT_EQ(film.count(kSplitControlCode), 0u);
}

TEST(PairRules, FindCodesOfField1ThatAreSentOnce) {
  const Checked film = checked(faultless().at(80).code(0x14, 0x2C).at(90).code(0x14, 0x2E));
  EXPECT_EQ(film.ids(), Ids{kSingleControlCode.id});
  EXPECT_EQ(film.count(kSingleControlCode), 2u);
  EXPECT_EQ(film.frame(kSingleControlCode), 80);
  EXPECT_EQ(film.detail(kSingleControlCode), "field 1");
}

TEST(PairRules, FindCodesWhoseCopyComesTooLate) {
  EXPECT_EQ(
      checked(PairScript().code(0x14, 0x2C).padding().code(0x14, 0x2C)).count(kSingleControlCode),
      2u);
  EXPECT_EQ(checked(PairScript().code(0x14, 0x2C).at(3).code(0x14, 0x2C)).count(kSingleControlCode),
            0u);
  EXPECT_EQ(checked(PairScript().code(0x14, 0x2C).at(4).code(0x14, 0x2C)).count(kSingleControlCode),
            2u);
}

TEST(PairRules, FindTheThirdCopyOfACode) {
  PairScript script;
  EXPECT_EQ(checked(script.twice(0x14, 0x2C).code(0x14, 0x2C)).count(kSingleControlCode), 1u);
  EXPECT_EQ(checked(script.code(0x14, 0x2C)).count(kSingleControlCode), 0u);
}

TEST(PairRules, CountADamagedCopyAsACopy) {
  for (const unsigned first : {0x14u, 0x94u}) {
    for (const unsigned second : {0x2Cu, 0xACu}) {
      EXPECT_EQ(checked(PairScript().code(0x14, 0x2C).raw(first, second)).count(kSingleControlCode),
                0u);
      EXPECT_EQ(checked(PairScript().raw(first, second).code(0x14, 0x2C)).count(kSingleControlCode),
                0u);
    }
  }
}

TEST(PairRules, AllowSingleCodesInField2AndReportDoubledOnes) {
  const PairScript single = PairScript().code(0x15, 0x2C).at(9).code(0x15, 0x2C);
  EXPECT_EQ(checked(single, Field::two).ids(), Ids{kNoCaptions.id});
  const Checked doubled = checked(PairScript().twice(0x15, 0x2C), Field::two);
  EXPECT_EQ(doubled.count(kDoubledControlCode), 1u);
  EXPECT_EQ(doubled.frame(kDoubledControlCode), 1);
  EXPECT_EQ(checked(PairScript().twice(0x14, 0x2C)).count(kDoubledControlCode), 0u);
}

TEST(PairRules, FindCodesOfTheOtherField) {
  const Checked first = checked(faultless().at(70).twice(0x15, 0x2C));
  EXPECT_EQ(first.ids(), Ids{kWrongFieldCode.id});
  EXPECT_EQ(first.count(kWrongFieldCode), 1u);
  EXPECT_EQ(first.detail(kWrongFieldCode), "field 1");
  const Checked second = checked(faultless(), Field::two);
  EXPECT_EQ(second.count(kWrongFieldCode), 3u);
  EXPECT_EQ(second.detail(kWrongFieldCode), "field 2");
  EXPECT_EQ(checked(PairScript().code(0x15, 0x2C), Field::two).count(kWrongFieldCode), 0u);
}

TEST(PairRules, FindExtendedDataInField1) {
  const Checked film = checked(faultless().at(70).code(0x01, 0x03).code(0x0F, 0x6D));
  EXPECT_EQ(film.ids(), Ids{kWrongFieldCode.id});
  EXPECT_EQ(film.count(kWrongFieldCode), 2u);
  EXPECT_EQ(film.detail(kWrongFieldCode), "extended data in field 1");
}

TEST(PairRules, FindUnknownCodes) {
  for (const Field field : {Field::one, Field::two}) {
    const Checked film = checked(PairScript().code(0x10, 0x60).code(0x14, 0x10), field);
    EXPECT_EQ(film.count(kUnknownCode), 2u);
    EXPECT_EQ(film.frame(kUnknownCode), 0);
  }
  EXPECT_EQ(checked(PairScript().code(0x10, 0x40).code(0x17, 0x24)).count(kUnknownCode), 0u);
}

// ---- More than one pair in a frame

constexpr Time kSecond = std::chrono::seconds(1);

// This number of pairs in each of ten consecutive pictures.
Checked pictures(Time duration, int pairsInEach, bool isDurationKnown = true) {
  sources::CaptionPairs pairs{"pictures", {}, duration * 100, {}};
  for (int picture = 0; picture < 10; ++picture) {
    for (int i = 0; i < pairsInEach; ++i) {
      pairs.of(Field::one).push_back({duration * picture, {0x20, 0x20}});
    }
  }
  const Time known = isDurationKnown ? duration : Time{0};
  return {pairs, {Stretch{Time{0}, duration * 100}, known}};
}

TEST(PairRules, AllowAPairInEachPicture) {
  for (const int rate : {12, 15, 24, 25, 30}) {
    EXPECT_EQ(pictures(kSecond / rate, 1).count(kTooManyPairs), 0u) << rate;
    EXPECT_EQ(pictures(kSecond / rate, 1, false).count(kTooManyPairs), 0u) << rate;
  }
  EXPECT_EQ(pictures(kPairTime, 1).count(kTooManyPairs), 0u);
}

TEST(PairRules, AllowAsManyPairsAsAPictureLasts) {
  EXPECT_EQ(pictures(kSecond / 15, 2).count(kTooManyPairs), 0u);
  EXPECT_EQ(pictures(kSecond / 10, 3).count(kTooManyPairs), 0u);
  EXPECT_GT(pictures(kSecond / 15, 3).count(kTooManyPairs), 0u);
}

TEST(PairRules, CountThePairsThatHaveNoFrame) {
  EXPECT_EQ(pictures(kPairTime, 2).count(kTooManyPairs), 10u);
  EXPECT_EQ(pictures(kPairTime, 2).frame(kTooManyPairs), 0);
  EXPECT_EQ(pictures(kPairTime, 20).count(kTooManyPairs), 190u);
}

TEST(PairRules, AllowASecondPairInEveryFourthPictureOfFilm) {
  sources::CaptionPairs pairs{"pictures", {}, kSecond * 9, {}};
  FieldPairs& field = pairs.of(Field::two);
  for (int picture = 0; picture < 200; ++picture) {
    const Time time = kSecond * picture / 24;
    field.push_back({time, {0x20, 0x20}});
    if (picture % 4 == 3) field.push_back({time, {0x20, 0x20}});
  }
  const PictureFacts film{Stretch{Time{0}, kSecond * 9}, kSecond / 24};
  EXPECT_EQ(Checked(pairs, film).count(kTooManyPairs), 0u);
  field.insert(field.begin(), {Time{0}, {0x20, 0x20}});
  field.insert(field.begin(), {Time{0}, {0x20, 0x20}});
  EXPECT_EQ(Checked(pairs, film).count(kTooManyPairs), 1u);
}

TEST(PairRules, CountNoPaddingAmongThePairsOfAFrame) {
  sources::CaptionPairs pairs{"pictures", {}, kSecond, {}};
  for (int i = 0; i < 9; ++i) pairs.of(Field::one).push_back({Time{0}, captions::kPadding});
  pairs.of(Field::one).push_back({Time{0}, {0x20, 0x20}});
  EXPECT_EQ(Checked(pairs, {}).count(kTooManyPairs), 0u);
}

TEST(PairRules, CheckPairsThatShareAPicture) {
  sources::CaptionPairs pairs =
      filmOf(PairScript().code(0x14, 0x20).raw(0x41, 0x41).code(0x15, 0x2F).code(0x10, 0x60),
             Field::one, 9);
  for (TimedPair& pair : pairs.of(Field::one)) pair.time = Time{0};
  const Checked film(pairs, {});
  EXPECT_EQ(film.count(kTooManyPairs), 3u);
  EXPECT_EQ(film.count(kParityError), 2u);
  EXPECT_EQ(film.count(kWrongFieldCode), 1u);
  EXPECT_EQ(film.count(kUnknownCode), 1u);
  EXPECT_EQ(film.count(kSingleControlCode), 1u);
}

// ---- Before and after the pictures

Checked between(std::int64_t firstFrame, std::int64_t endFrame, const PairScript& script) {
  return {filmOf(script, Field::one, 500),
          {Stretch{kPairTime * firstFrame, kPairTime * endFrame}, kPairTime}};
}

TEST(PairRules, FindPairsBeforeTheFirstPicture) {
  const PairScript script = PairScript().at(10).text("abcd");
  EXPECT_EQ(between(10, 99, script).count(kPairBeforeFirstPicture), 0u);
  EXPECT_EQ(between(11, 99, script).count(kPairBeforeFirstPicture), 1u);
  EXPECT_EQ(between(12, 99, script).count(kPairBeforeFirstPicture), 2u);
  EXPECT_EQ(between(12, 99, script).frame(kPairBeforeFirstPicture), 10);
}

TEST(PairRules, FindPairsAfterTheLastPicture) {
  const PairScript script = PairScript().at(10).text("abcd").padding(5);
  EXPECT_EQ(between(0, 12, script).count(kPairAfterLastPicture), 0u);
  EXPECT_EQ(between(0, 11, script).count(kPairAfterLastPicture), 1u);
  EXPECT_EQ(between(0, 11, script).frame(kPairAfterLastPicture), 11);
}

TEST(PairRules, AcceptPairsAtAnyTimeOfACaptionFile) {
  const Checked film(filmOf(PairScript().at(400).text("ab"), Field::one, 300), {});
  EXPECT_EQ(film.ids(), Ids{kNoCaptions.id});
}

TEST(PairRules, ReportTheTextService) {
  const Checked film = checked(faultless().at(70).twice(0x14, 0x2A).text("page"));
  EXPECT_EQ(film.ids(), Ids{kTextService.id});
  EXPECT_EQ(film.frame(kTextService), 72);
}

}  // namespace
}  // namespace quarrypack::check
