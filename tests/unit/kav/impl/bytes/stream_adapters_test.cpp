#include "kav/impl/bytes/stream_adapters.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <vector>

#include "tests/support/expect_code.h"
#include "tests/support/memory_stream.h"

namespace norvik::kav::impl {
namespace {

using quarrypack::test::MemoryStream;
using quarrypack::test::MemoryStreamPtr;
using Bytes = std::vector<std::uint8_t>;

const Bytes kTenBytes = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};

TEST(NorvikKavStream, ReadsTheExactNumberOfBytes) {
  NorvikKavIStream stream(MemoryStream::create(kTenBytes));
  std::array<std::uint8_t, 4> bytes{};
  stream.seek(3, kSeekFromStart);
  stream.readFully(bytes.data(), bytes.size());
  EXPECT_EQ(bytes, (std::array<std::uint8_t, 4>{3, 4, 5, 6}));
  EXPECT_EQ(stream.tell(), 7u);
}

TEST(NorvikKavStream, ReadingEightBytesFourBeforeTheEndIsAShortRead) {
  NorvikKavIStream stream(MemoryStream::create(kTenBytes));
  std::array<std::uint8_t, 8> bytes{};
  stream.seek(-4, kSeekFromEnd);
  EXPECT_CODE(shortRead, stream.readFully(bytes.data(), bytes.size()));
}

TEST(NorvikKavStream, ReadingNothingAtTheEndIsNoShortRead) {
  NorvikKavIStream stream(MemoryStream::create(kTenBytes));
  stream.seek(0, kSeekFromEnd);
  EXPECT_NO_THROW(stream.readFully(nullptr, 0));
}

TEST(NorvikKavStream, PlainReadStopsQuietlyAtTheEnd) {
  NorvikKavIStream stream(MemoryStream::create(kTenBytes));
  std::array<std::uint8_t, 8> bytes{};
  stream.seek(6, kSeekFromStart);
  EXPECT_EQ(stream.read(bytes.data(), bytes.size()), 4u);
  EXPECT_EQ(stream.read(bytes.data(), bytes.size()), 0u);
}

TEST(NorvikKavStream, ComputeSizeLeavesThePositionAndRemembersTheSize) {
  const MemoryStreamPtr memory = MemoryStream::create(kTenBytes);
  NorvikKavIStream stream(memory);
  EXPECT_EQ(stream.size(), 0u);
  stream.seek(7, kSeekFromStart);
  EXPECT_EQ(stream.computeSize(), 10u);
  EXPECT_EQ(stream.tell(), 7u);
  memory->resetCalls();
  EXPECT_EQ(stream.size(), 10u);
  EXPECT_EQ(memory->calls().all(), 0u);
}

TEST(NorvikKavStream, RemembersTheSizeUntilItIsComputedAgain) {
  const MemoryStreamPtr memory = MemoryStream::create(kTenBytes);
  NorvikKavIStream stream(memory);
  stream.computeSize();
  memory->bytes().resize(20);
  EXPECT_EQ(stream.size(), 10u);
  EXPECT_EQ(stream.computeSize(), 20u);
}

TEST(NorvikKavStream, SeekToRefusesAPositionThatNoStreamCanHave) {
  const MemoryStreamPtr memory = MemoryStream::create(kTenBytes);
  NorvikKavIStream stream(memory);
  constexpr auto kLast = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  stream.seekTo(kLast);
  EXPECT_EQ(stream.tell(), kLast);
  EXPECT_CODE(ioFailed, stream.seekTo(kLast + 1));
  EXPECT_EQ(stream.tell(), kLast);
}

TEST(NorvikKavStream, CarriesTheProblemHandlerOfTheDocument) {
  NorvikKavIStream stream(MemoryStream::create());
  EXPECT_TRUE(stream.problemHandler().tolerates(Problem::trailingBytes));
  Problem asked = Problem::trailingBytes;
  stream.setProblemHandler({[](void* context, Problem problem) {
                              *static_cast<Problem*>(context) = problem;
                              return 0;
                            },
                            &asked});
  EXPECT_FALSE(stream.problemHandler().tolerates(Problem::childPastParent));
  EXPECT_EQ(asked, Problem::childPastParent);
}

// The defaults of the abstract adapter: a stream that can only be opened, moved and closed.
class MuteStream final : public NorvikKavStream {
 public:
  void addRef() override {}
  void release() override {}
  void open() override {}
  void seek(std::int64_t /*offset*/, int /*origin*/) override {}
  void close() override {}
};

TEST(NorvikKavStream, ByDefaultMovesNoBytesAndStaysAtZero) {
  MuteStream stream;
  std::uint8_t byte = 42;
  EXPECT_EQ(stream.write(&byte, 1), 0u);
  EXPECT_EQ(stream.read(&byte, 1), 0u);
  EXPECT_EQ(byte, 42);
  stream.setSize(5);
  EXPECT_EQ(stream.tell(), 0u);
  EXPECT_EQ(stream.computeSize(), 0u);
  EXPECT_CODE(shortRead, stream.readFully(&byte, 1));
  EXPECT_CODE(ioFailed, stream.writeFully(&byte, 1));
  EXPECT_NO_THROW(stream.writeFully(&byte, 0));
  EXPECT_CODE(ioFailed, stream.writeAt(0, &byte, 1));
  EXPECT_NO_THROW(stream.writeAt(0, &byte, 0));
}

TEST(NorvikKavIStream, HoldsOneShareOfItsStream) {
  bool destroyed = false;
  {
    MemoryStreamPtr memory = MemoryStream::create();
    memory->reportDestruction(destroyed);
    NorvikKavIStream stream(memory);
    EXPECT_EQ(memory->references(), 2u);
    stream.addRef();
    EXPECT_EQ(memory->references(), 3u);
    stream.release();
    memory.reset();
    EXPECT_FALSE(destroyed);
  }
  EXPECT_TRUE(destroyed);
}

TEST(NorvikKavIStream, ForwardsOpenAndClose) {
  const MemoryStreamPtr memory = MemoryStream::create();
  NorvikKavIStream stream(memory);
  stream.open();
  EXPECT_TRUE(memory->isOpen());
  stream.close();
  EXPECT_FALSE(memory->isOpen());
}

TEST(NorvikKavIStream, WritesNothing) {
  const MemoryStreamPtr memory = MemoryStream::create(kTenBytes);
  NorvikKavIStream stream(memory);
  EXPECT_EQ(stream.write("x", 1), 0u);
  stream.setSize(0);
  EXPECT_EQ(memory->bytes(), kTenBytes);
}

TEST(NorvikKavIStream, SeesAPositionThatAnotherHolderMoved) {
  const MemoryStreamPtr memory = MemoryStream::create(kTenBytes);
  NorvikKavIStream first(memory);
  NorvikKavIStream second(memory);
  std::uint8_t byte = 0;
  first.seekTo(4);
  second.seekTo(0);
  first.seekTo(4);
  first.readFully(&byte, 1);
  EXPECT_EQ(byte, 4);
}

TEST(NorvikKavIOStream, WritesAndSetsTheSize) {
  const MemoryStreamPtr memory = MemoryStream::create();
  NorvikKavIOStream stream(memory);
  stream.seekTo(2);
  EXPECT_EQ(stream.write("ab", 2), 2u);
  EXPECT_EQ(memory->bytes(), (Bytes{0, 0, 'a', 'b'}));
  stream.setSize(3);
  EXPECT_EQ(memory->bytes(), (Bytes{0, 0, 'a'}));
}

TEST(NorvikKavIOStream, ReportsHowMuchOfAWriteWasTaken) {
  const MemoryStreamPtr memory = MemoryStream::create();
  NorvikKavIOStream stream(memory);
  memory->injectFault(1, MemoryStream::Fault::isShort);
  EXPECT_EQ(stream.write("abcd", 4), 2u);
  EXPECT_EQ(memory->bytes(), (Bytes{'a', 'b'}));
}

TEST(NorvikKavIOStream, AFullWriteTakenInPartIsAFailure) {
  const MemoryStreamPtr memory = MemoryStream::create();
  NorvikKavIOStream stream(memory);
  memory->injectFault(1, MemoryStream::Fault::isShort);
  EXPECT_CODE(ioFailed, stream.writeFully("abcd", 4));
  EXPECT_TRUE(memory->faultWasMet());
  stream.writeFully("ef", 2);
  EXPECT_EQ(memory->bytes(), (Bytes{'a', 'b', 'e', 'f'}));
}

TEST(NorvikKavIOStream, WritesAtAPlaceByASeekAndAWrite) {
  const MemoryStreamPtr memory = MemoryStream::create(Bytes{1, 2, 3, 4});
  NorvikKavIOStream stream(memory);
  stream.writeAt(1, "ab", 2);
  EXPECT_EQ(memory->bytes(), (Bytes{1, 'a', 'b', 4}));
  EXPECT_EQ(stream.tell(), 3u);
  EXPECT_EQ(memory->calls().seek, 1u);
  EXPECT_EQ(memory->calls().write, 1u);
}

TEST(NorvikKavIOStream, AWriteAtAPlaceThatFailsIsAFailure) {
  const MemoryStreamPtr memory = MemoryStream::create();
  NorvikKavIOStream stream(memory);
  memory->injectFault(2, MemoryStream::Fault::isShort);
  EXPECT_CODE(ioFailed, stream.writeAt(0, "abcd", 4));
  EXPECT_TRUE(memory->faultWasMet());
  EXPECT_CODE(ioFailed, stream.writeAt(~0ull, "a", 1));
  EXPECT_EQ(memory->bytes(), (Bytes{'a', 'b'}));
}

TEST(NorvikKavIOStream, EveryFailureOfTheStreamComesThrough) {
  const MemoryStreamPtr memory = MemoryStream::create(kTenBytes);
  NorvikKavIOStream stream(memory);
  std::uint8_t byte = 0;
  const auto use = [&] {
    stream.open();
    stream.seekTo(1);
    stream.tell();
    stream.readFully(&byte, 1);
    stream.writeFully(&byte, 1);
    stream.setSize(10);
    stream.computeSize();
    stream.close();
  };
  memory->resetCalls();
  use();
  const std::size_t calls = memory->calls().all();
  for (std::size_t k = 1; k <= calls; ++k) {
    memory->injectFault(k, MemoryStream::Fault::fails);
    EXPECT_CODE(ioFailed, use()) << "call " << k;
  }
  memory->injectFault(calls + 1, MemoryStream::Fault::fails);
  EXPECT_CODE(success, use());
}

}  // namespace
}  // namespace norvik::kav::impl
