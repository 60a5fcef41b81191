#include "kav/impl/bytes/document_stream.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "kav/exception.h"
#include "tests/support/bytes.h"
#include "tests/support/expect_code.h"
#include "tests/support/memory_stream.h"

namespace norvik::kav::impl {
namespace {

using namespace quarrypack::test;

// A file of 20 000 bytes, 0 to 250 again and again.
class DocumentStreamTest : public testing::Test {
 protected:
  static Bytes content() {
    Bytes bytes(20'000);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i % 251);
    return bytes;
  }

  Bytes read(std::size_t count) {
    Bytes bytes(count);
    bytes.resize(stream.read(bytes.data(), count));
    return bytes;
  }
  Bytes expected(std::size_t from, std::size_t to) const {
    return {file.begin() + static_cast<std::ptrdiff_t>(from),
            file.begin() + static_cast<std::ptrdiff_t>(to)};
  }

  const Bytes file = content();
  MemoryStreamPtr memory = MemoryStream::create(file);
  DocumentStream stream{memory};
};

TEST_F(DocumentStreamTest, ReadsFromItsPositionOn) {
  EXPECT_EQ(read(10), expected(0, 10));
  EXPECT_EQ(read(10), expected(10, 20));
  EXPECT_EQ(stream.tell(), 20u);
  stream.seekTo(19'995);
  EXPECT_EQ(read(10), expected(19'995, 20'000));
  EXPECT_EQ(read(10), Bytes());
  EXPECT_EQ(stream.tell(), 20'000u);
}

TEST_F(DocumentStreamTest, ServesSmallReadsFromBlocks) {
  for (const std::uint64_t place : {0u, 5000u, 9000u, 13'000u}) {
    stream.seekTo(place);
    read(8);
  }
  EXPECT_EQ(memory->calls().read, 4u);
  memory->resetCalls();
  for (const std::size_t place : {100u, 5100u, 9100u, 13'100u}) {
    stream.seekTo(place);
    EXPECT_EQ(read(8), expected(place, place + 8));
  }
  EXPECT_EQ(memory->calls().all(), 0u);
}

TEST_F(DocumentStreamTest, PassesLongReadsToItsSource) {
  EXPECT_EQ(read(12'345), expected(0, 12'345));
  EXPECT_EQ(memory->calls().read, 1u);
}

TEST_F(DocumentStreamTest, SeeksFromStartCurrentAndEnd) {
  stream.seek(100, kSeekFromStart);
  stream.seek(-10, kSeekFromCurrent);
  EXPECT_EQ(read(2), expected(90, 92));
  stream.seek(-3, kSeekFromEnd);
  EXPECT_EQ(read(9), expected(19'997, 20'000));
  EXPECT_CODE(ioFailed, stream.seek(-1, kSeekFromStart));
  EXPECT_EQ(stream.tell(), 20'000u);
}

TEST_F(DocumentStreamTest, IsNotMovedByOtherHoldersOfItsSource) {
  stream.seekTo(50);
  memory->seek(7, kSeekFromStart);
  EXPECT_EQ(read(2), expected(50, 52));
  std::array<std::uint8_t, 2> bytes{};
  stream.source().seekTo(60);
  stream.source().readFully(bytes.data(), bytes.size());
  EXPECT_EQ(read(2), expected(52, 54));
}

TEST_F(DocumentStreamTest, SeesWhatAFileHasGrownBy) {
  stream.seekTo(19'990);
  EXPECT_EQ(read(100).size(), 10u);
  memory->bytes().resize(20'030, 0xEE);
  EXPECT_EQ(stream.computeSize(), 20'030u);
  EXPECT_EQ(read(100), Bytes(30, 0xEE));
}

TEST_F(DocumentStreamTest, BeginsAnewWhenItIsOpened) {
  stream.seekTo(50);
  stream.open();
  EXPECT_EQ(stream.tell(), 0u);
}

TEST_F(DocumentStreamTest, PassesFailuresOfItsSourceOn) {
  memory->injectFault(1, MemoryStream::Fault::fails);
  EXPECT_CODE(ioFailed, read(1));
  EXPECT_EQ(read(1), expected(0, 1));
}

}  // namespace
}  // namespace norvik::kav::impl
