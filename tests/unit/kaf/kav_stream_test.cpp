#include "kaf/kav_stream.h"

#include "kaf/file_failure.h"
#include "kaf/open_mode.h"
#include "kav/error_code.h"
#include "kav/impl/bytes/stream_adapters.h"
#include "tests/support/expect_code.h"
#include "tests/support/run_program.h"
#include "tests/unit/kaf/ordinary_user.h"
#include "tests/unit/kaf/system_calls.h"

#include <gtest/gtest.h>
#include <boost/smart_ptr/intrusive_ptr.hpp>

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace quell::kafpkgutil {
namespace {

namespace fs = std::filesystem;
using kaf::OpenMode;
using norvik::kav::ErrorCode;
using quarrypack::test::Bytes;
using quarrypack::test::failSystemCall;
using quarrypack::test::readFile;
using quarrypack::test::resetSystemCalls;
using quarrypack::test::SystemCall;
using quarrypack::test::systemCallCount;
using quarrypack::test::thrownCode;
using quarrypack::test::writeFile;
using KavStreamPtr = boost::intrusive_ptr<KavStream>;

constexpr std::uint32_t kInput = OpenMode::kBinary;
constexpr std::uint32_t kOutput =
    OpenMode::kReadWrite | OpenMode::kCreate | OpenMode::kTruncate | OpenMode::kBinary;

class KavStreamTest : public testing::Test {
 protected:
  KavStreamTest() { resetSystemCalls(); }
  ~KavStreamTest() override { resetSystemCalls(); }

  std::string at(const std::string& name) const { return (folder_.path() / name).string(); }

  KavStreamPtr opened(const std::string& name, std::uint32_t mode) const {
    KavStreamPtr stream(new KavStream(at(name), mode));
    stream->open();
    return stream;
  }

 private:
  quarrypack::test::TemporaryFolder folder_;
};

TEST_F(KavStreamTest, OpeningAMissingInputIsFileNotFound) {
  const KavStreamPtr stream(new KavStream(at("missing.mov"), kInput));
  EXPECT_CODE(fileNotFound, stream->open());
}

TEST_F(KavStreamTest, OpeningAnOutputInAFolderWithoutWritePermissionIsAccessDenied) {
  fs::create_directory(at("closed"));
  fs::permissions(at("closed"), fs::perms::owner_read | fs::perms::owner_exec);
  const KavStreamPtr stream(new KavStream(at("closed/o.mp4"), kOutput));
  const quarrypack::test::OrdinaryUser user;
  EXPECT_CODE(accessDenied, stream->open());
}

TEST_F(KavStreamTest, NamesTheFileAndTheReasonOfAFailure) {
  const KavStreamPtr stream = opened("o.mp4", kOutput);
  const Bytes bytes(64u << 10);
  failSystemCall(SystemCall::write, 1, ENOSPC);
  try {
    stream->write(bytes.data(), bytes.size());
    FAIL();
  } catch (const FileFailure& failure) {
    EXPECT_EQ(failure.code(), static_cast<std::uint32_t>(ErrorCode::ioFailed));
    EXPECT_EQ(failure.fileName(), at("o.mp4"));
    EXPECT_EQ(failure.reason(), "No space left on device");
  }
}

TEST_F(KavStreamTest, TurnsSystemErrorsIntoTheLibrarysCodes) {
  const std::vector<std::pair<int, ErrorCode>> cases = {
      {ENOENT, ErrorCode::fileNotFound}, {EACCES, ErrorCode::accessDenied},
      {EEXIST, ErrorCode::accessDenied}, {EMFILE, ErrorCode::accessDenied},
      {EINVAL, ErrorCode::ioFailed},     {EIO, ErrorCode::ioFailed},
      {ENOSPC, ErrorCode::ioFailed},
  };
  for (const auto& [number, code] : cases) {
    const KavStreamPtr stream(new KavStream(at("o.mp4"), kOutput));
    failSystemCall(SystemCall::open, 1, number);
    EXPECT_EQ(thrownCode([&] { stream->open(); }), code) << number;
  }
}

TEST_F(KavStreamTest, EveryOperationTranslatesItsFailure) {
  std::uint8_t byte = 0;
  const KavStreamPtr closed(new KavStream(at("o.mp4"), kOutput));
  EXPECT_CODE(ioFailed, closed->read(&byte, 1));
  EXPECT_CODE(ioFailed, closed->write(&byte, 1));
  EXPECT_CODE(ioFailed, closed->seek(0, 0));
  EXPECT_CODE(ioFailed, closed->tell());
  EXPECT_CODE(ioFailed, closed->setSize(0));
  EXPECT_CODE(ioFailed, closed->sameFileAs(*closed));
  EXPECT_CODE(success, closed->close());
  const KavStreamPtr stream = opened("o.mp4", kOutput);
  failSystemCall(SystemCall::close, 1, EIO);
  EXPECT_CODE(ioFailed, stream->close());
}

TEST_F(KavStreamTest, AFolderOrAPipeIsAnIoFailureAtOnce) {
  fs::create_directory(at("folder"));
  ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
  for (const char* name : {"folder", "pipe"}) {
    const KavStreamPtr stream(new KavStream(at(name), kInput));
    EXPECT_CODE(ioFailed, stream->open()) << name;
  }
}

TEST_F(KavStreamTest, MovesBytesPositionsAndSizes) {
  const KavStreamPtr stream = opened("o.mp4", kOutput);
  EXPECT_EQ(stream->write("0123456789", 10), 10u);
  EXPECT_EQ(stream->tell(), 10u);
  stream->seek(2, norvik::kav::kSeekFromStart);
  stream->seek(3, 7);
  std::array<char, 2> characters{};
  EXPECT_EQ(stream->read(characters.data(), 2), 2u);
  EXPECT_EQ(characters, (std::array{'5', '6'}));
  stream->seek(-1, norvik::kav::kSeekFromEnd);
  EXPECT_EQ(stream->tell(), 9u);
  stream->setSize(4);
  stream->close();
  EXPECT_EQ(readFile(at("o.mp4")), (Bytes{'0', '1', '2', '3'}));
}

TEST_F(KavStreamTest, TheLastReleaseDestroysAndClosesTheStream) {
  auto* stream = new KavStream(at("o.mp4"), kOutput);
  stream->addRef();
  stream->addRef();
  stream->open();
  stream->write("abc", 3);
  stream->release();
  EXPECT_EQ(systemCallCount(SystemCall::close), 0u);
  stream->release();
  EXPECT_EQ(systemCallCount(SystemCall::close), 1u);
  EXPECT_EQ(readFile(at("o.mp4")), (Bytes{'a', 'b', 'c'}));
}

TEST_F(KavStreamTest, TheAdapterReadsAFileExactly) {
  writeFile(at("a.mov"), {0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
  norvik::kav::impl::NorvikKavIStream stream(opened("a.mov", kInput));
  EXPECT_EQ(stream.computeSize(), 10u);
  EXPECT_EQ(stream.tell(), 0u);
  std::array<std::uint8_t, 8> bytes{};
  stream.readFully(bytes.data(), bytes.size());
  EXPECT_EQ(bytes[7], 7);
  stream.seek(-4, norvik::kav::kSeekFromEnd);
  EXPECT_CODE(shortRead, stream.readFully(bytes.data(), bytes.size()));
}

TEST_F(KavStreamTest, TheAdapterMeasuresBytesThatAreStillHeld) {
  norvik::kav::impl::NorvikKavIOStream stream(opened("o.mp4", kOutput));
  stream.seekTo(100);
  stream.writeFully("abc", 3);
  stream.seekTo(7);
  EXPECT_EQ(stream.computeSize(), 103u);
  EXPECT_EQ(stream.tell(), 7u);
}

TEST_F(KavStreamTest, AnOutputIsComparedWithTheInputBeforeItsContentIsDropped) {
  writeFile(at("a.mov"), {1, 2, 3});
  fs::create_hard_link(at("a.mov"), at("link.mp4"));
  const KavStreamPtr input = opened("a.mov", kInput);
  const KavStreamPtr output(
      new KavStream(at("link.mp4"), kOutput, KavStream::Truncation::byCaller));
  output->open();
  EXPECT_TRUE(output->sameFileAs(*input));
  output->close();
  EXPECT_FALSE(output->removeIfOpenedHere());
  EXPECT_EQ(readFile(at("a.mov")), (Bytes{1, 2, 3}));
}

TEST_F(KavStreamTest, RemovesAnOutputThatFailed) {
  const KavStreamPtr output = opened("o.mp4", kOutput);
  output->write("abc", 3);
  output->close();
  EXPECT_TRUE(output->removeIfOpenedHere());
  EXPECT_FALSE(fs::exists(at("o.mp4")));
}

}  // namespace
}  // namespace quell::kafpkgutil
