#include "companions/program.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace quarrypack::companions {
namespace {

// The status and message that a program ends with.
template <class Failure>
std::pair<int, std::string> ended(const Failure& failure) {
  testing::internal::CaptureStderr();
  const int status = runReporting("program", [&]() -> int { throw failure; });
  return {status, testing::internal::GetCapturedStderr()};
}

TEST(RunReporting, GivesTheStatusOfTheProgram) {
  EXPECT_EQ(runReporting("program", [] { return 3; }), 3);
}

TEST(RunReporting, MakesFailuresMessages) {
  EXPECT_EQ(ended(UsageError("no")), std::pair(2, std::string("program: no; see '--help'.\n")));
  EXPECT_EQ(ended(std::runtime_error("no")), std::pair(1, std::string("program: no.\n")));
  EXPECT_EQ(ended(std::bad_alloc()),
            std::pair(1, std::string("program: there is not enough memory.\n")));
  EXPECT_EQ(ended(std::length_error("vector")), ended(std::bad_alloc()));
}

TEST(PrintFindings, GivesEachALineWithTheFile) {
  testing::internal::CaptureStderr();
  printFindings("program", "film.mov", {"one", "two"});
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "program: 'film.mov': one.\nprogram: 'film.mov': two.\n");
}

struct Options {
  Action action = Action::run;
  std::size_t words = 0;
};

Options parse(Words words) {
  Options options;
  options.words = words.size();
  for (const std::string word : words) {
    if (word == "--wrong") throw UsageError("it is wrong");
    if (word == "--help") options.action = Action::showHelp;
    if (word == "--version") options.action = Action::showVersion;
  }
  return options;
}

constexpr Program<Options> kProgram{
    "program", parse, [] { return std::string("usage\n"); },
    [](const Options& options) { return 40 + static_cast<int>(options.words); }};

// The status of a program that is started with these words, its own name first.
int statusOf(std::vector<std::string> words) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  return runProgram(kProgram, static_cast<int>(arguments.size()), arguments.data());
}

TEST(RunProgram, RunsWithTheWordsAfterTheName) {
  EXPECT_EQ(statusOf({"program", "one", "two"}), 42);
  EXPECT_EQ(statusOf({"program"}), 40);
  EXPECT_EQ(statusOf({}), 40);
}

TEST(RunProgram, ShowsHelpAndVersion) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(statusOf({"program", "--help"}), kSuccess);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "usage\n");
  testing::internal::CaptureStdout();
  EXPECT_EQ(statusOf({"program", "--version"}), kSuccess);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), versionText("program"));
}

TEST(RunProgram, ReportsWrongUsage) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(statusOf({"program", "--wrong"}), kWrongUsage);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "program: it is wrong; see '--help'.\n");
}

}  // namespace
}  // namespace quarrypack::companions
