#include "kaf/write_windows.h"

#include "kaf/file_stream.h"
#include "kaf/open_mode.h"
#include "tests/support/run_program.h"
#include "tests/support/system_calls.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

namespace quell::kaf {
namespace {

namespace fs = std::filesystem;
using quarrypack::test::Bytes;
using quarrypack::test::readFile;
using quarrypack::test::resetSystemCalls;
using quarrypack::test::SystemCall;
using quarrypack::test::systemCallCount;

// The windows are tested through the stream that owns them: by its calls, and by what arrives.
class WriteWindowsTest : public testing::Test {
 protected:
  WriteWindowsTest()
      : path_(folder_.path() / "o.mp4"),
        stream_(path_.string(), OpenMode::kReadWrite | OpenMode::kCreate | OpenMode::kTruncate) {
    stream_.open();
    resetSystemCalls();
  }

  void put(std::uint64_t position, const Bytes& bytes) {
    stream_.seek(static_cast<std::int64_t>(position), 0);
    ASSERT_EQ(stream_.write(bytes.data(), bytes.size()), bytes.size());
  }

  static std::size_t writes() { return systemCallCount(SystemCall::write); }

  Bytes closedFile() {
    stream_.close();
    return readFile(path_);
  }

  quarrypack::test::TemporaryFolder folder_;
  fs::path path_;
  FileStream stream_;
};

Bytes number(std::size_t value) {
  return {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
          static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

// 0, 1, 2 … one after the other, as a table holds them.
Bytes numbersBelow(std::size_t count) {
  Bytes bytes;
  bytes.reserve(4 * count);
  for (std::size_t i = 0; i < count; ++i) {
    for (const std::uint8_t byte : number(i)) bytes.push_back(byte);
  }
  return bytes;
}

TEST_F(WriteWindowsTest, AFieldAtATimeIsOneSystemCall) {
  for (std::size_t i = 0; i < 1000; ++i) put(4 * i, number(i));
  EXPECT_EQ(writes(), 0u);
  EXPECT_EQ(closedFile(), numbersBelow(1000));
  EXPECT_EQ(writes(), 1u);
}

TEST_F(WriteWindowsTest, TablesAndMediaDataThatGrowTogetherTakeFewSystemCalls) {
  constexpr std::size_t kSamples = 20'000;
  constexpr std::size_t kTables = 12;
  constexpr std::size_t kTableSize = 4 * kSamples;
  const Bytes sample(240, 0x5A);
  std::size_t media = kTables * kTableSize;
  for (std::size_t i = 0; i < kSamples; ++i) {
    for (std::size_t table = 0; table < kTables; ++table) {
      put(table * kTableSize + 4 * i, number(table * kSamples + i));
    }
    put(media, sample);
    media += sample.size();
  }
  const Bytes bytes = closedFile();
  // 19 pieces of 256 KiB of media data and two of 64 KiB of each table.
  EXPECT_LE(writes(), 50u);
  Bytes expected = numbersBelow(kTables * kSamples);
  expected.resize(media, 0x5A);
  EXPECT_TRUE(bytes == expected);
}

TEST_F(WriteWindowsTest, ALargeWriteGoesOutInOneCallWithTheWindowItContinues) {
  put(0, Bytes(100, 1));
  put(100, Bytes(200'000, 2));
  EXPECT_EQ(writes(), 1u);
  put(200'100, Bytes(10, 3));
  EXPECT_EQ(writes(), 1u);
  Bytes expected(100, 1);
  expected.resize(200'100, 2);
  expected.resize(200'110, 3);
  EXPECT_EQ(closedFile(), expected);
}

// One window at a time may be wide: 20 pieces of 16 KiB are two writes then, where windows of 64
// KiB take five.
TEST_F(WriteWindowsTest, ALargeWriteIsNotCopiedIntoAWindowThatHasRoom) {
  constexpr std::size_t kSmall = 1024;
  for (std::size_t i = 0; i < 100; ++i) put(i * kSmall, Bytes(kSmall, 1));
  const std::size_t before = writes();
  put(100 * kSmall, Bytes(40 * kSmall, 2));
  EXPECT_EQ(writes(), before + 1);
  Bytes expected(100 * kSmall, 1);
  expected.resize(128 * kSmall, 2);
  EXPECT_EQ(readFile(path_), expected) << "the rest is not a whole piece of 64 KiB";
  expected.resize(140 * kSmall, 2);
  EXPECT_EQ(closedFile(), expected);
}

TEST_F(WriteWindowsTest, LargeWritesGoOutInWholePieces) {
  Bytes expected;
  for (std::uint8_t i = 1; i <= 20; ++i) {
    put(expected.size(), Bytes(77'777, i));
    expected.resize(expected.size() + 77'777, i);
    EXPECT_EQ(fs::file_size(path_), expected.size() / 65'536 * 65'536) << int{i};
    EXPECT_EQ(writes(), i);
  }
  EXPECT_EQ(closedFile(), expected);
}

TEST_F(WriteWindowsTest, ALargeWriteWithoutAPieceOfItsOwnIsHeld) {
  put(10'000, Bytes(40'000, 1));
  EXPECT_EQ(writes(), 0u);
  Bytes expected(10'000, 0);
  expected.resize(50'000, 1);
  EXPECT_EQ(closedFile(), expected);
}

TEST_F(WriteWindowsTest, ThePlaceOfAWideWindowIsFreeAgainOnceItIsWritten) {
  constexpr std::size_t kPiece = 16u << 10;
  constexpr std::size_t kPlaces[] = {0, 1u << 20};
  for (const std::size_t start : kPlaces) {
    resetSystemCalls();
    for (std::size_t i = 0; i < 19; ++i) put(start + i * kPiece, Bytes(kPiece, 1));
    // The write across the end of the window takes the window with it.
    put(start + 19 * kPiece - 1, Bytes(2, 2));
    EXPECT_LE(writes(), 2u) << start;
  }
  const Bytes bytes = closedFile();
  for (const std::size_t start : kPlaces) {
    EXPECT_EQ(bytes[start], 1);
    EXPECT_EQ(bytes[start + 19 * kPiece - 2], 1);
    EXPECT_EQ(bytes[start + 19 * kPiece - 1], 2);
    EXPECT_EQ(bytes[start + 19 * kPiece], 2);
  }
}

TEST_F(WriteWindowsTest, APatchOfHeldBytesIsHeldToo) {
  put(0, Bytes(1000, 1));
  put(500, Bytes(4, 2));
  put(0, Bytes(4, 3));
  put(996, Bytes(4, 4));
  EXPECT_EQ(writes(), 0u);
  Bytes expected(1000, 1);
  std::fill_n(expected.begin() + 500, 4, std::uint8_t{2});
  std::fill_n(expected.begin(), 4, std::uint8_t{3});
  std::fill_n(expected.begin() + 996, 4, std::uint8_t{4});
  EXPECT_EQ(closedFile(), expected);
  EXPECT_EQ(writes(), 1u);
}

TEST_F(WriteWindowsTest, TheLaterOfTwoOverlappingWritesWins) {
  // Before, across, and around the held bytes, small and large.
  for (const std::size_t size : {100u, 50'000u}) {
    for (const std::size_t at : {60u, 90u, 200u, 300u, 390u, 399u, 400u}) {
      stream_.setSize(0);
      Bytes model(1000, 0);
      put(0, model);
      const auto both = [&](std::size_t position, const Bytes& bytes) {
        put(position, bytes);
        if (model.size() < position + bytes.size()) model.resize(position + bytes.size());
        std::copy(bytes.begin(), bytes.end(),
                  model.begin() + static_cast<std::ptrdiff_t>(position));
      };
      stream_.setSize(1000);  // nothing is held now
      both(100, Bytes(50, 1));
      both(300, Bytes(100, 2));
      both(450, Bytes(10, 3));
      both(at, Bytes(size, 4));
      both(at + size, Bytes(5, 5));
      stream_.seek(0, 0);
      Bytes bytes(model.size() + 1);
      bytes.resize(stream_.read(bytes.data(), bytes.size()));
      EXPECT_EQ(bytes, model) << size << " at " << at;
    }
  }
}

TEST_F(WriteWindowsTest, AWindowThatReachesTheNextOneContinuesAfterIt) {
  put(8, Bytes(8, 2));
  put(0, Bytes(4, 1));
  put(4, Bytes(4, 1));
  put(8, Bytes(2, 3));
  put(16, Bytes(4, 4));
  put(10, Bytes(8, 5));
  Bytes expected(8, 1);
  expected.resize(10, 3);
  expected.resize(18, 5);
  expected.resize(20, 4);
  EXPECT_EQ(closedFile(), expected);
}

TEST_F(WriteWindowsTest, AWindowDoesNotGrowOverOneThatWasOpenedAfterIt) {
  put(0, Bytes(10, 1));
  put(10, Bytes(10, 1));
  put(50, Bytes(50, 2));
  put(20, Bytes(40, 3));
  put(60, Bytes(10, 4));
  Bytes expected(20, 1);
  expected.resize(60, 3);
  expected.resize(70, 4);
  expected.resize(100, 2);
  EXPECT_EQ(closedFile(), expected);
}

TEST_F(WriteWindowsTest, AWriteAcrossTheEndOfAPieceOpensAWindowAfterIt) {
  put(65'530, Bytes(10, 1));
  EXPECT_EQ(writes(), 1u);
  put(65'540, Bytes(10, 2));
  EXPECT_EQ(writes(), 1u);
  Bytes expected(65'530, 0);
  expected.resize(65'540, 1);
  expected.resize(65'550, 2);
  EXPECT_EQ(closedFile(), expected);
}

TEST_F(WriteWindowsTest, MorePlacesThanWindowsLoseNothing) {
  // Several times as many places as there are windows.
  constexpr std::size_t kPlaces = 1'000;
  constexpr std::size_t kRounds = 3;
  for (std::size_t round = 0; round < kRounds; ++round) {
    for (std::size_t place = 0; place < kPlaces; ++place) {
      put(place * 4 * kRounds + 4 * round, number(place * kRounds + round));
    }
  }
  EXPECT_TRUE(closedFile() == numbersBelow(kPlaces * kRounds));
}

TEST_F(WriteWindowsTest, TheBusyPlacesKeepTheirWindows) {
  // Two places grow steadily while a thousand others are visited once.
  for (std::size_t i = 0; i < 1000; ++i) {
    put(4 * i, number(i));
    put(10'000 + 4 * i, number(i));
    put(100'000 + 100 * i, number(i));
  }
  // All but the 254 visited last were written one by one.
  EXPECT_EQ(writes(), 1000u - 254u);
}

TEST_F(WriteWindowsTest, UnwrittenRoomStaysAHole) {
  put(0, Bytes(16, 1));
  put(64u << 20, Bytes(16, 2));
  stream_.close();
  resetSystemCalls();
  EXPECT_EQ(fs::file_size(path_), (64u << 20) + 16u);
  FileStream again(path_.string(), OpenMode::kReadOnly);
  again.open();
  again.seek(1u << 20, 0);
  Bytes bytes(16, 9);
  EXPECT_EQ(again.read(bytes.data(), bytes.size()), 16u);
  EXPECT_EQ(bytes, Bytes(16, 0));
}

}  // namespace
}  // namespace quell::kaf
