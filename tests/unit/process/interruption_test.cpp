#include "process/interruption.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <optional>

#include "tests/support/bytes.h"
#include "tests/support/child_signals.h"
#include "tests/support/run_program.h"

namespace quarrypack::process {
namespace {

using test::endingSignal;
using test::readFile;
using test::text;
using test::writeFile;

class RemovalOnInterruptionTest : public testing::Test {
 protected:
  RemovalOnInterruptionTest() { writeFile(movie(), text("half a movie")); }

  std::filesystem::path file(const std::string& name) const { return folder_.path() / name; }
  std::filesystem::path movie() const { return file("clip.mp4"); }

 private:
  test::TemporaryFolder folder_;
};

TEST_F(RemovalOnInterruptionTest, RemovesTheFileAndLetsTheSignalEndTheProcess) {
  for (const int signal : {SIGINT, SIGTERM}) {
    writeFile(movie(), text("half a movie"));
    EXPECT_EQ(endingSignal([&] {
                const RemovalOnInterruption removal(movie().string());
                raise(signal);
              }),
              signal);
    EXPECT_FALSE(std::filesystem::exists(movie()));
  }
}

TEST_F(RemovalOnInterruptionTest, RemovesTheTargetOfALink) {
  std::filesystem::create_symlink(movie(), file("link.mp4"));
  EXPECT_EQ(endingSignal([&] {
              const RemovalOnInterruption removal(file("link.mp4").string());
              raise(SIGTERM);
            }),
            SIGTERM);
  EXPECT_FALSE(std::filesystem::exists(movie()));
  EXPECT_TRUE(std::filesystem::is_symlink(file("link.mp4")));
}

TEST_F(RemovalOnInterruptionTest, LeavesWhatTookThePlaceOfTheFile) {
  EXPECT_EQ(endingSignal([&] {
              const RemovalOnInterruption removal(movie().string());
              std::filesystem::rename(movie(), file("moved.mp4"));
              writeFile(movie(), text("another one"));
              raise(SIGINT);
            }),
            SIGINT);
  EXPECT_EQ(readFile(movie()), text("another one"));
  EXPECT_EQ(readFile(file("moved.mp4")), text("half a movie"));
}

TEST_F(RemovalOnInterruptionTest, LeavesTheFileOnceItIsGone) {
  EXPECT_EQ(endingSignal([&] {
              { const RemovalOnInterruption removal(movie().string()); }
              raise(SIGTERM);
            }),
            SIGTERM);
  EXPECT_TRUE(std::filesystem::exists(movie()));
}

TEST_F(RemovalOnInterruptionTest, KeepsIgnoringASignalThatWasIgnored) {
  EXPECT_EQ(endingSignal([&] {
              std::signal(SIGINT, SIG_IGN);
              const RemovalOnInterruption removal(movie().string());
              raise(SIGINT);
            }),
            std::nullopt);
  EXPECT_TRUE(std::filesystem::exists(movie()));
}

TEST_F(RemovalOnInterruptionTest, DoesNothingForAFileThatIsNotThere) {
  EXPECT_EQ(endingSignal([&] {
              const RemovalOnInterruption removal(file("none.mp4").string());
              raise(SIGTERM);
            }),
            SIGTERM);
  EXPECT_TRUE(std::filesystem::exists(movie()));
}

}  // namespace
}  // namespace quarrypack::process
