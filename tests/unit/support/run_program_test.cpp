#include "tests/support/run_program.h"

#include <gtest/gtest.h>

namespace quarrypack::test {
namespace {

ProgramOptions shell() {
  ProgramOptions options;
  options.program = "/bin/sh";
  options.programName = "sh";
  return options;
}

TEST(RunProgram, ReportsStatusAndBothStreams) {
  const ProgramResult result = runProgram({"-c", "echo one; echo two >&2; exit 3"}, shell());
  EXPECT_EQ(result.status, 3);
  EXPECT_FALSE(result.timedOut);
  EXPECT_EQ(result.out, "one\n");
  EXPECT_EQ(result.err, "two\n");
}

TEST(RunProgram, ReadsMoreThanAPipeHoldsFromBothStreams) {
  const ProgramResult result = runProgram(
      {"-c", "head -c 300000 /dev/zero >&2; head -c 300000 /dev/zero; head -c 5 /dev/zero >&2"},
      shell());
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out.size(), 300000u);
  EXPECT_EQ(result.err.size(), 300005u);
}

TEST(RunProgram, ReportsDeathBySignal) {
  EXPECT_EQ(runProgram({"-c", "kill -SEGV $$"}, shell()).status, 128 + 11);
}

TEST(RunProgram, KillsWhatOutlivesTheTimeoutWithAllItsChildren) {
  ProgramOptions options = shell();
  options.timeout = std::chrono::milliseconds(200);
  const auto start = std::chrono::steady_clock::now();
  const ProgramResult result = runProgram({"-c", "echo begun; sleep 30 & sleep 30"}, options);
  EXPECT_TRUE(result.timedOut);
  EXPECT_EQ(result.status, 128 + 9);
  EXPECT_EQ(result.out, "begun\n");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(RunProgram, RunsInTheGivenFolderUnderTheGivenName) {
  const TemporaryFolder folder;
  ProgramOptions options = shell();
  options.programName = "another name";
  options.workingDirectory = folder.path();
  const ProgramResult result = runProgram({"-c", "pwd; echo \"$0\""}, options);
  EXPECT_EQ(result.out, folder.path().string() + "\nanother name\n");
}

TEST(RunProgram, ClosesDescriptorsBeforeTheStart) {
  ProgramOptions options = shell();
  options.closedDescriptors = {0, 2};
  const ProgramResult result = runProgram(
      {"-c", "for d in 0 1 2; do [ -e /proc/$$/fd/$d ] && echo $d; done; true"}, options);
  EXPECT_EQ(result.out, "1\n");
  EXPECT_EQ(result.err, "");
}

TEST(RunProgram, GivesAnEmptyStandardInput) {
  EXPECT_EQ(runProgram({"-c", "cat; echo end"}, shell()).out, "end\n");
}

TEST(RunProgram, ReportsAProgramThatCannotBeStarted) {
  ProgramOptions options;
  options.program = "/nowhere/at/all";
  EXPECT_EQ(runProgram({}, options).status, 127);
}

TEST(TemporaryFolder, IsRemovedWithItsContents) {
  std::filesystem::path path;
  {
    const TemporaryFolder folder;
    path = folder.path();
    writeFile(path / "file", Bytes{1, 2, 3});
    EXPECT_EQ(readFile(path / "file"), (Bytes{1, 2, 3}));
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace quarrypack::test
