#include "kav/impl/tables/sync_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace norvik::kav::impl {
namespace {

TEST(SyncTable, BeginsAtTheFirstNumberThatIsNotBelow) {
  const SyncTable table({1, 31});
  EXPECT_TRUE(table.cursorFrom(1).isAt(1));
  EXPECT_TRUE(table.cursorFrom(2).isAt(31));
  EXPECT_TRUE(table.cursorFrom(32).isAtEnd());
  EXPECT_TRUE(table.cursorFrom(32).isActive());
}

TEST(SyncTable, KeepsTheOrderOfTheFile) {
  const SyncTable table({5, 2, 9, 7});
  SyncSampleCursor cursor = table.cursorFrom(2);
  EXPECT_EQ(cursor.current(), 5u);
  cursor.next();
  EXPECT_EQ(cursor.current(), 2u);
  EXPECT_EQ(table.cursorFrom(6).current(), 9u);
}

TEST(SyncTable, WithoutNumbersIsAtItsEnd) {
  EXPECT_TRUE(SyncTable().cursorFrom(1).isAtEnd());
  EXPECT_TRUE(SyncTable().cursorFrom(1).isActive());
}

TEST(SyncSampleCursor, WalksTheNumbers) {
  const std::vector<std::uint32_t> numbers = {1, 7};
  SyncSampleCursor cursor(numbers.data(), numbers.data() + numbers.size());
  EXPECT_TRUE(cursor.isActive());
  EXPECT_EQ(cursor.current(), 1u);
  EXPECT_TRUE(cursor.isAt(1));
  EXPECT_FALSE(cursor.isAt(7));
  cursor.next();
  EXPECT_TRUE(cursor.isAt(7));
  cursor.next();
  EXPECT_TRUE(cursor.isAtEnd());
  EXPECT_FALSE(cursor.isAt(7));
  cursor.next();
  EXPECT_TRUE(cursor.isAtEnd());
}

TEST(SyncSampleCursor, IsNotActiveWithoutATable) {
  const SyncSampleCursor cursor;
  EXPECT_FALSE(cursor.isActive());
  EXPECT_FALSE(cursor.isAt(0));
}

}  // namespace
}  // namespace norvik::kav::impl
