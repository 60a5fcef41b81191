#include "captions/byte_reader.h"

#include <gtest/gtest.h>

#include "tests/support/bytes.h"

namespace quarrypack::captions {
namespace {

using test::Bytes;
using test::hex;

TEST(ByteReader, TakesBigEndianNumbersInOrder) {
  const Bytes bytes = hex("01 0203 04050607 08090a ff");
  ByteReader reader(bytes);
  EXPECT_EQ(reader.u8(), 0x01);
  EXPECT_EQ(reader.u16(), 0x0203);
  EXPECT_EQ(reader.u32(), 0x04050607u);
  EXPECT_EQ(reader.number(3), 0x08090Au);
  EXPECT_EQ(reader.number(0), 0u);
  EXPECT_EQ(reader.rest().size(), 1u);
  EXPECT_FALSE(reader.failed());
}

TEST(ByteReader, RefusesForGoodOncePastTheEnd) {
  const Bytes bytes = hex("010203");
  ByteReader reader(bytes);
  EXPECT_EQ(reader.u32(), 0u);
  EXPECT_TRUE(reader.failed());
  EXPECT_EQ(reader.u8(), 0u);
  EXPECT_TRUE(reader.take(1).empty());
  EXPECT_TRUE(reader.rest().empty());
}

TEST(ByteReader, TakesNothingFromNothing) {
  ByteReader reader({});
  EXPECT_TRUE(reader.take(0).empty());
  EXPECT_FALSE(reader.failed());
  reader.u8();
  EXPECT_TRUE(reader.failed());
}

TEST(ByteReader, RefusesACountBeyondAllMemory) {
  const Bytes bytes = hex("0102");
  ByteReader reader(bytes);
  EXPECT_TRUE(reader.take(SIZE_MAX).empty());
  EXPECT_TRUE(reader.failed());
}

}  // namespace
}  // namespace quarrypack::captions
