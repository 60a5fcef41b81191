#include "src/tool_config.h"

#include "kaf/orx_exception.h"
#include "tests/support/console.h"

#include <gtest/gtest.h>

namespace quarrypack {
namespace {

using norvik::tarnsamples::StringConfigType;

const StringConfigType kPlain("plain default", "A text.");

ToolConfig configWith(const char* option) {
  ToolConfig config("default.xml");
  config.addOption(option, kPlain);
  return config;
}

std::string textOf(const ToolConfig& config, const char* name) {
  return boost::any_cast<std::string>(config.values().at(name));
}

TEST(ToolConfig, ResolvesThePathOptionsOfAllSiblingTools) {
  for (const char* name :
       {"input-file", "output-path", "common-key", "content-encryption-key", "transport-cert",
        "license-server-cert", "packager-credential", "policy-file", "conf-file", "media-base-name",
        "license-server-credential", "recipient-cert", "encrypt-keys-rotation-file"}) {
    EXPECT_TRUE(isPathOption(name)) << name;
  }
}

TEST(ToolConfig, NeverResolvesTheOutput) {
  for (const char* name : {"output-file", "help", "", "input"}) {
    EXPECT_FALSE(isPathOption(name)) << name;
  }
}

TEST(ToolConfig, ResolvesAnOptionOfASiblingTool) {
  const test::WorkingFolder folder;
  ToolConfig config = configWith("policy-file");
  std::vector<std::string> arguments{"--policy-file=p.xml"};
  config.parse(arguments, "tool", "");
  EXPECT_EQ(textOf(config, "policy-file"), folder.path("p.xml"));
}

TEST(ToolConfig, KeepsATextThatIsNoPathAsItIs) {
  const test::WorkingFolder folder;
  ToolConfig config = configWith("title");
  std::vector<std::string> arguments{"--title=a\\b"};
  config.parse(arguments, "tool", "");
  EXPECT_EQ(textOf(config, "title"), "a\\b");
}

TEST(ToolConfig, NeverResolvesADefault) {
  const test::WorkingFolder folder;
  ToolConfig config = configWith("policy-file");
  std::vector<std::string> arguments;
  config.parse(arguments, "tool", "");
  EXPECT_EQ(textOf(config, "policy-file"), "plain default");
}

TEST(ToolConfig, ReportsAMissingFileOnlyIfItWasNamed) {
  const test::WorkingFolder folder;
  ToolConfig config = configWith("title");
  EXPECT_EQ(config.loadConfigFile("missing.xml", true), 10008);
  EXPECT_EQ(config.loadConfigFile("missing.xml", false), 0);
  EXPECT_TRUE(config.values().empty());
}

TEST(ToolConfig, SetsEveryOptionFromAFile) {
  const test::WorkingFolder folder;
  folder.write("c.xml", "<c><title>text</title></c>");
  folder.write("empty.xml", "<c/>");
  ToolConfig config = configWith("title");
  EXPECT_EQ(config.loadConfigFile("c.xml", true), 0);
  EXPECT_EQ(textOf(config, "title"), "text");
  EXPECT_EQ(config.loadConfigFile("empty.xml", true), 0);
  EXPECT_EQ(textOf(config, "title"), "plain default");
}

TEST(ToolConfig, SaysTheSameOfEveryUselessFile) {
  const test::WorkingFolder folder;
  folder.write("broken.xml", "<c>");
  folder.write("folder/file");
  for (const char* file : {"broken.xml", "folder"}) {
    ToolConfig config = configWith("title");
    try {
      config.loadConfigFile(file, true);
      ADD_FAILURE() << file << " was taken";
    } catch (const orx::OrxException& exception) {
      EXPECT_EQ(exception.getMessage(), "Invalid config file");
      EXPECT_STREQ(exception.what(), "Invalid config file");
    }
  }
}

TEST(UsageText, ShowsEverythingInOrder) {
  boost::program_options::options_description options("Allowed options", 80);
  kPlain.addToDescription(options, "title");
  EXPECT_EQ(buildUsageText("./tool", "Tool to test.", options),
            "\n"
            "./tool version 1.0 - Tool to test.\n"
            "Copyright the quarrypack authors. Licensed under the Apache License, Version 2.0.\n"
            "https://quarrypack.example\n"
            "\n"
            "Usage: ./tool --input-file=<file> --[setting]=[arg]...\n"
            "Allowed options:\n"
            "  --title arg           A text.\n"
            "\n"
            "NOTE : In case of relative path, when passed on the command line the path is relative "
            "to the current working directory. If passed through config file, the path is relative "
            "to the directory containing the configuration file.\n");
}

TEST(UsageText, NamesAnUnnamedProgramOnlyInTheTitle) {
  const std::string text = buildUsageText("", "Tool.", {});
  EXPECT_EQ(text.find("\nquarrypack version 1.0 - Tool.\n"), 0u);
  EXPECT_NE(text.find("\nUsage:  --input-file=<file>"), std::string::npos);
}

TEST(UsageText, DescribesAToolThatDoesNotDescribeItself) {
  EXPECT_EQ(buildUsageText("t", "", {})
                .find("\nt version 1.0 - Tool to fragment content into kaf files.\n"),
            0u);
}

}  // namespace
}  // namespace quarrypack
