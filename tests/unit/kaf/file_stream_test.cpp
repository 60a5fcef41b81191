#include "kaf/file_stream.h"

#include "kaf/io_stream_exception.h"
#include "kaf/open_mode.h"
#include "tests/support/run_program.h"
#include "tests/support/system_calls.h"
#include "tests/unit/kaf/ordinary_user.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace quell::kaf {
namespace {

namespace fs = std::filesystem;
using quarrypack::test::Bytes;
using quarrypack::test::failSystemCall;
using quarrypack::test::OrdinaryUser;
using quarrypack::test::readFile;
using quarrypack::test::resetSystemCalls;
using quarrypack::test::shortenSystemCall;
using quarrypack::test::SystemCall;
using quarrypack::test::systemCallCount;
using quarrypack::test::systemFaultWasMet;
using quarrypack::test::writeFile;

constexpr std::uint32_t kInput = OpenMode::kReadOnly | OpenMode::kBinary;
constexpr std::uint32_t kUpdate = OpenMode::kReadWrite | OpenMode::kCreate | OpenMode::kBinary;
constexpr std::uint32_t kOutput = kUpdate | OpenMode::kTruncate;

constexpr int kFromStart = 0;
constexpr int kFromCurrent = 1;
constexpr int kFromEnd = 2;

class FileStreamTest : public testing::Test {
 protected:
  FileStreamTest() { resetSystemCalls(); }
  ~FileStreamTest() override { resetSystemCalls(); }

  std::string at(const std::string& name) const { return (folder_.path() / name).string(); }

  std::string withBytes(const std::string& name, const Bytes& bytes) const {
    writeFile(at(name), bytes);
    return at(name);
  }

 private:
  quarrypack::test::TemporaryFolder folder_;
};

// The kind of the call's failure, or nothing if it succeeds.
std::optional<IOErrorKind> kindOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const IOStreamException& e) {
    return e.kind();
  }
  return std::nullopt;
}

std::size_t put(FileStream& stream, std::uint64_t position, const Bytes& bytes) {
  stream.seek(static_cast<std::int64_t>(position), kFromStart);
  return stream.write(bytes.data(), bytes.size());
}

Bytes get(FileStream& stream, std::uint64_t position, std::size_t count) {
  Bytes bytes(count);
  stream.seek(static_cast<std::int64_t>(position), kFromStart);
  bytes.resize(stream.read(bytes.data(), count));
  return bytes;
}

Bytes text(const std::string& characters) { return Bytes(characters.begin(), characters.end()); }

// No file grows beyond the limit while this lives; the attempt is a failed call and not a signal.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    rlimit limit = before_;
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before_{};
  void (*handler_)(int);
};

// ---- opening

TEST(IOStreamException, DerivesItsKindFromTheSystemError) {
  const std::vector<std::pair<int, std::int32_t>> cases = {
      {0, 0}, {2, 6}, {13, 3}, {17, 4}, {22, 2}, {24, 5}, {1, 1}, {5, 1}, {21, 1}, {27, 1}, {28, 1},
  };
  for (const auto& [number, kind] : cases) {
    EXPECT_EQ(static_cast<std::int32_t>(IOStreamException(number, "a.mov").kind()), kind) << number;
  }
}

TEST(IOStreamException, NamesTheFileAndTheReason) {
  const IOStreamException failure(ENOENT, "a.mov");
  EXPECT_EQ(failure.fileName(), "a.mov");
  EXPECT_EQ(failure.getMessage(), "a.mov: No such file or directory");
}

TEST_F(FileStreamTest, OpeningAMissingInputNamesTheFileThatIsNotFound) {
  FileStream stream(at("missing.mov"), kInput);
  try {
    stream.open();
    FAIL() << "opened a missing file";
  } catch (const IOStreamException& e) {
    EXPECT_EQ(e.kind(), IOErrorKind::fileNotFound);
    EXPECT_EQ(e.fileName(), at("missing.mov"));
  }
}

TEST_F(FileStreamTest, OpeningAnOutputInAFolderWithoutWritePermissionIsDenied) {
  fs::create_directory(at("closed"));
  fs::permissions(at("closed"), fs::perms::owner_read | fs::perms::owner_exec);
  FileStream stream(at("closed/o.mp4"), kOutput);
  const OrdinaryUser user;
  EXPECT_EQ(kindOf([&] { stream.open(); }), IOErrorKind::accessDenied);
}

TEST_F(FileStreamTest, ExclusiveCreationRefusesAFileThatExists) {
  FileStream stream(withBytes("o.mp4", text("old")), kOutput | OpenMode::kExclusive);
  EXPECT_EQ(kindOf([&] { stream.open(); }), IOErrorKind::fileExists);
  EXPECT_EQ(readFile(at("o.mp4")), text("old"));
  FileStream fresh(at("new.mp4"), kOutput | OpenMode::kExclusive);
  EXPECT_NO_THROW(fresh.open());
}

TEST_F(FileStreamTest, TheExclusiveBitAloneRefusesAFileThatExistsToo) {
  withBytes("o.mp4", text("old"));
  fs::create_symlink("nowhere", at("link.mp4"));
  for (const std::uint32_t access : {OpenMode::kReadOnly, OpenMode::kReadWrite}) {
    for (const char* name : {"o.mp4", "link.mp4"}) {
      FileStream stream(at(name), access | OpenMode::kExclusive | OpenMode::kTruncate);
      EXPECT_EQ(kindOf([&] { stream.open(); }), IOErrorKind::fileExists) << name;
    }
    FileStream missing(at("missing.mp4"), access | OpenMode::kExclusive);
    EXPECT_EQ(kindOf([&] { missing.open(); }), IOErrorKind::fileNotFound);
  }
  EXPECT_EQ(readFile(at("o.mp4")), text("old"));
  EXPECT_FALSE(fs::exists(at("missing.mp4")));
}

TEST_F(FileStreamTest, TooManyOpenFilesHasAKindOfItsOwn) {
  FileStream stream(withBytes("a.mov", text("abc")), kInput);
  failSystemCall(SystemCall::open, 1, EMFILE);
  EXPECT_EQ(kindOf([&] { stream.open(); }), IOErrorKind::tooManyOpenFiles);
}

TEST_F(FileStreamTest, AnInterruptedOpenIsRepeated) {
  FileStream stream(withBytes("a.mov", text("abc")), kInput);
  failSystemCall(SystemCall::open, 1, EINTR);
  stream.open();
  EXPECT_TRUE(systemFaultWasMet());
  EXPECT_EQ(get(stream, 0, 3), text("abc"));
}

TEST_F(FileStreamTest, OpensNothingButRegularFilesAndDoesNotWait) {
  ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
  fs::create_directory(at("folder"));
  for (const std::string& path :
       {at("pipe"), at("folder"), std::string("/dev/null"), std::string("/dev/full")}) {
    FileStream input(path, kInput);
    EXPECT_EQ(kindOf([&] { input.open(); }), IOErrorKind::other) << path;
    FileStream output(path, kOutput);
    EXPECT_EQ(kindOf([&] { output.open(); }), IOErrorKind::other) << path;
    FileStream writeOnly(path, OpenMode::kWriteOnly | OpenMode::kCreate);
    EXPECT_EQ(kindOf([&] { writeOnly.open(); }), IOErrorKind::other) << path;
    EXPECT_FALSE(output.removeIfOpenedHere());
    EXPECT_TRUE(fs::exists(path));
  }
}

TEST_F(FileStreamTest, AFailedOpeningLeavesNoDescriptorOpen) {
  fs::create_directory(at("folder"));
  FileStream folder(at("folder"), kInput);
  kindOf([&] { folder.open(); });
  EXPECT_EQ(systemCallCount(SystemCall::close), 1u);

  FileStream stream(withBytes("o.mp4", text("old")), kOutput);
  failSystemCall(SystemCall::setLength, 1, EIO);
  EXPECT_EQ(kindOf([&] { stream.open(); }), IOErrorKind::other);
  EXPECT_EQ(systemCallCount(SystemCall::close), 2u);
}

TEST_F(FileStreamTest, ACreatedFileCanBeReadAndWrittenAsFarAsTheMaskAllows) {
  const mode_t before = umask(0027);
  FileStream stream(at("o.mp4"), kOutput);
  stream.open();
  umask(before);
  EXPECT_EQ(fs::status(at("o.mp4")).permissions(), fs::perms(0640));
}

TEST_F(FileStreamTest, TheTruncateBitDropsTheOldContent) {
  FileStream stream(withBytes("o.mp4", text("old content")), kOutput);
  stream.open();
  EXPECT_EQ(fs::file_size(at("o.mp4")), 0u);
}

TEST_F(FileStreamTest, WithoutTheTruncateBitTheOldContentStays) {
  FileStream stream(withBytes("o.mp4", text("old content")), kUpdate);
  stream.open();
  put(stream, 0, text("new"));
  stream.close();
  EXPECT_EQ(readFile(at("o.mp4")), text("new content"));
}

TEST_F(FileStreamTest, TheCallerMayDropTheOldContentLater) {
  FileStream stream(withBytes("o.mp4", text("old content")), kOutput,
                    FileStream::Truncation::byCaller);
  stream.open();
  EXPECT_EQ(fs::file_size(at("o.mp4")), 11u);
  stream.setSize(0);
  EXPECT_EQ(fs::file_size(at("o.mp4")), 0u);
}

TEST_F(FileStreamTest, AMissingOutputIsOnlyMadeWithTheCreateBit) {
  FileStream stream(at("o.mp4"), OpenMode::kReadWrite);
  EXPECT_EQ(kindOf([&] { stream.open(); }), IOErrorKind::fileNotFound);
  EXPECT_FALSE(fs::exists(at("o.mp4")));
}

TEST_F(FileStreamTest, AnInputCannotBeWritten) {
  FileStream stream(withBytes("a.mov", text("abc")), kInput);
  stream.open();
  EXPECT_EQ(kindOf([&] { put(stream, 0, text("x")); }), IOErrorKind::other);
  EXPECT_NE(kindOf([&] { stream.setSize(0); }), std::nullopt);
  stream.close();
  EXPECT_EQ(readFile(at("a.mov")), text("abc"));
}

TEST_F(FileStreamTest, AWriteOnlyFileCannotBeRead) {
  FileStream stream(withBytes("o.mp4", text("abc")), OpenMode::kWriteOnly);
  stream.open();
  EXPECT_EQ(kindOf([&] { get(stream, 0, 1); }), IOErrorKind::other);
  put(stream, 1, text("X"));
  stream.close();
  EXPECT_EQ(readFile(at("o.mp4")), text("aXc"));
}

TEST_F(FileStreamTest, AppendingWritesAtTheEndWhereverThePositionIs) {
  FileStream stream(withBytes("log", text("abc")), kUpdate | OpenMode::kAppend);
  stream.open();
  put(stream, 0, text("de"));
  EXPECT_EQ(stream.tell(), 5u);
  put(stream, 1, text("fg"));
  EXPECT_EQ(stream.tell(), 7u);
  stream.close();
  EXPECT_EQ(readFile(at("log")), text("abcdefg"));
}

TEST_F(FileStreamTest, OpeningAgainOnlyGoesBackToTheStart) {
  FileStream stream(at("o.mp4"), kOutput | OpenMode::kExclusive);
  stream.open();
  put(stream, 0, text("abc"));
  stream.open();
  EXPECT_EQ(stream.tell(), 0u);
  stream.write("X", 1);
  stream.close();
  EXPECT_EQ(systemCallCount(SystemCall::open), 1u);
  EXPECT_EQ(readFile(at("o.mp4")), text("Xbc"));
}

TEST_F(FileStreamTest, CanBeOpenedAgainAfterClosing) {
  FileStream stream(withBytes("a.mov", text("abc")), kInput);
  stream.open();
  EXPECT_EQ(get(stream, 0, 3), text("abc"));
  stream.close();
  writeFile(at("a.mov"), text("xyz"));
  stream.open();
  EXPECT_EQ(stream.tell(), 0u);
  EXPECT_EQ(get(stream, 0, 3), text("xyz"));
}

// ---- positions

TEST_F(FileStreamTest, SeeksFromStartCurrentAndEnd) {
  FileStream stream(withBytes("a.mov", text("0123456789")), kInput);
  stream.open();
  EXPECT_EQ(stream.tell(), 0u);
  stream.seek(4, kFromStart);
  EXPECT_EQ(stream.tell(), 4u);
  stream.seek(-1, kFromCurrent);
  EXPECT_EQ(stream.tell(), 3u);
  stream.seek(-2, kFromEnd);
  EXPECT_EQ(stream.tell(), 8u);
  stream.seek(5, kFromEnd);
  EXPECT_EQ(stream.tell(), 15u);
}

TEST_F(FileStreamTest, AnyOtherOriginCountsFromTheCurrentPosition) {
  FileStream stream(withBytes("a.mov", text("0123456789")), kInput);
  stream.open();
  for (const int origin : {7, 3, -1, std::numeric_limits<int>::max()}) {
    stream.seek(2, kFromStart);
    stream.seek(3, origin);
    EXPECT_EQ(stream.tell(), 5u) << origin;
  }
}

TEST_F(FileStreamTest, ASeekToNoPositionIsInvalidAndMovesNothing) {
  FileStream stream(withBytes("a.mov", text("0123456789")), kInput);
  stream.open();
  stream.seek(4, kFromStart);
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(kindOf([&] { stream.seek(-1, kFromStart); }), IOErrorKind::invalidArgument);
  EXPECT_EQ(kindOf([&] { stream.seek(-5, kFromCurrent); }), IOErrorKind::invalidArgument);
  EXPECT_EQ(kindOf([&] { stream.seek(-11, kFromEnd); }), IOErrorKind::invalidArgument);
  EXPECT_EQ(kindOf([&] { stream.seek(kMin, kFromEnd); }), IOErrorKind::invalidArgument);
  EXPECT_EQ(kindOf([&] { stream.seek(kMax, kFromCurrent); }), IOErrorKind::invalidArgument);
  EXPECT_EQ(stream.tell(), 4u);
}

TEST_F(FileStreamTest, TheLastPositionCanBeReachedButNotWritten) {
  FileStream stream(at("o.mp4"), kOutput);
  stream.open();
  stream.seek(std::numeric_limits<std::int64_t>::max(), kFromStart);
  EXPECT_EQ(kindOf([&] { stream.write("x", 1); }), IOErrorKind::other);
  EXPECT_NE(kindOf([&] { stream.setSize(std::numeric_limits<std::uint64_t>::max()); }),
            std::nullopt);
  EXPECT_EQ(fs::file_size(at("o.mp4")), 0u);
}

TEST_F(FileStreamTest, TheEndIsPastBytesThatAreStillHeld) {
  FileStream stream(at("o.mp4"), kOutput);
  stream.open();
  put(stream, 100, text("abc"));
  put(stream, 0, text("abc"));
  EXPECT_EQ(fs::file_size(at("o.mp4")), 0u);
  stream.seek(0, kFromEnd);
  EXPECT_EQ(stream.tell(), 103u);
}

// ---- moving bytes

TEST_F(FileStreamTest, WithoutCountOrBufferNothingHappensEvenWhenClosed) {
  FileStream stream(at("missing"), kInput);
  std::uint8_t byte = 0;
  EXPECT_EQ(stream.read(&byte, 0), 0u);
  EXPECT_EQ(stream.read(nullptr, 5), 0u);
  EXPECT_EQ(stream.write(&byte, 0), 0u);
  EXPECT_EQ(stream.write(nullptr, 5), 0u);
}

TEST_F(FileStreamTest, AnEmptyFileIsNotEmptiedAgain) {
  FileStream stream(withBytes("o.mp4", {}), kUpdate | OpenMode::kTruncate);
  stream.open();
  stream.setSize(0);
  EXPECT_EQ(systemCallCount(SystemCall::setLength), 0u);
  // What is still held counts too.
  const std::uint8_t byte = 1;
  stream.write(&byte, 1);
  stream.setSize(0);
  EXPECT_EQ(systemCallCount(SystemCall::setLength), 1u);
  stream.close();
  EXPECT_EQ(fs::file_size(at("o.mp4")), 0u);
}

TEST_F(FileStreamTest, AClosedStreamRefusesEveryUseButClosing) {
  FileStream stream(withBytes("o.mp4", text("abc")), kUpdate);
  std::uint8_t byte = 0;
  const auto refusesAll = [&] {
    EXPECT_EQ(kindOf([&] { stream.read(&byte, 1); }), IOErrorKind::other);
    EXPECT_EQ(kindOf([&] { stream.write(&byte, 1); }), IOErrorKind::other);
    EXPECT_EQ(kindOf([&] { stream.seek(0, kFromStart); }), IOErrorKind::other);
    EXPECT_EQ(kindOf([&] { stream.tell(); }), IOErrorKind::other);
    EXPECT_EQ(kindOf([&] { stream.setSize(0); }), IOErrorKind::other);
    EXPECT_NO_THROW(stream.close());
  };
  refusesAll();
  stream.open();
  stream.close();
  refusesAll();
  EXPECT_EQ(systemCallCount(SystemCall::close), 1u);
}

TEST_F(FileStreamTest, TheEndOfTheFileIsNoFailure) {
  FileStream stream(withBytes("a.mov", text("0123456789")), kInput);
  stream.open();
  EXPECT_EQ(get(stream, 6, 8), text("6789"));
  EXPECT_EQ(stream.tell(), 10u);
  EXPECT_EQ(get(stream, 10, 8), Bytes());
  EXPECT_EQ(get(stream, 1000, 8), Bytes());
  EXPECT_EQ(stream.tell(), 1000u);
}

TEST_F(FileStreamTest, WhatWasWrittenCanBeReadBack) {
  FileStream stream(at("o.mp4"), kOutput);
  stream.open();
  put(stream, 2, text("abc"));
  EXPECT_EQ(get(stream, 0, 10), (Bytes{0, 0, 'a', 'b', 'c'}));
  put(stream, 3, text("X"));
  EXPECT_EQ(get(stream, 2, 10), text("aXc"));
  stream.setSize(3);
  EXPECT_EQ(get(stream, 2, 10), text("a"));
}

TEST_F(FileStreamTest, AReadShowsWhatOthersChanged) {
  FileStream stream(withBytes("a.mov", text("old old old")), kInput);
  stream.open();
  EXPECT_EQ(get(stream, 0, 3), text("old"));
  withBytes("a.mov", text("new new new and more"));
  EXPECT_EQ(get(stream, 4, 3), text("new"));
  EXPECT_EQ(get(stream, 12, 8), text("and more"));
  withBytes("a.mov", text("cut"));
  EXPECT_EQ(get(stream, 0, 8), text("cut"));
}

TEST_F(FileStreamTest, SettingTheSizeKeepsThePositionAndTheHeldBytes) {
  FileStream stream(at("o.mp4"), kOutput);
  stream.open();
  put(stream, 0, text("abcdef"));
  stream.setSize(4);
  EXPECT_EQ(stream.tell(), 6u);
  EXPECT_EQ(readFile(at("o.mp4")), text("abcd"));
  stream.setSize(6);
  EXPECT_EQ(readFile(at("o.mp4")), (Bytes{'a', 'b', 'c', 'd', 0, 0}));
}

TEST_F(FileStreamTest, ReachesPlacesBeyondFourGibibytes) {
  constexpr std::uint64_t kFar = 5ull << 30;
  FileStream stream(at("o.mp4"), kOutput);
  stream.open();
  put(stream, kFar, text("far"));
  put(stream, 0, text("near"));
  stream.close();
  EXPECT_EQ(fs::file_size(at("o.mp4")), kFar + 3);
  FileStream input(at("o.mp4"), kInput);
  input.open();
  EXPECT_EQ(get(input, kFar, 9), text("far"));
  EXPECT_EQ(get(input, 0, 5), (Bytes{'n', 'e', 'a', 'r', 0}));
}

TEST_F(FileStreamTest, TheDestructorWritesWhatIsHeld) {
  {
    FileStream stream(at("o.mp4"), kOutput);
    stream.open();
    put(stream, 0, text("abc"));
  }
  EXPECT_EQ(readFile(at("o.mp4")), text("abc"));
}

// ---- system calls

TEST_F(FileStreamTest, AReadIsOneSystemCall) {
  Bytes content(300'000);
  for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<std::uint8_t>(i * 7);
  FileStream stream(withBytes("a.mov", content), kInput);
  stream.open();
  EXPECT_EQ(get(stream, 0, 100'000), Bytes(content.begin(), content.begin() + 100'000));
  EXPECT_EQ(systemCallCount(SystemCall::read), 1u);
  get(stream, 100'000, 8);
  EXPECT_EQ(systemCallCount(SystemCall::read), 2u);
}

// Every call of this sort fails once, in turn, and nothing of it stays hidden.
class FaultTest : public FileStreamTest {
 protected:
  static constexpr std::size_t kSamples = 3000;

  // Writes tables and samples as a movie writer does, reads some of it back, and closes.
  void work(const std::string& path) const {
    FileStream stream(path, kOutput);
    stream.open();
    std::uint64_t media = 50'000;
    for (std::size_t i = 0; i < kSamples; ++i) {
      put(stream, 4 * i, Bytes(4, static_cast<std::uint8_t>(i)));
      put(stream, 20'000 + 8 * i, Bytes(8, static_cast<std::uint8_t>(i + 1)));
      const std::size_t size = i % 500 == 499 ? 50'000 : 40 + i % 90;
      media += put(stream, media, Bytes(size, static_cast<std::uint8_t>(i + 2)));
    }
    get(stream, 0, 200'000);
    stream.setSize(media + 10);
    put(stream, media + 4, text("end"));
    stream.close();
  }

  std::vector<std::size_t> countsOfUndisturbedWork() {
    resetSystemCalls();
    work(at("reference"));
    return {systemCallCount(SystemCall::open), systemCallCount(SystemCall::close),
            systemCallCount(SystemCall::read), systemCallCount(SystemCall::write),
            systemCallCount(SystemCall::setLength)};
  }

  static constexpr std::array kCalls = {SystemCall::open, SystemCall::close, SystemCall::read,
                                        SystemCall::write, SystemCall::setLength};
};

TEST_F(FaultTest, EveryFailingSystemCallSurfaces) {
  const std::vector<std::size_t> counts = countsOfUndisturbedWork();
  for (std::size_t i = 0; i < kCalls.size(); ++i) {
    ASSERT_GT(counts[i], 0u);
    for (std::size_t k = 1; k <= counts[i]; ++k) {
      resetSystemCalls();
      failSystemCall(kCalls[i], k, ENOSPC);
      EXPECT_EQ(kindOf([&] { work(at("disturbed")); }), IOErrorKind::other) << i << " " << k;
      EXPECT_TRUE(systemFaultWasMet());
      // The descriptor is gone in any case, an opening that failed aside.
      const bool opened = kCalls[i] != SystemCall::open;
      EXPECT_EQ(systemCallCount(SystemCall::close), opened ? 1u : 0u);
    }
  }
}

TEST_F(FaultTest, AnInterruptedOrShortTransferChangesNothing) {
  const std::vector<std::size_t> counts = countsOfUndisturbedWork();
  const Bytes reference = readFile(at("reference"));
  for (const std::size_t i : {2u, 3u, 4u}) {
    for (std::size_t k = 1; k <= counts[i]; ++k) {
      for (const bool isShort : {false, true}) {
        if (isShort && kCalls[i] == SystemCall::setLength) continue;
        resetSystemCalls();
        isShort ? shortenSystemCall(kCalls[i], k) : failSystemCall(kCalls[i], k, EINTR);
        work(at("disturbed"));
        EXPECT_TRUE(systemFaultWasMet());
        EXPECT_EQ(readFile(at("disturbed")), reference) << i << " " << k;
      }
    }
  }
}

TEST_F(FileStreamTest, AFailedFlushLosesNothingThatIsFlushedLater) {
  FileStream stream(at("o.mp4"), kOutput);
  stream.open();
  put(stream, 0, text("abc"));
  put(stream, 100'000, text("def"));
  failSystemCall(SystemCall::write, 2, ENOSPC);
  EXPECT_EQ(kindOf([&] { get(stream, 0, 3); }), IOErrorKind::other);
  EXPECT_EQ(get(stream, 0, 3), text("abc"));
  EXPECT_EQ(get(stream, 100'000, 3), text("def"));
}

TEST_F(FileStreamTest, AFailingCloseIsReportedOnceAndCloses) {
  FileStream stream(at("o.mp4"), kOutput);
  stream.open();
  failSystemCall(SystemCall::close, 1, EIO);
  EXPECT_EQ(kindOf([&] { stream.close(); }), IOErrorKind::other);
  EXPECT_NO_THROW(stream.close());
  EXPECT_EQ(systemCallCount(SystemCall::close), 1u);
}

TEST_F(FileStreamTest, AFileSizeLimitIsAFailureOfTheLargeWrite) {
  FileStream stream(at("o.mp4"), kOutput);
  stream.open();
  std::optional<IOErrorKind> kind;
  {
    const FileSizeLimit limit(10'000);
    kind = kindOf([&] { put(stream, 0, Bytes(100'000)); });
  }
  EXPECT_EQ(kind, IOErrorKind::other);
}

TEST_F(FileStreamTest, AFileSizeLimitIsAFailureOfAClosingWithHeldBytes) {
  FileStream stream(at("o.mp4"), kOutput);
  stream.open();
  put(stream, 20'000, text("abc"));
  std::optional<IOErrorKind> kind;
  {
    const FileSizeLimit limit(10'000);
    kind = kindOf([&] { stream.close(); });
  }
  EXPECT_EQ(kind, IOErrorKind::other);
  EXPECT_NO_THROW(stream.close());
  // Nothing of the lost bytes may reach the file when it is opened again.
  stream.open();
  stream.close();
  EXPECT_EQ(fs::file_size(at("o.mp4")), 0u);
}

TEST_F(FileStreamTest, TheDestructorSwallowsAFailure) {
  FileStream* stream = new FileStream(at("o.mp4"), kOutput);
  stream->open();
  put(*stream, 0, text("abc"));
  failSystemCall(SystemCall::write, 1, ENOSPC);
  EXPECT_NO_THROW(delete stream);
  EXPECT_TRUE(systemFaultWasMet());
}

// ---- which file it is

TEST_F(FileStreamTest, KnowsItsFileByEveryName) {
  const std::string path = withBytes("a.mov", text("abc"));
  fs::create_hard_link(path, at("hard.mp4"));
  fs::create_symlink("a.mov", at("soft.mp4"));
  fs::create_directory(at("sub"));
  fs::create_directory_symlink(".", at("loop"));
  FileStream input(path, kInput);
  input.open();
  for (const char* name :
       {"hard.mp4", "soft.mp4", "./a.mov", "sub/../a.mov", "loop/a.mov", "sub//..//a.mov"}) {
    FileStream output(at(name), kOutput, FileStream::Truncation::byCaller);
    output.open();
    EXPECT_TRUE(output.isSameFile(input)) << name;
    EXPECT_TRUE(input.isSameFile(output)) << name;
    output.close();
    EXPECT_FALSE(output.removeIfOpenedHere()) << name;
  }
  EXPECT_EQ(readFile(path), text("abc"));
}

TEST_F(FileStreamTest, FilesOfEqualContentAreNotTheSame) {
  FileStream input(withBytes("a.mov", text("abc")), kInput);
  FileStream output(withBytes("b.mov", text("abc")), kOutput, FileStream::Truncation::byCaller);
  input.open();
  output.open();
  EXPECT_FALSE(output.isSameFile(input));
}

TEST_F(FileStreamTest, OnlyOpenStreamsCanBeCompared) {
  FileStream open(withBytes("a.mov", text("abc")), kInput);
  const FileStream closed(at("a.mov"), kInput);
  open.open();
  EXPECT_EQ(kindOf([&] { (void)open.isSameFile(closed); }), IOErrorKind::other);
  EXPECT_EQ(kindOf([&] { (void)closed.isSameFile(open); }), IOErrorKind::other);
}

TEST_F(FileStreamTest, RemovesTheFileThatItChanged) {
  FileStream stream(withBytes("o.mp4", text("old")), kOutput);
  stream.open();
  stream.close();
  EXPECT_TRUE(stream.removeIfOpenedHere());
  EXPECT_FALSE(fs::exists(at("o.mp4")));
  EXPECT_FALSE(stream.removeIfOpenedHere());
}

TEST_F(FileStreamTest, RemovesAFileWhoseContentTheCallerDropped) {
  FileStream stream(at("o.mp4"), kOutput, FileStream::Truncation::byCaller);
  stream.open();
  stream.setSize(0);
  EXPECT_TRUE(stream.removeIfOpenedHere());
  EXPECT_FALSE(fs::exists(at("o.mp4")));
}

TEST_F(FileStreamTest, RemovesALinkToItsFileAndNotTheFile) {
  writeFile(at("target.mp4"), text("old"));
  fs::create_symlink("target.mp4", at("near.mp4"));
  fs::create_symlink("near.mp4", at("link.mp4"));
  FileStream stream(at("link.mp4"), kOutput);
  stream.open();
  EXPECT_TRUE(stream.removeIfOpenedHere());
  EXPECT_FALSE(fs::exists(fs::symlink_status(at("link.mp4"))));
  EXPECT_TRUE(fs::is_symlink(at("near.mp4")));
  EXPECT_EQ(readFile(at("target.mp4")), Bytes());
}

TEST_F(FileStreamTest, LeavesALinkAloneThatMeanwhileLeadsElsewhere) {
  writeFile(at("another.mov"), text("another's"));
  fs::create_symlink("target.mp4", at("link.mp4"));
  FileStream stream(at("link.mp4"), kOutput);
  stream.open();
  for (const char* elsewhere : {"another.mov", "nowhere", "/dev/null"}) {
    fs::remove(at("link.mp4"));
    fs::create_symlink(elsewhere, at("link.mp4"));
    EXPECT_FALSE(stream.removeIfOpenedHere()) << elsewhere;
    EXPECT_TRUE(fs::is_symlink(at("link.mp4"))) << elsewhere;
  }
  EXPECT_EQ(readFile(at("another.mov")), text("another's"));
}

TEST_F(FileStreamTest, LeavesAFileAloneThatItNeverOpenedOrChanged) {
  FileStream unopened(withBytes("o.mp4", text("old")), kOutput);
  EXPECT_FALSE(unopened.removeIfOpenedHere());
  FileStream unchanged(at("o.mp4"), kUpdate);
  unchanged.open();
  EXPECT_FALSE(unchanged.removeIfOpenedHere());
  EXPECT_EQ(readFile(at("o.mp4")), text("old"));
}

TEST_F(FileStreamTest, LeavesAFileAloneThatTookItsPlace) {
  FileStream stream(at("o.mp4"), kOutput);
  stream.open();
  put(stream, 0, text("abc"));
  writeFile(at("other"), text("another's"));
  fs::rename(at("other"), at("o.mp4"));
  EXPECT_FALSE(stream.removeIfOpenedHere());
  EXPECT_EQ(readFile(at("o.mp4")), text("another's"));
}

// ---- against a model

// Growing tables, a growing media part, patches, jumps, reads and changes of size in random order,
// compared with the same done to a vector.
TEST_F(FileStreamTest, BehavesLikeAVectorOfBytes) {
  for (std::uint32_t seed = 1; seed <= 12; ++seed) {
    std::mt19937 random(seed);
    const auto below = [&](std::uint32_t limit) {
      return static_cast<std::size_t>(random() % limit);
    };
    const std::size_t places = std::array<std::size_t, 4>{3, 12, 100, 700}[seed % 4];
    std::vector<std::size_t> ends(places);
    for (std::size_t i = 0; i < places; ++i) ends[i] = i * 3000;

    Bytes model;
    FileStream stream(at("model"), kOutput);
    stream.open();
    const auto write = [&](std::size_t position, std::size_t count) {
      Bytes bytes(count);
      for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
      if (model.size() < position + count) model.resize(position + count);
      std::copy(bytes.begin(), bytes.end(), model.begin() + static_cast<std::ptrdiff_t>(position));
      ASSERT_EQ(put(stream, position, bytes), count);
      ASSERT_EQ(stream.tell(), position + count);
    };
    for (int step = 0; step < 4000; ++step) {
      const std::size_t action = below(1000);
      if (action < 800) {
        std::size_t& end = ends[below(static_cast<std::uint32_t>(places))];
        const std::size_t count = 1 + below(action < 10 ? 90'000 : 60);
        write(end, count);
        end += count;
      } else if (action < 960) {
        write(below(static_cast<std::uint32_t>(model.size() + 100)), 1 + below(300));
      } else if (action < 990) {
        const std::size_t position = below(static_cast<std::uint32_t>(model.size() + 100));
        const std::size_t count = 1 + below(action < 965 ? 200'000 : 3000);
        const std::size_t from = std::min(position, model.size());
        const std::size_t to = std::min(position + count, model.size());
        ASSERT_EQ(get(stream, position, count),
                  Bytes(model.begin() + static_cast<std::ptrdiff_t>(from),
                        model.begin() + static_cast<std::ptrdiff_t>(to)));
      } else if (action < 995) {
        model.resize(below(static_cast<std::uint32_t>(model.size() + 5000)));
        stream.setSize(model.size());
      } else {
        stream.seek(0, kFromEnd);
        ASSERT_EQ(stream.tell(), model.size());
      }
    }
    stream.close();
    ASSERT_EQ(readFile(at("model")), model) << "seed " << seed;
  }
}

}  // namespace
}  // namespace quell::kaf
