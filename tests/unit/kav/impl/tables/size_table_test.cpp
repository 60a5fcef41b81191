#include "kav/impl/tables/size_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace norvik::kav::impl {
namespace {

TEST(SizeTable, AddsUpSizesFromAnySampleOn) {
  std::vector<std::uint32_t> sizes(1024);
  for (std::uint32_t i = 0; i < sizes.size(); ++i) sizes[i] = 0xFFFFFF00 + i % 200;
  const SizeTable table(sizes);
  for (const std::uint32_t first : {1u, 2u, 255u, 256u, 257u, 513u, 1024u}) {
    std::uint64_t sum = 0;
    for (std::uint32_t count = 0; first - 1 + count <= sizes.size(); ++count) {
      EXPECT_EQ(table.totalSize(first, count), sum) << count << " samples from " << first;
      if (first - 1 + count < sizes.size()) sum += sizes[first - 1 + count];
    }
    EXPECT_EQ(table.totalSize(first, 0xFFFFFFFF), sum);
  }
  EXPECT_EQ(table.totalSize(1025, 1), 0u);
  EXPECT_EQ(table.totalSize(0, 1), sizes[0]);
}

TEST(SizeTable, AddsUpSamplesOfOneSize) {
  const SizeTable table(0xFFFFFFFF, 5);
  EXPECT_EQ(table.sampleSize(), 0xFFFFFFFFu);
  EXPECT_TRUE(table.sizes().empty());
  EXPECT_EQ(table.totalSize(2, 3), 3ull * 0xFFFFFFFF);
  EXPECT_EQ(table.totalSize(4, 9), 2ull * 0xFFFFFFFF);
}

TEST(SizeTable, WithoutSamplesHasNoBytes) {
  EXPECT_EQ(SizeTable().totalSize(1, 9), 0u);
  EXPECT_EQ(SizeTable(std::vector<std::uint32_t>()).totalSize(0, 9), 0u);
}

}  // namespace
}  // namespace norvik::kav::impl
