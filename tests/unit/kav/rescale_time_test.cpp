#include "kav/rescale_time.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace norvik::kav {
namespace {

TEST(RescaleTime, IsTheTimeItselfBetweenEqualTimescales) {
  EXPECT_EQ(rescaleTime(~std::uint64_t{0}, 90000, 90000), ~std::uint64_t{0});
  EXPECT_EQ(rescaleTime(5, 0, 0), 5u);
}

TEST(RescaleTime, RoundsToNearestAndDropsAnExactHalfOfAnEvenScale) {
  struct Case {
    std::uint64_t t;
    std::uint32_t from;
    std::uint32_t to;
    std::uint64_t expected;
  };
  const Case cases[] = {
      {45, 90000, 1000, 0},    // exactly half a tick
      {46, 90000, 1000, 1},    //
      {134, 90000, 1000, 1},   //
      {3000, 3000, 600, 600},  //
      {1, 1000, 90000, 90},    //
      {1, 3, 1, 0},            //
      {2, 3, 1, 1},            //
      {1001, 30000, 600, 20},  // 20.02
      {3, 2, 3, 4},            // 4.5
      {1, 2, 3, 1},            // 1.5
      {1, 1, 0xFFFFFFFF, 0xFFFFFFFF},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(rescaleTime(c.t, c.from, c.to), c.expected) << c.t << ' ' << c.from << ' ' << c.to;
  }
}

TEST(RescaleTime, FromNoTimescaleGivesZero) { EXPECT_EQ(rescaleTime(5, 0, 1000), 0u); }

TEST(RescaleTime, WrapsBeyondItsRange) {
  // The product keeps its low 64 bits.
  EXPECT_EQ(rescaleTime(std::uint64_t{1} << 63, 1, 2), 0u);
}

}  // namespace
}  // namespace norvik::kav
