#include "src/avcc.h"

#include "tests/support/expect_code.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace quarrypack {
namespace {

using Bytes = std::vector<std::uint8_t>;

// A record of 19 bytes in its box, with 5 bytes of a sample description before it.
Bytes description() {
  return {0xD1, 0xD2, 0xD3, 0xD4, 0xD5,                  //
          0x00, 0x00, 0x00, 0x1B, 'a',  'v',  'c', 'C',  //
          0x01, 0x42, 0xC0, 0x1E, 0xFD,                  // two length bytes
          0xE2, 0x00, 0x03, 0x67, 0x01, 0x02,            //
          0x00, 0x01, 0x68,                              //
          0x01, 0x00, 0x02, 0x69, 0x6A};
}

TEST(ParseAvcDecoderConfig, ReadsEveryField) {
  const auto config = parseAvcDecoderConfig(description());
  ASSERT_TRUE(config.has_value());
  EXPECT_EQ(config->profile, 0x42);
  EXPECT_EQ(config->profileCompatibility, 0xC0);
  EXPECT_EQ(config->level, 0x1E);
  EXPECT_EQ(config->nalLengthSize, 2);
  EXPECT_EQ(config->sequenceParameterSets, (std::vector<Bytes>{{0x67, 0x01, 0x02}, {0x68}}));
  EXPECT_EQ(config->pictureParameterSets, (std::vector<Bytes>{{0x69, 0x6A}}));
}

TEST(ParseAvcDecoderConfig, TakesLengthSizesFrom1To4) {
  for (std::uint8_t size = 1; size <= 4; ++size) {
    Bytes bytes = description();
    bytes[17] = static_cast<std::uint8_t>(0xFC | (size - 1));
    EXPECT_EQ(parseAvcDecoderConfig(bytes)->nalLengthSize, size);
  }
}

TEST(ParseAvcDecoderConfig, FindsTheBoxAfterOthers) {
  Bytes bytes{0, 0, 0, 10, 'p', 'a', 's', 'p', 0, 0};
  const Bytes own = description();
  bytes.insert(bytes.end(), own.begin(), own.end());
  bytes.push_back(0xEE);
  EXPECT_EQ(parseAvcDecoderConfig(bytes)->profile, 0x42);
}

TEST(ParseAvcDecoderConfig, FindsNothingWithoutABox) {
  EXPECT_FALSE(parseAvcDecoderConfig({}).has_value());
  EXPECT_FALSE(parseAvcDecoderConfig(Bytes(100)).has_value());
  EXPECT_FALSE(parseAvcDecoderConfig(Bytes{'a', 'v', 'c', 'C'}).has_value());
}

TEST(ParseAvcDecoderConfig, IgnoresACodeWithoutRoomForASize) {
  EXPECT_FALSE(parseAvcDecoderConfig(Bytes{0, 0, 9, 'a', 'v', 'c', 'C', 1, 2, 3, 4, 5, 6, 7}));
}

TEST(ParseAvcDecoderConfig, IgnoresACodeAtTheVeryEnd) {
  EXPECT_FALSE(parseAvcDecoderConfig(Bytes{0, 0, 0, 8, 'a', 'v', 'c', 'C'}).has_value());
}

TEST(ParseAvcDecoderConfig, RefusesABoxThatRunsPastTheEnd) {
  Bytes bytes = description();
  bytes[8] = 0x1C;
  EXPECT_CODE(avcConfigurationOverrun, parseAvcDecoderConfig(bytes));
  bytes[5] = 0xFF;
  EXPECT_CODE(avcConfigurationOverrun, parseAvcDecoderConfig(bytes));
}

TEST(ParseAvcDecoderConfig, RefusesARecordThatRunsPastTheEnd) {
  const Bytes full = description();
  for (std::size_t size = 14; size < full.size(); ++size) {
    Bytes bytes(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(size));
    bytes[8] = 8;
    EXPECT_CODE(avcConfigurationOverrun, parseAvcDecoderConfig(bytes)) << size;
  }
}

TEST(ParseAvcDecoderConfig, RefusesAParameterSetThatRunsPastTheEnd) {
  Bytes bytes = description();
  bytes[19] = 0xFF;
  EXPECT_CODE(avcConfigurationOverrun, parseAvcDecoderConfig(bytes));
  bytes = description();
  bytes[29] = 3;
  EXPECT_CODE(avcConfigurationOverrun, parseAvcDecoderConfig(bytes));
}

}  // namespace
}  // namespace quarrypack
