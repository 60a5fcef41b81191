#include "companions/command_line.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

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
}

TEST(ReadCommandLine, TakesOptionsWrittenOutAndOperands) {
  boost::program_options::options_description options;
  options.add_options()("name", boost::program_options::value<std::string>(), "");
  const std::vector<const char*> words = {"--name", "value", "one", "--", "--two"};
  const auto values = readCommandLine(words, options);
  EXPECT_EQ(textOf(values, "name"), "value");
  EXPECT_EQ(values[kOperands].as<std::vector<std::string>>(),
            (std::vector<std::string>{"one", "--two"}));
  EXPECT_THROW(readCommandLine(std::vector<const char*>{"--na", "value"}, options), UsageError);
}

TEST(TextOf, RefusesAnEmptyValue) {
  boost::program_options::options_description options;
  options.add_options()("name", boost::program_options::value<std::string>(), "");
  const auto values = readCommandLine(std::vector<const char*>{"--name", ""}, options);
  EXPECT_THROW(textOf(values, "name"), UsageError);
  EXPECT_EQ(textOf(readCommandLine({}, options), "name"), "");
}

}  // namespace
}  // namespace quarrypack::companions
