#include "companions/output_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

#include "tests/support/bytes.h"
#include "tests/support/child_signals.h"
#include "tests/support/run_program.h"
#include "tests/support/system_calls.h"
#include "tests/unit/kaf/ordinary_user.h"

namespace quarrypack::companions {
namespace {

using test::endingSignal;
using test::readFile;
using test::text;
using test::writeFile;

class OutputFileTest : public testing::Test {
 protected:
  std::string path(const std::string& name) const { return (folder_.path() / name).string(); }

  std::size_t fileCount() const {
    const std::filesystem::directory_iterator all(folder_.path());
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
  }

  void replaceWithNew(const std::string& name) const {
    OutputFile file(name);
    writeFile(file.temporaryPath(), text("new"));
    file.commit();
  }

  static mode_t permissions(const std::string& name) {
    struct stat status {};
    EXPECT_EQ(stat(name.c_str(), &status), 0);
    return status.st_mode & 07777;
  }

 private:
  test::TemporaryFolder folder_;
};

TEST_F(OutputFileTest, AppearsWhenItIsCommitted) {
  {
    OutputFile file(path("film.mp4"));
    EXPECT_FALSE(std::filesystem::exists(path("film.mp4")));
    EXPECT_EQ(readFile(file.temporaryPath()), text(""));
    writeFile(file.temporaryPath(), text("new"));
    file.commit();
    EXPECT_EQ(readFile(path("film.mp4")), text("new"));
  }
  EXPECT_EQ(readFile(path("film.mp4")), text("new"));
  EXPECT_EQ(fileCount(), 1u);
}

TEST_F(OutputFileTest, LeavesEverythingAsItWasUnlessCommitted) {
  writeFile(path("film.mp4"), text("old"));
  {
    const OutputFile file(path("film.mp4"));
    writeFile(file.temporaryPath(), text("half"));
  }
  EXPECT_EQ(readFile(path("film.mp4")), text("old"));
  EXPECT_EQ(fileCount(), 1u);
}

TEST_F(OutputFileTest, HasThePermissionsOfTheFileThatItReplaces) {
  for (const mode_t mode : {0600u, 0640u, 0666u, 0755u}) {
    writeFile(path("film.mp4"), text("old"));
    ASSERT_EQ(chmod(path("film.mp4").c_str(), mode), 0);
    replaceWithNew(path("film.mp4"));
    EXPECT_EQ(permissions(path("film.mp4")), mode);
  }
}

TEST_F(OutputFileTest, HasThePermissionsOfANewFile) {
  const mode_t before = umask(027);
  replaceWithNew(path("film.mp4"));
  umask(before);
  EXPECT_EQ(permissions(path("film.mp4")), 0640u);
}

TEST_F(OutputFileTest, ALinkStaysALink) {
  std::filesystem::create_directory(path("folder"));
  writeFile(path("folder/film.mp4"), text("old"));
  std::filesystem::create_symlink("folder/film.mp4", path("first"));
  std::filesystem::create_symlink(path("first"), path("second"));
  replaceWithNew(path("second"));
  EXPECT_TRUE(std::filesystem::is_symlink(path("first")));
  EXPECT_TRUE(std::filesystem::is_symlink(path("second")));
  EXPECT_EQ(readFile(path("folder/film.mp4")), text("new"));
  EXPECT_EQ(fileCount(), 3u);
}

TEST_F(OutputFileTest, ALinkToNothingLeadsToTheNewFile) {
  std::filesystem::create_symlink("film.mp4", path("link"));
  replaceWithNew(path("link"));
  EXPECT_TRUE(std::filesystem::is_symlink(path("link")));
  EXPECT_EQ(readFile(path("film.mp4")), text("new"));
}

TEST_F(OutputFileTest, RefusesWhatIsNoFile) {
  std::filesystem::create_directory(path("folder"));
  std::filesystem::create_symlink("loop", path("loop"));
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  for (const std::string& name : {path("folder"), path("loop"), path("pipe"),
                                  path("nowhere/film.mp4"), path("folder/"), std::string()}) {
    EXPECT_THROW(OutputFile{name}, FileError) << name;
  }
  EXPECT_EQ(fileCount(), 3u);
}

TEST_F(OutputFileTest, RefusesAFileThatMustNotBeWritten) {
  writeFile(path("film.mp4"), text("old"));
  ASSERT_EQ(chmod(path("film.mp4").c_str(), 0444), 0);
  ASSERT_EQ(chmod(path("").c_str(), 0777), 0);
  const test::OrdinaryUser user;
  ASSERT_NE(faccessat(AT_FDCWD, path("film.mp4").c_str(), W_OK, AT_EACCESS), 0);
  EXPECT_THROW(OutputFile{path("film.mp4")}, FileError);
  EXPECT_EQ(fileCount(), 1u);
}

TEST_F(OutputFileTest, NeverReusesAnExistingFile) {
  const OutputFile first(path("film.mp4"));
  writeFile(first.temporaryPath(), text("first"));
  {
    const OutputFile second(path("film.mp4"));
    EXPECT_NE(second.temporaryPath(), first.temporaryPath());
  }
  EXPECT_EQ(readFile(first.temporaryPath()), text("first"));
}

TEST_F(OutputFileTest, FailsWhereAllItsTemporaryNamesAreTaken) {
  constexpr std::size_t kNames = 1000;
  const std::string start = path(".film.mp4.") + std::to_string(getpid()) + '.';
  for (std::size_t i = 0; i < kNames; ++i) {
    writeFile(start + std::to_string(i) + ".tmp", text("another's"));
  }
  try {
    const OutputFile file(path("film.mp4"));
    FAIL() << "created as " << file.temporaryPath();
  } catch (const FileError& error) {
    EXPECT_EQ(error.what(), "cannot create '" + start + "999.tmp': File exists");
  }
  EXPECT_EQ(readFile(start + "0.tmp"), text("another's"));
  EXPECT_EQ(fileCount(), kNames);
}

TEST_F(OutputFileTest, IsWholeAfterItsBytesWereHandedToTheDiskEarly) {
  const test::Bytes bytes(std::size_t{17} << 20, 'x');
  OutputFile file(path("film.mp4"));
  writeFile(file.temporaryPath(), bytes);
  for (const unsigned mebibytes : {1u, 8u, 15u, 17u}) {
    file.writtenUpTo(std::uint64_t{mebibytes} << 20);
  }
  file.commit();
  EXPECT_TRUE(readFile(path("film.mp4")) == bytes);
}

TEST_F(OutputFileTest, TakesALongName) {
  replaceWithNew(path(std::string(250, 'f')));
  EXPECT_EQ(fileCount(), 1u);
}

TEST_F(OutputFileTest, SaysWhyItFailed) {
  try {
    const OutputFile file(path("nowhere/film.mp4"));
    FAIL();
  } catch (const FileError& error) {
    const std::string message = error.what();
    EXPECT_NE(message.find("nowhere/.film.mp4"), std::string::npos) << message;
    EXPECT_NE(message.find("No such file or directory"), std::string::npos) << message;
  }
}

TEST_F(OutputFileTest, IsGoneWhenASignalEndsTheProcess) {
  writeFile(path("film.mp4"), text("old"));
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    EXPECT_EQ(endingSignal([&] {
                const OutputFile file(path("film.mp4"));
                raise(signal);
              }),
              signal);
    EXPECT_EQ(readFile(path("film.mp4")), text("old"));
    EXPECT_EQ(fileCount(), 1u);
  }
}

TEST_F(OutputFileTest, StaysWhenASignalComesAfterwards) {
  EXPECT_EQ(endingSignal([&] {
              replaceWithNew(path("film.mp4"));
              raise(SIGTERM);
            }),
            SIGTERM);
  EXPECT_EQ(readFile(path("film.mp4")), text("new"));
}

TEST_F(OutputFileTest, LeavesAnIgnoredSignalIgnored) {
  EXPECT_EQ(endingSignal([&] {
              std::signal(SIGHUP, SIG_IGN);
              OutputFile file(path("film.mp4"));
              raise(SIGHUP);
              writeFile(file.temporaryPath(), text("new"));
              file.commit();
            }),
            std::nullopt);
  EXPECT_EQ(readFile(path("film.mp4")), text("new"));
}

TEST_F(OutputFileTest, KnowsTheSameFileByAnyName) {
  writeFile(path("film.mov"), text("old"));
  writeFile(path("other.mov"), text("old"));
  std::filesystem::create_symlink("film.mov", path("link"));
  std::filesystem::create_hard_link(path("film.mov"), path("hard"));
  for (const char* name : {"film.mov", "link", "hard", "./film.mov"}) {
    EXPECT_TRUE(areSameFile(path("film.mov"), path(name))) << name;
  }
  EXPECT_FALSE(areSameFile(path("film.mov"), path("other.mov")));
  EXPECT_FALSE(areSameFile(path("film.mov"), path("none")));
  EXPECT_FALSE(areSameFile(path("none"), path("none")));
}

TEST_F(OutputFileTest, HoldsATextThatIsWrittenWhole) {
  writeTextFile(path("film.srt"), [](std::ostream& out) { out << "captions"; });
  EXPECT_EQ(readFile(path("film.srt")), text("captions"));
}

TEST_F(OutputFileTest, IsGoneWhenItsTextCannotBeWritten) {
  // More than the stream holds back, so that it is written before the end and at the end.
  const auto write = [](std::ostream& out) { out << std::string(40'000, 'c'); };
  for (const std::size_t k : {1u, 2u, 3u}) {
    test::resetSystemCalls();
    test::failSystemCall(test::SystemCall::write, k, ENOSPC);
    try {
      writeTextFile(path("film.srt"), write);
      FAIL() << "written";
    } catch (const FileError& error) {
      EXPECT_EQ(error.what(),
                "cannot write to '" + path("film.srt") + "': No space left on device");
    }
    test::resetSystemCalls();
    EXPECT_EQ(fileCount(), 0u);
  }
}

TEST_F(OutputFileTest, IsGoneWhenTheWriterOfItsTextFails) {
  EXPECT_THROW(
      writeTextFile(path("film.srt"), [](std::ostream& out) { out.setstate(std::ios::badbit); }),
      FileError);
  EXPECT_EQ(fileCount(), 0u);
}

}  // namespace
}  // namespace quarrypack::companions
