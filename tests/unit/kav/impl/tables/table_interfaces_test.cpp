#include "kav/impl/tables/table_interfaces.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace norvik::kav::impl {
namespace {

std::vector<std::uint32_t> walk(SampleSizeIterator& iterator) {
  std::vector<std::uint32_t> sizes;
  for (; iterator.isValid(); iterator.next()) sizes.push_back(iterator.getSampleSize());
  iterator.next();
  EXPECT_FALSE(iterator.isValid());
  return sizes;
}

TEST(FixedSampleSizeIterator, GivesOneSizeForEverySample) {
  FixedSampleSizeIterator all(512, 1, 3);
  EXPECT_EQ(walk(all), (std::vector<std::uint32_t>{512, 512, 512}));
  FixedSampleSizeIterator last(512, 3, 3);
  EXPECT_EQ(walk(last), (std::vector<std::uint32_t>{512}));
  for (const std::uint32_t outside : {0u, 4u, 0xFFFFFFFFu}) {
    EXPECT_FALSE(FixedSampleSizeIterator(512, outside, 3).isValid()) << outside;
  }
}

TEST(NormalVariableSampleSizeIterator, GivesEverySampleItsSize) {
  const std::vector<std::uint32_t> sizes = {5, 0, 7};
  NormalVariableSampleSizeIterator all(sizes, 1);
  EXPECT_EQ(walk(all), sizes);
  NormalVariableSampleSizeIterator last(sizes, 3);
  EXPECT_EQ(walk(last), (std::vector<std::uint32_t>{7}));
  for (const std::uint32_t outside : {0u, 4u, 0xFFFFFFFFu}) {
    NormalVariableSampleSizeIterator iterator(sizes, outside);
    EXPECT_FALSE(iterator.isValid()) << outside;
    EXPECT_EQ(iterator.getSampleSize(), 0u);
  }
}

TEST(NullSampleSizeIterator, IsNeverValid) {
  NullSampleSizeIterator iterator;
  EXPECT_TRUE(walk(iterator).empty());
  EXPECT_EQ(iterator.getSampleSize(), 0u);
}

TEST(NormalChunkOffsetIterator, GivesEveryChunkItsOffset) {
  const std::vector<std::uint64_t> offsets = {48, 0x100000000};
  NormalChunkOffsetIterator iterator(offsets, 1);
  EXPECT_TRUE(iterator.isValid());
  EXPECT_EQ(iterator.getOffset(), 48u);
  iterator.next();
  EXPECT_EQ(iterator.getOffset(), 0x100000000u);
  iterator.next();
  EXPECT_FALSE(iterator.isValid());
  EXPECT_EQ(iterator.getOffset(), 0u);
  iterator.next();
  EXPECT_FALSE(iterator.isValid());
  for (const std::uint32_t outside : {0u, 3u, 0xFFFFFFFFu}) {
    EXPECT_FALSE(NormalChunkOffsetIterator(offsets, outside).isValid()) << outside;
  }
}

TEST(NullChunkOffsetIterator, IsNeverValid) {
  NullChunkOffsetIterator iterator;
  iterator.next();
  EXPECT_FALSE(iterator.isValid());
  EXPECT_EQ(iterator.getOffset(), 0u);
}

}  // namespace
}  // namespace norvik::kav::impl
