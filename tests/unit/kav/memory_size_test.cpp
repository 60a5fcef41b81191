#include "kav/memory_size.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

namespace norvik::kav {
namespace {

constexpr std::size_t kMost = std::numeric_limits<std::ptrdiff_t>::max();

TEST(MemorySize, IsTheLengthUpToTheLargestThatAVectorTakes) {
  EXPECT_EQ(memorySize(0), 0u);
  EXPECT_EQ(memorySize(kMost), kMost);
}

TEST(MemorySize, FailsAsAnAllocationForWhatNoMemoryHolds) {
  EXPECT_THROW(memorySize(std::uint64_t{kMost} + 1), std::bad_alloc);
  EXPECT_THROW(memorySize(std::numeric_limits<std::uint64_t>::max()), std::bad_alloc);
}

TEST(SizeWithin, IsTheSmallerOfTheTwo) {
  EXPECT_EQ(sizeWithin(7, 8), 7u);
  EXPECT_EQ(sizeWithin(8, 8), 8u);
  EXPECT_EQ(sizeWithin(9, 8), 8u);
  // On 32 bits the low half alone would be smaller.
  EXPECT_EQ(sizeWithin(0x1'0000'0007, 8), 8u);
}

}  // namespace
}  // namespace norvik::kav
