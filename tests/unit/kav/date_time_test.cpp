#include "kav/date_time.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace norvik::kav {
namespace {

struct Case {
  std::uint64_t seconds;
  NorvikKavDateTime date;
};

const Case kCases[] = {
    {0, {1904, 1, 1, 0, 0, 0, 0}},
    {59, {1904, 1, 1, 0, 0, 59, 0}},
    {86399, {1904, 1, 1, 23, 59, 59, 0}},
    {86400, {1904, 1, 2, 0, 0, 0, 0}},
    {59u * 86400, {1904, 2, 29, 0, 0, 0, 0}},  // a leap year
    {60u * 86400, {1904, 3, 1, 0, 0, 0, 0}},
    {2082844800, {1970, 1, 1, 0, 0, 0, 0}},
    {3034368000, {2000, 2, 26, 0, 0, 0, 0}},
    {3034627200, {2000, 2, 29, 0, 0, 0, 0}},  // a leap century
    {3665824496, {2020, 2, 29, 12, 34, 56, 0}},
    {4294967295, {2040, 2, 6, 6, 28, 15, 0}},    // the last second of the narrow form
    {6190387199, {2100, 2, 28, 23, 59, 59, 0}},  // no leap century
    {6190387200, {2100, 3, 1, 0, 0, 0, 0}},
};

TEST(DateTime, ComesFromSecondsSince1904) {
  for (const Case& c : kCases) EXPECT_EQ(dateTimeFromSeconds(c.seconds), c.date) << c.seconds;
}

TEST(DateTime, GoesBackToSeconds) {
  for (const Case& c : kCases) EXPECT_EQ(secondsFromDateTime(c.date), c.seconds);
}

TEST(DateTime, EveryDayComesBack) {
  for (std::uint64_t day = 0; day < 400 * 366; ++day) {
    const std::uint64_t seconds = day * 86400 + 45296;
    ASSERT_EQ(secondsFromDateTime(dateTimeFromSeconds(seconds)), seconds);
  }
}

TEST(DateTime, BeyondItsLastYearIsTheLastSecond) {
  const NorvikKavDateTime last{65535, 12, 31, 23, 59, 59, 0};
  EXPECT_EQ(dateTimeFromSeconds(std::numeric_limits<std::uint64_t>::max()), last);
  EXPECT_EQ(dateTimeFromSeconds(secondsFromDateTime(last)), last);
  EXPECT_EQ(dateTimeFromSeconds(secondsFromDateTime(last) + 1), last);
}

TEST(DateTime, EqualsAnotherInAllFields) {
  const NorvikKavDateTime date{2000, 2, 29, 12, 30, 59, 0};
  EXPECT_EQ(date, (NorvikKavDateTime{2000, 2, 29, 12, 30, 59, 0}));
  EXPECT_NE(date, (NorvikKavDateTime{2004, 2, 29, 12, 30, 59, 0}));
  EXPECT_NE(date, (NorvikKavDateTime{2000, 3, 29, 12, 30, 59, 0}));
  EXPECT_NE(date, (NorvikKavDateTime{2000, 2, 28, 12, 30, 59, 0}));
  EXPECT_NE(date, (NorvikKavDateTime{2000, 2, 29, 13, 30, 59, 0}));
  EXPECT_NE(date, (NorvikKavDateTime{2000, 2, 29, 12, 31, 59, 0}));
  EXPECT_NE(date, (NorvikKavDateTime{2000, 2, 29, 12, 30, 58, 0}));
  EXPECT_NE(date, (NorvikKavDateTime{2000, 2, 29, 12, 30, 59, 1}));
}

}  // namespace
}  // namespace norvik::kav
