#include "tests/support/movie_builder.h"
#include "tests/support/run_program.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace quarrypack::test {
namespace {

constexpr const char* kInvalidSettings =
    "Configuration Error. ErrorCode 5210:The settings could not be parsed or loaded\n";
constexpr const char* kFileNotFound =
    "Error while processing configuration. ErrorCode 10008:File not found\n";
constexpr const char* kSameFile =
    "Error while processing configuration. ErrorCode 10002:write failed\n";

std::string usageText(const std::string& title, const std::string& programName) {
  return "\n" + title +
         " version 1.0 - Tool to convert .mov files with clcp content into .mp4 with embedded "
         "caption NALUs.\n"
         "Copyright the quarrypack authors. Licensed under the Apache License, Version 2.0.\n"
         "https://quarrypack.example\n"
         "\n"
         "Usage: " +
         programName +
         " --input-file=<file> --[setting]=[arg]...\n"
         "Allowed options:\n"
         "  --help                Print this Help Message\n"
         "  --input-file arg      The path to the source container file. The path can be \n"
         "                        absolute or relative.\n"
         "  --output-file arg     The path to the destination file and one which is \n"
         "                        distinct from source file. The path can be absolute or \n"
         "                        relative.\n"
         "  --conf-file arg       The configuration file that contains settings for the \n"
         "                        packaging process.\n"
         "\n"
         "NOTE : In case of relative path, when passed on the command line the path is relative to "
         "the current working directory. If passed through config file, the path is relative to "
         "the directory containing the configuration file.\n"
         "\n";
}

class CommandLine : public testing::Test {
 protected:
  void write(const std::string& name, const std::string& content) {
    const std::filesystem::path file = folder_.path() / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
  }

  std::string read(const std::string& name) {
    std::ifstream file(folder_.path() / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  std::string path(const std::string& name) { return (folder_.path() / name).string(); }

  ProgramResult run(const std::vector<std::string>& args, ProgramOptions options = {}) {
    options.workingDirectory = folder_.path();
    return runProgram(args, options);
  }

  // Runs a line of the shell, in which $0 is the program.
  ProgramResult runShell(const std::string& line) {
    ProgramOptions options;
    const std::string program = std::filesystem::absolute(options.program).string();
    options.program = "/bin/sh";
    options.programName = "sh";
    return run({"-c", line, program}, options);
  }

  void expectEnd(const ProgramResult& result, int status, const std::string& out,
                 const std::string& err) {
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.out, out);
    EXPECT_EQ(result.err, err);
  }

  // Shows the path that became the input, by giving the same text as the output.
  void expectInput(const std::string& input, std::vector<std::string> args) {
    args.push_back("--output-file=" + input);
    expectEnd(run(args), 1, "Input file and output file can not be same.\n", kSameFile);
  }

  TemporaryFolder folder_;
};

TEST_F(CommandLine, ShowsTheUsageTextForHelp) {
  expectEnd(run({"--help"}), 0, usageText("quarrypack", "quarrypack"), "");
}

TEST_F(CommandLine, ShowsTheUsageTextWithoutArguments) {
  write("quarrypack_config.xml", "<c><input-file>a.mov</input-file></c>");
  write("a.mov", "a movie");
  expectEnd(run({}), 0, usageText("quarrypack", "quarrypack"), "");
}

TEST_F(CommandLine, ShowsTheNameItWasStartedUnder) {
  ProgramOptions options;
  options.programName = "/opt/some tools/qp";
  expectEnd(run({"--help"}, options), 0, usageText("/opt/some tools/qp", "/opt/some tools/qp"), "");
  options.programName = "";
  expectEnd(run({"--help"}, options), 0, usageText("quarrypack", ""), "");
}

TEST_F(CommandLine, ShowsTheUsageTextWhenStartedWithoutAnyWord) {
  ProgramOptions options;
  options.noArgumentWords = true;
  expectEnd(run({}, options), 0, usageText("quarrypack", ""), "");
}

TEST_F(CommandLine, ConvertsNothingWithHelp) {
  write("a.mov", "a movie");
  expectEnd(run({"--help", "--input-file=a.mov", "--output-file=o.mp4"}), 0,
            usageText("quarrypack", "quarrypack"), "");
  EXPECT_FALSE(std::filesystem::exists(path("o.mp4")));
}

TEST_F(CommandLine, PutsAMalformedDefaultFileBeforeHelpAndBeforeTheUsageText) {
  write("quarrypack_config.xml", "<c>");
  expectEnd(run({"--help"}), 1, "", kInvalidSettings);
  expectEnd(run({}), 1, "", kInvalidSettings);
}

TEST_F(CommandLine, PutsAMalformedNamedFileBeforeHelp) {
  write("c.xml", "<c>");
  expectEnd(run({"--help", "--conf-file=c.xml"}), 1, "", kInvalidSettings);
}

TEST_F(CommandLine, RefusesUnknownOptionsMissingValuesAndBareWords) {
  write("a.mov", "a movie");
  expectEnd(run({"--bogus"}), 1, "", kInvalidSettings);
  expectEnd(run({"--input-file"}), 1, "", kInvalidSettings);
  expectEnd(run({"a.mov"}), 1, "", kInvalidSettings);
}

TEST_F(CommandLine, ReportsAMissingInput) {
  expectEnd(run({"--input-file=missing.mov"}), 1, "", kFileNotFound);
  expectEnd(run({"--output-file=o.mp4"}), 1, "", kFileNotFound);
}

TEST_F(CommandLine, ReportsAMissingConfigurationFile) {
  write("a.mov", "a movie");
  expectEnd(run({"--conf-file=missing.xml", "--input-file=a.mov"}), 1,
            "Not a valid conf file path\n", kFileNotFound);
}

TEST_F(CommandLine, ReportsTheSameInputAndOutputAndLeavesTheFile) {
  write("a.mov", "a movie");
  expectInput(path("a.mov"), {"--input-file=a.mov"});
  expectInput(path("a.mov"), {"--input-file", path("a.mov")});
  EXPECT_EQ(read("a.mov"), "a movie");
}

TEST_F(CommandLine, CountsAnInputOfAConfigurationFileFromItsFolder) {
  write("sub/c.xml", "<c><input-file>a.mov</input-file></c>");
  write("sub/a.mov", "a movie");
  expectInput("sub/a.mov", {"--conf-file=sub/c.xml"});
  expectInput(path("sub/a.mov"), {"--conf-file=" + path("sub/c.xml")});
}

TEST_F(CommandLine, ReadsAConfigurationThatComesThroughAPipe) {
  write("clip.mov", "no movie");
  const std::string config = "<c><input-file>" + path("clip.mov") + "</input-file><output-file>" +
                             path("clip.mov") + "</output-file></c>";
  for (const char* name : {"/dev/stdin", "/dev/fd/0", "/proc/self/fd/0"}) {
    expectEnd(runShell("(printf %s '" + config.substr(0, 20) + "'; printf %s '" +
                       config.substr(20) + "') | \"$0\" --conf-file " + name),
              1, "Input file and output file can not be same.\n", kSameFile);
  }
}

TEST_F(CommandLine, DoesNotWaitForAPipeUnderTheDefaultName) {
  ASSERT_EQ(::mkfifo(path("quarrypack_config.xml").c_str(), 0600), 0);
  ProgramOptions options;
  options.timeout = std::chrono::seconds(20);
  const ProgramResult result = run({"--input-file=missing.mov"}, options);
  EXPECT_FALSE(result.timedOut);
  expectEnd(result, 1, "", kFileNotFound);
}

TEST_F(CommandLine, WritesTheOutputOfAConfigurationFileIntoTheWorkingFolder) {
  write("sub/c.xml", "<c><input-file>a.mov</input-file><output-file>out.mp4</output-file></c>");
  writeFile(path("sub/a.mov"), MovieBuilder({videoTrack(), captionTrack(3)}).build());
  expectEnd(run({"--conf-file=sub/c.xml"}), 0,
            "Converting clcp(v608) data in file sub/a.mov to file out.mp4...\n", "");
  EXPECT_TRUE(std::filesystem::exists(path("out.mp4")));
  EXPECT_FALSE(std::filesystem::exists(path("sub/out.mp4")));
}

TEST_F(CommandLine, NeverShowsTheUsageTextForAConfigurationFile) {
  write("quarrypack_config.xml", "<c><help>true</help></c>");
  expectEnd(run({"--input-file=missing.mov"}), 1, "", kFileNotFound);
}

TEST_F(CommandLine, TakesPathsWithBackslashes) {
  write("C:/clips/a.mov", "a movie");
  expectInput("C:/clips/a.mov", {"--input-file=C:\\clips\\a.mov"});
}

TEST_F(CommandLine, TakesAConfigurationFileOfAnyDepth) {
  std::string content = "<c><input-file>a.mov</input-file>";
  for (int i = 0; i < 400000; ++i) content += "<x>";
  for (int i = 0; i < 400000; ++i) content += "</x>";
  write("c.xml", content + "</c>");
  write("a.mov", "a movie");
  expectInput("a.mov", {"--conf-file=c.xml"});
}

TEST_F(CommandLine, RunsWithAnyOfItsStandardDescriptorsClosed) {
  const std::string usage = usageText("quarrypack", "quarrypack");
  ProgramOptions options;
  options.closedDescriptors = {0};
  expectEnd(run({"--help"}, options), 0, usage, "");
  options.closedDescriptors = {1};
  expectEnd(run({"--help"}, options), 0, "", "");
  options.closedDescriptors = {0, 2};
  expectEnd(run({"--bogus"}, options), 1, "", "");
  options.closedDescriptors = {0, 1, 2};
  expectEnd(run({"--help"}, options), 0, "", "");
}

TEST_F(CommandLine, KeepsItsStatusWithoutAReaderAndOnAFullDevice) {
  expectEnd(runShell("\"$0\" --help > /dev/full"), 0, "", "");
  runShell("{ sleep 0.1; \"$0\" --help; echo $? > status; } | true");
  EXPECT_EQ(read("status"), "0\n");
}

}  // namespace
}  // namespace quarrypack::test
