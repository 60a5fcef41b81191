#include "captions/cc_data.h"

#include <gtest/gtest.h>

#include "tests/support/bytes.h"

namespace quarrypack::captions {
namespace {

using test::Bytes;
using test::hex;

constexpr CcTriplet kLoad{true, CcType::field1, 0x94, 0x20};
constexpr CcTriplet kRollUp{true, CcType::field2, 0x15, 0x25};

Bytes appended(const std::vector<CcTriplet>& triplets, std::size_t statedCount) {
  Bytes bytes = hex("ee");
  appendCcData(bytes, triplets, statedCount);
  return bytes;
}

TEST(AppendCcData, WritesEveryKindOfTriplet) {
  EXPECT_EQ(appended({}, 0), hex("ee c0ff ff"));
  EXPECT_EQ(appended({kLoad, kRollUp}, 2), hex("ee c2ff fc9420 fd1525 ff"));
  EXPECT_EQ(appended({{true, CcType::packetData, 1, 2}, {true, CcType::packetStart, 3, 4}}, 2),
            hex("ee c2ff fe0102 ff0304 ff"));
  EXPECT_EQ(appended({{false, CcType::field1, 0x80, 0x80}}, 1), hex("ee c1ff f88080 ff"));
}

TEST(AppendCcData, StatesTheCountThatItIsGiven) {
  EXPECT_EQ(appended({kLoad, kLoad}, 1), hex("ee c1ff fc9420 fc9420 ff"));
}

TEST(AppendCcData, TakesAsManyTripletsAsCanBeCounted) {
  const Bytes bytes = appended(std::vector<CcTriplet>(kMostTriplets, kLoad), kMostTriplets);
  EXPECT_EQ(bytes.size(), 1 + ccDataSize(kMostTriplets));
  EXPECT_EQ(bytes[1], 0xDF);
}

TEST(ParseCcData, ReadsWhatWasWritten) {
  const CcData data = parseCcData(hex("c2ff fc9420 fd1525 ff"));
  EXPECT_TRUE(data.process);
  EXPECT_TRUE(data.whole());
  EXPECT_EQ(data.triplets, (std::vector<CcTriplet>{kLoad, kRollUp}));
}

TEST(ParseCcData, ReportsInvalidTripletsAndThoseOfPackets) {
  const CcData data = parseCcData(hex("c3ff f80000 fe0102 ff0304 ff"));
  ASSERT_EQ(data.triplets.size(), 3u);
  EXPECT_FALSE(data.triplets[0].valid);
  EXPECT_TRUE(data.triplets[0].is608());
  EXPECT_EQ(data.triplets[1].type, CcType::packetData);
  EXPECT_FALSE(data.triplets[1].is608());
  EXPECT_EQ(data.triplets[2].type, CcType::packetStart);
  EXPECT_EQ(data.triplets[2].pair(), (BytePair{0x03, 0x04}));
}

TEST(ParseCcData, ReadsTheProcessFlag) {
  EXPECT_FALSE(parseCcData(hex("81ff fc9420 ff")).process);
  EXPECT_TRUE(parseCcData(hex("41ff fc9420 ff")).process);
}

// An odd atom gives one triplet more than the count states; readers ignore it.
TEST(ParseCcData, IgnoresWhatFollowsTheStatedCount) {
  const CcData data = parseCcData(hex("c1ff fc9420 fd1525 ff"));
  EXPECT_EQ(data.triplets, (std::vector<CcTriplet>{kLoad}));
  EXPECT_TRUE(data.whole());
}

TEST(ParseCcData, GoesWithoutMarkerBits) {
  EXPECT_TRUE(parseCcData(hex("c1ff fc9420")).whole());
  // Other values in bits that mean nothing.
  EXPECT_EQ(parseCcData(hex("6100 049420 00")).triplets, (std::vector<CcTriplet>{kLoad}));
}

TEST(ParseCcData, TakesTheTripletsThatAreThere) {
  for (const char* broken : {"c2ff fc9420", "c2ff fc9420 fd", "dfff fc9420 fd15"}) {
    const CcData data = parseCcData(hex(broken));
    EXPECT_EQ(data.triplets, (std::vector<CcTriplet>{kLoad})) << broken;
    EXPECT_FALSE(data.whole()) << broken;
  }
  EXPECT_EQ(parseCcData(hex("c2ff fc9420")).statedCount, 2u);
}

TEST(ParseCcData, FindsNothingInTooLittle) {
  EXPECT_TRUE(parseCcData({}).triplets.empty());
  EXPECT_FALSE(parseCcData({}).process);
  EXPECT_TRUE(parseCcData(hex("df")).triplets.empty());
  EXPECT_FALSE(parseCcData(hex("df")).whole());
}

TEST(CcTypeOfField, FollowsTheField) {
  EXPECT_EQ(ccTypeOf(Field::one), CcType::field1);
  EXPECT_EQ(ccTypeOf(Field::two), CcType::field2);
}

TEST(CcTriplet, EqualsAnotherInAllThatItHolds) {
  EXPECT_EQ(kLoad, (CcTriplet{true, CcType::field1, 0x94, 0x20}));
  EXPECT_NE(kLoad, (CcTriplet{false, CcType::field1, 0x94, 0x20}));
  EXPECT_NE(kLoad, (CcTriplet{true, CcType::field2, 0x94, 0x20}));
  EXPECT_NE(kLoad, (CcTriplet{true, CcType::field1, 0x15, 0x20}));
  EXPECT_NE(kLoad, (CcTriplet{true, CcType::field1, 0x94, 0x2C}));
}

}  // namespace
}  // namespace quarrypack::captions
