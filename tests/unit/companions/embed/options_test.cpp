#include "companions/embed/options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quarrypack::companions {
namespace {

using WordList = std::vector<const char*>;

EmbedOptions parse(const WordList& words) { return parseEmbedOptions(words); }

std::string complaint(const WordList& words) {
  try {
    parseEmbedOptions(words);
    return "none";
  } catch (const UsageError& error) {
    return error.what();
  }
}

TEST(EmbedOptions, TakeTwoPaths) {
  const EmbedOptions options = parse({"in.mov", "out.mp4"});
  EXPECT_EQ(options.action, Action::run);
  EXPECT_EQ(options.input, "in.mov");
  EXPECT_EQ(options.output, "out.mp4");
  EXPECT_FALSE(options.hasCaptionFiles());
  EXPECT_FALSE(options.replace);
  EXPECT_TRUE(options.verify);
  EXPECT_TRUE(options.pad);
  EXPECT_TRUE(options.report.empty());
}

TEST(EmbedOptions, MayComeInAnyOrder) {
  const EmbedOptions options = parse({"--replace", "in.mov", "--no-verify", "out.mp4", "--no-pad"});
  EXPECT_EQ(options.output, "out.mp4");
  EXPECT_TRUE(options.replace);
  EXPECT_FALSE(options.verify);
  EXPECT_FALSE(options.pad);
  EXPECT_EQ(parse({"--", "--in", "--out"}).input, "--in");
}

TEST(EmbedOptions, TakeCaptionFiles) {
  const EmbedOptions options =
      parse({"--captions", "a.scc", "--captions-field2=b.scc", "--scc-offset", "01:00:00;00",
             "--scc-rate", "25", "in.mov", "out.mp4"});
  EXPECT_TRUE(options.hasCaptionFiles());
  EXPECT_EQ(options.captionsField1, "a.scc");
  EXPECT_EQ(options.captionsField2, "b.scc");
  EXPECT_EQ(options.scc.rate->name, "25");
  EXPECT_EQ(options.scc.offset.code, (captions::TimeCode{1, 0, 0, 0, true}));
  EXPECT_TRUE(parse({"--captions-field2", "b.scc", "in", "out"}).hasCaptionFiles());
  EXPECT_TRUE(
      parse({"--captions", "a.scc", "--scc-offset", "auto", "in", "out"}).scc.offset.wholeHours);
  EXPECT_EQ(parse({"--captions", "a.scc", "in", "out"}).scc.rate->name, "29.97");
}

TEST(EmbedOptions, KnowTheFormatOfAReport) {
  EXPECT_EQ(parse({"--report", "r.html", "in", "out"}).reportFormat, ReportFormat::html);
  EXPECT_EQ(parse({"--report", "r.JSON", "in", "out"}).reportFormat, ReportFormat::json);
}

TEST(EmbedOptions, AskForHelpOrTheVersionAlone) {
  EXPECT_EQ(parse({"--help"}).action, Action::showHelp);
  EXPECT_EQ(parse({"--version"}).action, Action::showVersion);
  EXPECT_EQ(parse({"--help", "too", "many", "paths"}).action, Action::showHelp);
}

TEST(EmbedOptions, SayWhatIsWrong) {
  EXPECT_EQ(complaint({}), "one INPUT and one OUTPUT are needed; 0 paths are given");
  EXPECT_EQ(complaint({"in"}), "one INPUT and one OUTPUT are needed; 1 path is given");
  EXPECT_EQ(complaint({"in", "out", "more"}),
            "one INPUT and one OUTPUT are needed; 3 paths are given");
  EXPECT_EQ(complaint({"in", ""}), "a path is empty");
  EXPECT_EQ(complaint({"--frobnicate", "in", "out"}), "unrecognised option '--frobnicate'");
  EXPECT_EQ(complaint({"--repl", "in", "out"}), "unrecognised option '--repl'");
  EXPECT_EQ(complaint({"in", "out", "--captions"}),
            "the required argument for option '--captions' is missing");
  EXPECT_EQ(complaint({"--scc-offset", "auto", "in", "out"}),
            "'--scc-offset' and '--scc-rate' are about caption files: give one with '--captions'");
  EXPECT_EQ(complaint({"--captions", "a", "--scc-offset", "soon", "in", "out"}),
            "'soon' is not a value of '--scc-offset': use a time code or 'auto'");
  EXPECT_EQ(complaint({"--captions", "a", "--scc-rate", "26", "in", "out"}),
            "'26' is not a value of '--scc-rate': use 23.976, 24, 25, 29.97, 30, 50, 59.94");
  EXPECT_EQ(complaint({"--report", "r.txt", "in", "out"}),
            "the name of a report ends with '.html' or '.json'");
  EXPECT_NE(complaint({"--captions=", "in", "out"}), "none");
}

TEST(EmbedUsage, NamesEveryOption) {
  const std::string usage = embedUsage();
  for (const char* option :
       {"--captions ", "--captions-field2", "--scc-offset", "--scc-rate", "--replace", "--no-pad",
        "--no-verify", "--report", "--help", "--version", "INPUT OUTPUT"}) {
    EXPECT_NE(usage.find(option), std::string::npos) << option;
  }
  EXPECT_EQ(usage.find("--path"), std::string::npos);
}

}  // namespace
}  // namespace quarrypack::companions
