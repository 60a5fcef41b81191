#include "companions/command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quarrypack::companions {
namespace {

TEST(ReadCommandLine, TakesOptionsWrittenOutAndOperands) {
  boost::program_options::options_description options;
  options.add_options()("name", boost::program_options::value<std::string>(), "");
  const std::vector<const char*> words = {"--name", "value", "one", "--", "--two"};
  const auto values = readCommandLine(words, options);
  EXPECT_EQ(textOf(values, "name"), "value");
  EXPECT_EQ(operandsOf(values), (std::vector<std::string>{"one", "--two"}));
  EXPECT_TRUE(operandsOf(readCommandLine({}, options)).empty());
  EXPECT_THROW(readCommandLine(std::vector<const char*>{"--na", "value"}, options), UsageError);
}

TEST(TextOf, RefusesAnEmptyValue) {
  boost::program_options::options_description options;
  options.add_options()("name", boost::program_options::value<std::string>(), "");
  const auto values = readCommandLine(std::vector<const char*>{"--name", ""}, options);
  EXPECT_THROW(textOf(values, "name"), UsageError);
  EXPECT_EQ(textOf(readCommandLine({}, options), "name"), "");
}

TEST(ActionOf, IsWhatTheCommonOptionsRequest) {
  boost::program_options::options_description options;
  addCommonOptions(options);
  const auto action = [&options](const std::vector<const char*>& words) {
    return actionOf(readCommandLine(words, options));
  };
  EXPECT_EQ(action({"file"}), Action::run);
  EXPECT_EQ(action({"--version", "file"}), Action::showVersion);
  EXPECT_EQ(action({"--version", "--help"}), Action::showHelp);
}

TEST(FailOnValue, NamesTheChoices) {
  try {
    failOnValue("colour", "pink", "red or blue");
  } catch (const UsageError& error) {
    EXPECT_STREQ(error.what(), "'pink' is not a value of '--colour': use red or blue");
  }
}

}  // namespace
}  // namespace quarrypack::companions
