#include "check/extended_data_rules.h"

#include <gtest/gtest.h>

#include "tests/unit/check/checked_script.h"

namespace quarrypack::check {
namespace {

using test::Checked;
using test::checked;
using test::Field;
using test::PairScript;

Checked inField2(const PairScript& script) { return checked(script, Field::two); }

// The name of a program, "AB": 01 + 03 + 41 + 42 + 0F + 6A is 100 in hexadecimal, twice 80.
PairScript name() { return PairScript().code(0x01, 0x03).text("AB"); }

TEST(ExtendedDataRules, ReportThatThereIsExtendedData) {
  const Checked film = inField2(PairScript().at(7).code(0x01, 0x03).text("AB").code(0x0F, 0x6A));
  EXPECT_EQ(film.count(kExtendedData), 3u);
  EXPECT_EQ(film.frame(kExtendedData), 7);
  EXPECT_EQ(film.count(kExtendedDataChecksum), 0u);
  EXPECT_EQ(film.count(kExtendedDataIncomplete), 0u);
  EXPECT_EQ(inField2(PairScript().code(0x15, 0x20).text("AB")).count(kExtendedData), 0u);
}

TEST(ExtendedDataRules, CheckTheSumOfAPacket) {
  EXPECT_EQ(inField2(name().code(0x0F, 0x6A)).count(kExtendedDataChecksum), 0u);
  EXPECT_EQ(inField2(name().code(0x0F, 0x69)).count(kExtendedDataChecksum), 1u);
  EXPECT_EQ(inField2(name().code(0x0F, 0x6B)).count(kExtendedDataChecksum), 1u);
  EXPECT_EQ(inField2(name().code(0x0F, 0x6B)).frame(kExtendedDataChecksum), 0);
}

TEST(ExtendedDataRules, CountAnOddCharacterWithoutItsFiller) {
  // 01 + 03 + 41 + 00 + 0F + 2C is 80 in hexadecimal.
  EXPECT_EQ(inField2(PairScript().code(0x01, 0x03).text("A").code(0x0F, 0x2C)).ids(),
            inField2(name().code(0x0F, 0x6A)).ids());
}

TEST(ExtendedDataRules, FollowAPacketThroughCaptionsAndPadding) {
  const Checked film = inField2(PairScript()
                                    .code(0x01, 0x03)
                                    .text("A")
                                    .code(0x15, 0x2C)
                                    .text("captions")
                                    .code(0x02, 0x03)
                                    .padding(2)
                                    .text("B")
                                    .code(0x0F, 0x6A));
  EXPECT_EQ(film.count(kExtendedDataChecksum), 0u);
  EXPECT_EQ(film.count(kExtendedDataIncomplete), 0u);
}

TEST(ExtendedDataRules, FollowPacketsThatInterruptEachOther) {
  const Checked film = inField2(
      name().code(0x05, 0x01).text("AB").code(0x0F, 0x68).code(0x02, 0x03).code(0x0F, 0x6A));
  EXPECT_EQ(film.count(kExtendedDataChecksum), 0u);
  EXPECT_EQ(film.count(kExtendedDataIncomplete), 0u);
}

TEST(ExtendedDataRules, FindPacketsWithoutAnEnd) {
  const Checked open = inField2(PairScript().at(5).code(0x01, 0x03).text("AB"));
  EXPECT_EQ(open.count(kExtendedDataIncomplete), 1u);
  EXPECT_EQ(open.frame(kExtendedDataIncomplete), 5);
  const Checked again = inField2(name().code(0x01, 0x03).text("AB").code(0x0F, 0x6A));
  EXPECT_EQ(again.count(kExtendedDataIncomplete), 1u);
  EXPECT_EQ(again.frame(kExtendedDataIncomplete), 0);
}

TEST(ExtendedDataRules, FindPacketsWithoutABeginning) {
  EXPECT_EQ(inField2(PairScript().code(0x02, 0x03).text("AB")).count(kExtendedDataIncomplete), 1u);
  EXPECT_EQ(inField2(PairScript().code(0x0F, 0x6A)).count(kExtendedDataIncomplete), 1u);
  // What resumes another class or another type resumes nothing.
  EXPECT_EQ(inField2(name().code(0x04, 0x03)).count(kExtendedDataIncomplete), 2u);
  EXPECT_EQ(inField2(name().code(0x02, 0x01)).count(kExtendedDataIncomplete), 2u);
}

}  // namespace
}  // namespace quarrypack::check
