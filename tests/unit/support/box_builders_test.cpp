#include "tests/support/box_builders.h"

#include <gtest/gtest.h>

namespace quarrypack::test {
namespace {

TEST(Bytes, AreBigEndianAndKeepTheLowestPart) {
  EXPECT_EQ(u8(0x1234), (Bytes{0x34}));
  EXPECT_EQ(u16(0x1234), (Bytes{0x12, 0x34}));
  EXPECT_EQ(u24(0x123456), (Bytes{0x12, 0x34, 0x56}));
  EXPECT_EQ(u32(0x12345678), (Bytes{0x12, 0x34, 0x56, 0x78}));
  EXPECT_EQ(u64(0x0102030405060708), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(u32List({1, 2}), (Bytes{0, 0, 0, 1, 0, 0, 0, 2}));
}

TEST(BoxBuilders, CountTheirOwnHeader) {
  EXPECT_EQ(box("free"), (Bytes{0, 0, 0, 8, 'f', 'r', 'e', 'e'}));
  EXPECT_EQ(box("abcd", u16(7), u8(9)), (Bytes{0, 0, 0, 11, 'a', 'b', 'c', 'd', 0, 7, 9}));
  EXPECT_EQ(fullBox("url ", 0, 1), (Bytes{0, 0, 0, 12, 'u', 'r', 'l', ' ', 0, 0, 0, 1}));
}

TEST(BoxBuilders, NestByConcatenation) {
  EXPECT_EQ(box("abcd", box("free"), u8(1)),
            (Bytes{0, 0, 0, 17, 'a', 'b', 'c', 'd', 0, 0, 0, 8, 'f', 'r', 'e', 'e', 1}));
}

TEST(BoxBuilders, GiveTheLargeForm) {
  EXPECT_EQ(largeForm(box("mdat", u8(5))),
            (Bytes{0, 0, 0, 1, 'm', 'd', 'a', 't', 0, 0, 0, 0, 0, 0, 0, 17, 5}));
}

TEST(BoxBuilders, GiveTheFormsThatLie) {
  EXPECT_EQ(runningToEnd(box("mdat", u8(5))), (Bytes{0, 0, 0, 0, 'm', 'd', 'a', 't', 5}));
  EXPECT_EQ(claimingSize(7, box("free")), (Bytes{0, 0, 0, 7, 'f', 'r', 'e', 'e'}));
  EXPECT_EQ(claimingLargeSize(3, box("free")),
            (Bytes{0, 0, 0, 1, 'f', 'r', 'e', 'e', 0, 0, 0, 0, 0, 0, 0, 3}));
  EXPECT_EQ(withVersion(2, fullBox("mdhd", 0, 0)), fullBox("mdhd", 2, 0));
  EXPECT_EQ(withType("skip", box("free", u8(1))), box("skip", u8(1)));
}

TEST(BoxBuilders, GiveTheUuidForms) {
  EXPECT_EQ(uuidForm(box("moov", u8(5))),
            (Bytes{0,    0,    0,    25,   'u',  'u',  'i',  'd',  'm',  'o',  'o',  'v', 0x00,
                   0x11, 0x00, 0x10, 0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71, 5}));
  EXPECT_EQ(uuidBox(kXmpUuid, u8(5)).size(), 25u);
}

TEST(BoxBuilders, RefuseWhatIsNoBox) {
  EXPECT_THROW(box("abc"), std::invalid_argument);
  EXPECT_THROW(patched(Bytes{1}, 0, u16(0)), std::out_of_range);
}

}  // namespace
}  // namespace quarrypack::test
