#include "kav/impl/bytes/sample_read_cache.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>

#include "tests/support/bytes.h"
#include "tests/support/expect_code.h"
#include "tests/support/memory_stream.h"

namespace norvik::kav::impl {
namespace {

using quarrypack::test::Bytes;
using quarrypack::test::MemoryStream;
using quarrypack::test::MemoryStreamPtr;

// A file of the bytes 0, 1, 2, ... read through a cache of a few small blocks.
struct CachedFile {
  explicit CachedFile(std::size_t length, std::uint32_t blockSize = 8, std::uint32_t blocks = 2,
                      std::uint64_t base = 0)
      : memory(MemoryStream::create(Bytes(length))),
        stream(memory),
        cache(stream, blockSize, blocks, base) {
    std::iota(memory->bytes().begin(), memory->bytes().end(), std::uint8_t{0});
  }

  // The bytes that the cache delivers, and in reads how often the file was read for them.
  Bytes read(std::uint64_t offset, std::size_t length) {
    memory->resetCalls();
    Bytes bytes(length);
    bytes.resize(cache.read(bytes.data(), length, offset));
    reads = memory->calls().read;
    return bytes;
  }

  MemoryStreamPtr memory;
  NorvikKavIStream stream;
  SampleReadCache cache;
  std::size_t reads = 0;
};

TEST(SampleReadCache, ServesARepeatedRequestFromItsBlock) {
  CachedFile file(64);
  EXPECT_EQ(file.read(9, 3), (Bytes{9, 10, 11}));
  EXPECT_EQ(file.reads, 1u);
  EXPECT_EQ(file.read(8, 8), (Bytes{8, 9, 10, 11, 12, 13, 14, 15}));
  EXPECT_EQ(file.reads, 0u);
}

TEST(SampleReadCache, PassesLongRequestsBy) {
  CachedFile file(64);
  EXPECT_EQ(file.read(8, 9), (Bytes{8, 9, 10, 11, 12, 13, 14, 15, 16}));
  EXPECT_EQ(file.reads, 1u);
  EXPECT_EQ(file.read(8, 1), (Bytes{8}));
  EXPECT_EQ(file.reads, 1u);  // no block was filled before
}

TEST(SampleReadCache, ReadsWhatTheBlockDoesNotHoldFromTheFile) {
  CachedFile file(64);
  EXPECT_EQ(file.read(6, 6), (Bytes{6, 7, 8, 9, 10, 11}));
  EXPECT_EQ(file.reads, 2u);  // the block from 0, then 8 to 11
  EXPECT_EQ(file.read(6, 6), (Bytes{6, 7, 8, 9, 10, 11}));
  EXPECT_EQ(file.reads, 1u);  // 8 to 11 fill a block this time
  EXPECT_EQ(file.read(8, 8).size(), 8u);
  EXPECT_EQ(file.reads, 0u);
}

TEST(SampleReadCache, TakesBlocksInUseAgainInTurn) {
  CachedFile file(64);
  file.read(0, 1);
  file.read(8, 1);
  EXPECT_EQ(file.read(16, 1), (Bytes{16}));  // in place of the block from 0
  EXPECT_EQ(file.reads, 1u);
  EXPECT_EQ(file.read(8, 1), (Bytes{8}));
  EXPECT_EQ(file.reads, 0u);
  EXPECT_EQ(file.read(0, 1), (Bytes{0}));  // in place of the block from 8
  EXPECT_EQ(file.reads, 1u);
  EXPECT_EQ(file.read(16, 1), (Bytes{16}));
  EXPECT_EQ(file.reads, 0u);
}

TEST(SampleReadCache, CountsBlocksFromItsBase) {
  CachedFile file(64, 8, 2, 3);
  EXPECT_EQ(file.read(12, 1), (Bytes{12}));
  EXPECT_EQ(file.read(11, 8), (Bytes{11, 12, 13, 14, 15, 16, 17, 18}));
  EXPECT_EQ(file.reads, 0u);  // the block begins at 11
}

TEST(SampleReadCache, DeliversWhatIsThereAtTheEndOfTheFile) {
  CachedFile file(12);
  EXPECT_EQ(file.read(10, 4), (Bytes{10, 11}));
  EXPECT_EQ(file.read(12, 4), Bytes());
  EXPECT_EQ(file.read(100, 4), Bytes());
  EXPECT_EQ(file.read(4, 20), (Bytes{4, 5, 6, 7, 8, 9, 10, 11}));
}

TEST(SampleReadCache, DeliversNothingForAnEmptyRequest) {
  CachedFile file(12);
  EXPECT_EQ(file.read(3, 0), Bytes());
  EXPECT_EQ(file.reads, 0u);
}

TEST(SampleReadCache, HoldsNothingOfABlockThatCouldNotBeRead) {
  CachedFile file(64, 8, 1);
  file.read(8, 1);
  for (const std::size_t call : {1u, 2u}) {  // the seek, the read
    file.memory->injectFault(call, MemoryStream::Fault::fails);
    EXPECT_CODE(ioFailed, file.read(17, 1));
    EXPECT_EQ(file.read(9, 1), (Bytes{9}));
    EXPECT_EQ(file.read(17, 1), (Bytes{17}));
    EXPECT_EQ(file.read(8, 1), (Bytes{8}));
  }
}

// Whatever is asked for in whatever order, the bytes are those of the file.
TEST(SampleReadCache, AgreesWithTheFileForAnyOrderOfRequests) {
  CachedFile file(200, 16, 3);
  std::uint32_t state = 1;
  const auto next = [&](std::uint32_t below) {
    state = state * 1664525 + 1013904223;
    return (state >> 8) % below;
  };
  for (int i = 0; i < 2000; ++i) {
    const std::uint32_t offset = next(220);
    const std::uint32_t length = next(40);
    Bytes expected;
    for (std::uint32_t at = offset; at < offset + length && at < 200; ++at) {
      expected.push_back(static_cast<std::uint8_t>(at));
    }
    ASSERT_EQ(file.read(offset, length), expected) << offset << " " << length;
  }
}

}  // namespace
}  // namespace norvik::kav::impl
