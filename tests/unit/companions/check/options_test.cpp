#include "companions/check/options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quarrypack::companions {
namespace {

using check::Severity;

CheckOptions parsed(const std::vector<const char*>& words) { return parseCheckOptions(words); }

std::string refused(const std::vector<const char*>& words) {
  try {
    parsed(words);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "accepted";
}

TEST(CheckOptions, HaveDefaults) {
  const CheckOptions options = parsed({"film.mov"});
  EXPECT_EQ(options.action, Action::run);
  EXPECT_EQ(options.input, "film.mov");
  EXPECT_FALSE(options.json);
  EXPECT_EQ(options.html, "");
  EXPECT_EQ(options.failOn, Severity::warning);
}

TEST(CheckOptions, NameReportsAndTheSeverityThatFails) {
  const CheckOptions options =
      parsed({"--json", "--html", "report.html", "--fail-on", "error", "film.mov"});
  EXPECT_TRUE(options.json);
  EXPECT_EQ(options.html, "report.html");
  EXPECT_EQ(options.failOn, Severity::error);
  EXPECT_EQ(parsed({"film.mov", "--fail-on=warning"}).failOn, Severity::warning);
}

TEST(CheckOptions, ReadTheTimeCodesOfCaptionFiles) {
  const CheckOptions options = parsed({"--scc-rate", "25", "a.scc"});
  EXPECT_EQ(options.scc.rate, captions::findFrameRate("25"));
}

TEST(CheckOptions, NeedOneFile) {
  EXPECT_EQ(refused({}), "one file is checked, and 0 are named");
  EXPECT_EQ(refused({"a.mov", "b.mov"}), "one file is checked, and 2 are named");
  EXPECT_EQ(refused({""}), "the name of the file is empty");
}

TEST(CheckOptions, RefuseOtherSeverities) {
  EXPECT_NE(refused({"--fail-on", "info", "a.mov"}).find("error or warning"), std::string::npos);
}

TEST(CheckOptions, NeedNothingForHelpAndVersion) {
  EXPECT_EQ(parsed({"--help"}).action, Action::showHelp);
  EXPECT_EQ(parsed({"--version"}).action, Action::showVersion);
}

TEST(CheckUsage, NamesAllOptions) {
  const std::string text = checkUsage();
  for (const char* option :
       {"--json", "--html", "--fail-on", "--scc-offset", "--scc-rate", "--help", "--version"}) {
    EXPECT_NE(text.find(option), std::string::npos) << option;
  }
}

}  // namespace
}  // namespace quarrypack::companions
