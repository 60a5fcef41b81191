#include "src/sample_bytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <random>
#include <span>
#include <vector>

#include "kav/memory_size.h"

namespace quarrypack {
namespace {

using Bytes = std::vector<std::uint8_t>;

// A file in memory that refuses reads outside of it and counts them.
class CountingSource final : public ByteSource {
 public:
  explicit CountingSource(Bytes file) : file_(std::move(file)) {}

  void readAt(std::uint64_t fileOffset, std::span<std::uint8_t> destination) override {
    ASSERT_FALSE(destination.empty());
    ASSERT_LE(fileOffset + destination.size(), file_.size());
    std::copy_n(file_.begin() + static_cast<std::ptrdiff_t>(fileOffset), destination.size(),
                destination.begin());
    ++reads;
    bytesRead += destination.size();
  }

  void peekAt(std::uint64_t fileOffset, std::span<std::uint8_t> destination) override {
    readAt(fileOffset, destination);
    ++peeks;
  }

  int peeks = 0;  // of the reads
  int reads = 0;
  std::uint64_t bytesRead = 0;

 private:
  Bytes file_;
};

Bytes counted(std::size_t count) {
  Bytes bytes(count);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  return bytes;
}

Bytes part(const SampleBytes& sample, std::uint64_t position, std::size_t count) {
  Bytes bytes(count);
  sample.read(position, bytes);
  return bytes;
}

Bytes whole(const SplicedSampleBytes& sample) {
  Bytes bytes(norvik::kav::memorySize(sample.size()));
  sample.copyTo(bytes);
  return bytes;
}

TEST(MemorySampleBytes, ReadsAndInserts) {
  MemorySampleBytes sample({1, 2, 3});
  sample.insert(1, Bytes{7, 8});
  EXPECT_EQ(sample.bytes(), (Bytes{1, 7, 8, 2, 3}));
  EXPECT_EQ(sample.size(), 5u);
  EXPECT_EQ(part(sample, 2, 3), (Bytes{8, 2, 3}));
}

TEST(SampleBytes, ForgetsWhereToSearchWhenBytesAreInserted) {
  MemorySampleBytes sample({1});
  sample.setNalSearchStart({4, 1});
  EXPECT_EQ(sample.nalSearchStart().position, 1u);
  sample.insert(0, Bytes{9});
  EXPECT_EQ(sample.nalSearchStart().position, 0u);
  EXPECT_EQ(sample.nalSearchStart().nalLengthSize, 0u);
}

TEST(SplicedSampleBytes, ReadsNothingUntilAsked) {
  CountingSource file(counted(100));
  SplicedSampleBytes sample(file, 10, 50);
  sample.insert(20, Bytes{0xAA});
  EXPECT_EQ(sample.size(), 51u);
  EXPECT_EQ(file.reads, 0);
  EXPECT_EQ(part(sample, 3, 5), (Bytes{13, 14, 15, 16, 17}));
  EXPECT_EQ(file.bytesRead, 5u);
}

TEST(SplicedSampleBytes, ReadsAcrossInsertedBytes) {
  CountingSource file(counted(10));
  SplicedSampleBytes sample(file, 2, 4);
  sample.insert(2, Bytes{0xA0, 0xA1});
  EXPECT_EQ(part(sample, 0, 6), (Bytes{2, 3, 0xA0, 0xA1, 4, 5}));
  EXPECT_EQ(part(sample, 1, 2), (Bytes{3, 0xA0}));
  EXPECT_EQ(part(sample, 3, 2), (Bytes{0xA1, 4}));
  EXPECT_EQ(part(sample, 6, 0), Bytes{});
}

TEST(SplicedSampleBytes, InsertsInsideWhatWasInserted) {
  CountingSource file(counted(4));
  SplicedSampleBytes sample(file, 0, 4);
  sample.insert(2, Bytes{0xA0, 0xA1, 0xA2});
  sample.insert(3, Bytes{0xB0});
  sample.insert(2, Bytes{0xC0});
  sample.insert(7, Bytes{0xD0});
  sample.insert(9, Bytes{0xE0});
  EXPECT_EQ(whole(sample), (Bytes{0, 1, 0xC0, 0xA0, 0xB0, 0xA1, 0xA2, 0xD0, 2, 0xE0, 3}));
  EXPECT_EQ(part(sample, 0, 11), whole(sample));
}

TEST(SplicedSampleBytes, AppendsAndPrepends) {
  CountingSource file(counted(2));
  SplicedSampleBytes sample(file, 0, 2);
  sample.insert(2, Bytes{0xA0});
  sample.insert(0, Bytes{0xB0});
  sample.insert(4, Bytes{0xC0});
  sample.insert(0, Bytes{0xD0});
  EXPECT_EQ(whole(sample), (Bytes{0xD0, 0xB0, 0, 1, 0xA0, 0xC0}));
}

TEST(SplicedSampleBytes, HoldsBytesWithoutAnyInTheFile) {
  CountingSource file({});
  SplicedSampleBytes sample(file, 0, 0);
  EXPECT_EQ(whole(sample), Bytes{});
  sample.insert(0, Bytes{});
  sample.insert(0, Bytes{5});
  sample.insert(1, Bytes{6});
  EXPECT_EQ(whole(sample), (Bytes{5, 6}));
  EXPECT_EQ(file.reads, 0);
}

TEST(SplicedSampleBytes, FetchesTheWholeSampleInOneRead) {
  CountingSource file(counted(200));
  SplicedSampleBytes sample(file, 50, 100);
  sample.insert(90, Bytes{1, 2, 3});
  sample.insert(10, Bytes{4, 5});
  EXPECT_EQ(whole(sample).size(), 105u);
  EXPECT_EQ(file.reads, 1);
}

TEST(SplicedSampleBytes, PeeksIntoALargeSample) {
  CountingSource file(counted(65536));
  const SplicedSampleBytes small(file, 0, 65535);
  part(small, 0, 5);
  EXPECT_EQ(file.peeks, 0);
  const SplicedSampleBytes large(file, 0, 65536);
  EXPECT_EQ(part(large, 3, 2), (Bytes{3, 4}));
  EXPECT_EQ(file.peeks, 1);
  EXPECT_EQ(whole(large), counted(65536));
  EXPECT_EQ(file.peeks, 1);
}

TEST(SplicedSampleBytes, EqualsASampleInMemoryAfterAnyInsertions) {
  std::mt19937 random(4);
  for (int round = 0; round < 300; ++round) {
    const std::size_t size = random() % 40;
    const Bytes file = counted(60);
    CountingSource source(file);
    SplicedSampleBytes spliced(source, 7, size);
    MemorySampleBytes memory(
        Bytes(file.begin() + 7, file.begin() + 7 + static_cast<std::ptrdiff_t>(size)));
    std::uint64_t position = 0;
    for (int i = 0; i < 60; ++i) {
      if (random() % 3 != 0) position = random() % (memory.size() + 1);
      Bytes bytes(random() % 6);
      for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
      spliced.insert(position, bytes);
      memory.insert(position, bytes);
      ASSERT_EQ(spliced.size(), memory.size());

      const std::uint64_t from = random() % (memory.size() + 1);
      const std::size_t count = norvik::kav::memorySize(random() % (memory.size() - from + 1));
      ASSERT_EQ(part(spliced, from, count), part(memory, from, count));
    }
    ASSERT_EQ(whole(spliced), memory.bytes());
  }
}

}  // namespace
}  // namespace quarrypack
