#include "captions/decoder_configuration.h"

#include <gtest/gtest.h>

#include "tests/support/bytes.h"

namespace quarrypack::captions {
namespace {

using test::Bytes;
using test::hex;

// Version, profile, compatibility, level, length size 2; two sequence parameter sets, one picture
// parameter set.
const char kAvc[] = "01 42c01e fd  e2 0003 670102 0001 68  01 0002 696a";

// Version, main profile, flags, level 93, no parallelism, 4:2:0, 8 bits, 25 fps, length size 4; no
// parameter sets.
const char kHevc[] = "01 01 60000000 900000000000 5d f000 fc fd f8 f8 1900 0f 00";

Bytes firstBytes(const Bytes& bytes, std::size_t count) {
  return Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
}

TEST(ParseAvcRecord, ReadsEveryField) {
  const auto config = parseAvcDecoderConfig(hex(kAvc));
  ASSERT_TRUE(config.has_value());
  EXPECT_EQ(config->profile, 0x42);
  EXPECT_EQ(config->profileCompatibility, 0xC0);
  EXPECT_EQ(config->level, 0x1E);
  EXPECT_EQ(config->nalLengthSize, 2);
  EXPECT_EQ(config->sequenceParameterSets, (std::vector<Bytes>{hex("670102"), hex("68")}));
  EXPECT_EQ(config->pictureParameterSets, (std::vector<Bytes>{hex("696a")}));
}

TEST(ParseAvcRecord, ReturnsNothingForEveryShorterRecord) {
  const Bytes whole = hex(kAvc);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_FALSE(parseAvcDecoderConfig(firstBytes(whole, size))) << size;
  }
}

TEST(ParseAvcRecord, IgnoresWhatFollows) {
  EXPECT_TRUE(parseAvcDecoderConfig(hex("01 64001f ff e0 00 fdf8f800")).has_value());
}

TEST(ParseAvcRecord, RefusesManySetsThatAreNotThere) {
  EXPECT_FALSE(parseAvcDecoderConfig(hex("01 64001f ff ff ffff 67")));
  EXPECT_FALSE(parseAvcDecoderConfig(hex("01 64001f ff e0 ff 0000 0000")));
}

TEST(ParseHevcRecord, ReadsItsFixedPart) {
  const auto config = parseHevcDecoderConfig(hex(kHevc));
  ASSERT_TRUE(config.has_value());
  EXPECT_EQ(config->profile, 1);
  EXPECT_EQ(config->level, 93);
  EXPECT_EQ(config->nalLengthSize, 4);
}

TEST(ParseHevcRecord, TakesLengthSizesFrom1To4) {
  for (std::uint8_t size = 1; size <= 4; ++size) {
    Bytes record = hex(kHevc);
    record[21] = static_cast<std::uint8_t>(0x0C | (size - 1));
    EXPECT_EQ(parseHevcDecoderConfig(record)->nalLengthSize, size);
  }
}

TEST(ParseHevcRecord, TakesTheProfileWithoutTierAndSpace) {
  Bytes record = hex(kHevc);
  record[1] = 0xE2;
  EXPECT_EQ(parseHevcDecoderConfig(record)->profile, 2);
}

TEST(ParseHevcRecord, ReturnsNothingForEveryShorterRecord) {
  const Bytes whole = hex(kHevc);
  ASSERT_EQ(whole.size(), 23u);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_FALSE(parseHevcDecoderConfig(firstBytes(whole, size))) << size;
  }
}

}  // namespace
}  // namespace quarrypack::captions
