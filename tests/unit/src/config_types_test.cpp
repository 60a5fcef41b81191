#include "src/config_types.h"

#include <gtest/gtest.h>
#include <boost/program_options/parsers.hpp>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/virtual_slots.h"

namespace norvik::tarnsamples {
namespace {

namespace po = boost::program_options;
using orx::config::ConfigNode;

// A configuration document with one element, which has the given text unless it is empty.
ConfigNode documentWith(const std::string& name, const std::string& text) {
  ConfigNode root("root", nullptr);
  root.children.push_back(std::make_unique<ConfigNode>(name, &root));
  if (!text.empty()) root.children.back()->appendData(text);
  return root;
}

po::variables_map commandLine(const ConfigType& type, const std::vector<std::string>& words) {
  po::options_description description;
  type.addToDescription(description, "name");
  po::variables_map result;
  po::store(po::command_line_parser(words).options(description).run(), result);
  return result;
}

bool switchFrom(const ConfigNode& root) {
  ValueMap values{{"name", true}};
  NoValueConfigType("").readFromConfigFile(values, root, "name");
  return boost::any_cast<bool>(values.at("name"));
}

std::string textFrom(const ConfigNode& root) {
  ValueMap values{{"name", std::string("before")}};
  StringConfigType("default", "").readFromConfigFile(values, root, "name");
  return boost::any_cast<std::string>(values.at("name"));
}

// There is no destructor among them.
TEST(ConfigType, HasItsOperationsInTheirOrder) {
  using quarrypack::test::tableIndexOf;
  EXPECT_EQ(tableIndexOf(&ConfigType::defaultValue), 0u);
  EXPECT_EQ(tableIndexOf(&ConfigType::addToDescription), 1u);
  EXPECT_EQ(tableIndexOf(&ConfigType::readFromConfigFile), 2u);
  EXPECT_EQ(tableIndexOf(&ConfigType::readFromCommandLine), 3u);
}

TEST(NoValueConfigType, IsOffByDefault) {
  EXPECT_FALSE(boost::any_cast<bool>(NoValueConfigType("").defaultValue()));
}

TEST(NoValueConfigType, IsSwitchedOnInAFileByExactlyOneWord) {
  EXPECT_TRUE(switchFrom(documentWith("name", "true")));
  for (const char* text : {"yes", "True", "TRUE", "1", "true!", "false", ""}) {
    EXPECT_FALSE(switchFrom(documentWith("name", text))) << text;
  }
}

TEST(NoValueConfigType, IsSwitchedOffByAFileWithoutIt) {
  EXPECT_FALSE(switchFrom(documentWith("other", "true")));
}

TEST(NoValueConfigType, TakesNoValueOnTheCommandLine) {
  EXPECT_THROW(commandLine(NoValueConfigType(""), {"--name=true"}), po::error);
}

TEST(NoValueConfigType, IsSwitchedOnOnlyByACommandLineThatHoldsIt) {
  const NoValueConfigType type("");
  ValueMap values{{"name", false}};
  type.readFromCommandLine(values, commandLine(type, {}), "name");
  EXPECT_FALSE(boost::any_cast<bool>(values.at("name")));
  type.readFromCommandLine(values, commandLine(type, {"--name"}), "name");
  EXPECT_TRUE(boost::any_cast<bool>(values.at("name")));
}

TEST(StringConfigType, HasItsDefaultText) {
  EXPECT_EQ(boost::any_cast<std::string>(StringConfigType("default", "").defaultValue()),
            "default");
}

TEST(StringConfigType, IsSetToItsTextInAFileAndElseToItsDefault) {
  EXPECT_EQ(textFrom(documentWith("name", "text")), "text");
  EXPECT_EQ(textFrom(documentWith("name", "")), "default");
  EXPECT_EQ(textFrom(documentWith("other", "text")), "default");
}

TEST(StringConfigType, NeedsAValueOnTheCommandLine) {
  EXPECT_THROW(commandLine(StringConfigType("", ""), {"--name"}), po::error);
}

TEST(StringConfigType, IsSetOnlyByACommandLineThatHoldsIt) {
  const StringConfigType type("default", "");
  ValueMap values{{"name", std::string("before")}};
  type.readFromCommandLine(values, commandLine(type, {}), "name");
  EXPECT_EQ(boost::any_cast<std::string>(values.at("name")), "before");
  type.readFromCommandLine(values, commandLine(type, {"--name", "text"}), "name");
  EXPECT_EQ(boost::any_cast<std::string>(values.at("name")), "text");
}

}  // namespace
}  // namespace norvik::tarnsamples
