#include "src/settings.h"

#include "tests/support/console.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <thread>

namespace quarrypack {
namespace {

class SettingsTest : public testing::Test {
 protected:
  int parse(std::vector<std::string> arguments) {
    arguments_ = std::move(arguments);
    return parseSettings(arguments_, usageText_, values_, "tool");
  }

  std::string text(const char* name) const {
    return boost::any_cast<std::string>(values_.at(name));
  }
  bool help() const { return boost::any_cast<bool>(values_.at("help")); }

  int validate() { return validatePaths(values_, paths_); }

  test::WorkingFolder folder_;
  std::vector<std::string> arguments_;
  std::string usageText_;
  ValueMap values_;
  ConversionPaths paths_;
};

using ParseSettings = SettingsTest;
using ValidatePaths = SettingsTest;

TEST_F(ParseSettings, StartsFromTheDefaults) {
  EXPECT_EQ(parse({}), 0);
  EXPECT_EQ(values_.size(), 4u);
  EXPECT_FALSE(help());
  EXPECT_EQ(text("input-file"), "");
  EXPECT_EQ(text("output-file"), "");
  EXPECT_EQ(text("conf-file"), "");
}

TEST_F(ParseSettings, BuildsTheUsageTextOfThisTool) {
  EXPECT_EQ(parse({}), 0);
  EXPECT_EQ(
      usageText_.find("\ntool version 1.0 - Tool to convert .mov files with clcp content into "
                      ".mp4 with embedded caption NALUs.\n"),
      0u);
  std::size_t at = 0;
  for (const char* part : {"Allowed options:\n  --help                Print this Help Message\n",
                           "  --input-file arg ", "  --output-file arg ", "  --conf-file arg "}) {
    at = usageText_.find(part, at);
    EXPECT_NE(at, std::string::npos) << part;
  }
}

TEST_F(ParseSettings, LeavesNoArgumentsAsNoneThoughTheDefaultFileWasRead) {
  folder_.write("quarrypack_config.xml", "<c><input-file>clip.mov</input-file></c>");
  EXPECT_EQ(parse({}), 0);
  EXPECT_TRUE(arguments_.empty());
  EXPECT_EQ(text("input-file"), "clip.mov");
}

TEST_F(ParseSettings, EmptiesTheArgumentsForHelpAndGoesOn) {
  folder_.write("c.xml", "<c><input-file>clip.mov</input-file></c>");
  EXPECT_EQ(parse({"--help", "--output-file=o.mp4", "--conf-file=c.xml"}), 0);
  EXPECT_TRUE(arguments_.empty());
  EXPECT_TRUE(help());
  EXPECT_EQ(text("input-file"), "clip.mov");
  EXPECT_EQ(text("output-file"), "o.mp4");
}

TEST_F(ParseSettings, FailsForAMalformedFileEvenWithHelp) {
  folder_.write("quarrypack_config.xml", "<c>");
  EXPECT_EQ(parse({"--help"}), 5210);
  EXPECT_EQ(parse({}), 5210);
}

TEST_F(ParseSettings, KeepsTheArgumentsWithoutHelp) {
  EXPECT_EQ(parse({"--input-file", "a.mov"}), 0);
  EXPECT_EQ(arguments_.size(), 2u);
}

TEST_F(ParseSettings, RefusesWhatItDoesNotKnow) {
  const std::vector<std::string> lines[] = {
      {"--bogus"}, {"--input-file"},   {"clip.mov"}, {"--help=yes"},       {"--input-file="},
      {"-h"},      {"--", "clip.mov"}, {""},         {"--help", "--help"},
  };
  for (const auto& line : lines) EXPECT_EQ(parse(line), 5210) << line[0];
}

TEST_F(ParseSettings, TakesTheBeginningOfAnOption) {
  EXPECT_EQ(parse({"--out=o.mp4", "--in", "/a.mov"}), 0);
  EXPECT_EQ(text("input-file"), "/a.mov");
  EXPECT_EQ(text("output-file"), "o.mp4");
}

TEST_F(ParseSettings, CountsInputsFromTheLayerThatNamesThem) {
  folder_.write("cfg/c.xml", "<c><input-file>clip.mov</input-file></c>");
  EXPECT_EQ(parse({"--conf-file=" + folder_.path("cfg/c.xml")}), 0);
  EXPECT_EQ(text("input-file"), folder_.path("cfg/clip.mov"));
  EXPECT_EQ(parse({"--input-file=clip.mov"}), 0);
  EXPECT_EQ(text("input-file"), folder_.path("clip.mov"));
}

TEST_F(ParseSettings, CountsFromTheFolderOfTheFileAsItWasNamed) {
  folder_.write("c.xml", "<c><input-file>clip.mov</input-file></c>");
  folder_.write("sub/c.xml", "<c><input-file>clip.mov</input-file></c>");
  EXPECT_EQ(parse({"--conf-file=c.xml"}), 0);
  EXPECT_EQ(text("input-file"), "clip.mov");
  EXPECT_EQ(text("conf-file"), folder_.path("c.xml"));
  EXPECT_EQ(parse({"--conf-file=sub\\c.xml"}), 0);
  EXPECT_EQ(text("input-file"), "sub/clip.mov");
  EXPECT_EQ(text("conf-file"), folder_.path("sub/c.xml"));
}

TEST_F(ParseSettings, LeavesTheOutputAsItWasGiven) {
  folder_.write("cfg/c.xml", "<c><output-file>out.mp4</output-file></c>");
  EXPECT_EQ(parse({"--conf-file=cfg/c.xml"}), 0);
  EXPECT_EQ(text("output-file"), "out.mp4");
  EXPECT_EQ(parse({"--output-file=x/../out.mp4"}), 0);
  EXPECT_EQ(text("output-file"), "x/../out.mp4");
}

TEST_F(ParseSettings, PutsDefaultsForMissingElementsAndTheCommandLineOverAll) {
  folder_.write("quarrypack_config.xml",
                "<c><output-file>file.mp4</output-file><unknown>x</unknown></c>");
  EXPECT_EQ(parse({"--input-file=/line.mov"}), 0);
  EXPECT_EQ(text("input-file"), "/line.mov");
  EXPECT_EQ(text("output-file"), "file.mp4");
  EXPECT_EQ(text("conf-file"), "");
  EXPECT_EQ(parse({"--output-file=line.mp4"}), 0);
  EXPECT_EQ(text("input-file"), "");
  EXPECT_EQ(text("output-file"), "line.mp4");
}

TEST_F(ParseSettings, StoresHelpOfAFileOnlyForTheWordTrueAndNeverActsOnIt) {
  folder_.write("quarrypack_config.xml", "<c><help>yes</help></c>");
  EXPECT_EQ(parse({"--input-file=/a.mov"}), 0);
  EXPECT_FALSE(help());
  folder_.write("quarrypack_config.xml", "<c><help>true</help></c>");
  EXPECT_EQ(parse({"--input-file=/a.mov"}), 0);
  EXPECT_TRUE(help());
  EXPECT_EQ(arguments_.size(), 1u) << "empty arguments would show the usage text";
}

TEST_F(ParseSettings, LeavesAMissingFileToThePathChecks) {
  folder_.write("quarrypack_config.xml", "<broken");
  EXPECT_EQ(parse({"--conf-file=missing.xml"}), 0);
  EXPECT_EQ(text("conf-file"), folder_.path("missing.xml"));
}

TEST_F(ParseSettings, FailsForAFileThatExistsButCannotBeRead) {
  // The superuser may read everything, so the file must be one that no user can open.
  folder_.write("folder/file");
  EXPECT_EQ(parse({"--conf-file=folder"}), 5210);
}

TEST_F(ParseSettings, ReadsAPipeThatIsNamedToItsEnd) {
  const std::string pipe = folder_.path("pipe.xml");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  std::thread writer(
      [&] { std::ofstream(pipe) << "<c><output-file>from-the-pipe.mp4</output-file></c>"; });
  EXPECT_EQ(parse({"--conf-file=" + pipe}), 0);
  writer.join();
  EXPECT_EQ(text("output-file"), "from-the-pipe.mp4");
}

TEST_F(ParseSettings, LeavesADefaultFileAloneThatIsNoRegularFile) {
  const std::string name = folder_.path("quarrypack_config.xml");
  ASSERT_EQ(::mkfifo(name.c_str(), 0600), 0);
  EXPECT_EQ(parse({"--output-file=o.mp4"}), 0);
  std::filesystem::remove(name);
  std::filesystem::create_directory(name);
  EXPECT_EQ(parse({"--output-file=o.mp4"}), 0);
  EXPECT_EQ(text("output-file"), "o.mp4");
}

TEST_F(ParseSettings, ReadsADefaultFileThroughALink) {
  folder_.write("elsewhere.xml", "<c><output-file>linked.mp4</output-file></c>");
  std::filesystem::create_symlink("elsewhere.xml", folder_.path("quarrypack_config.xml"));
  EXPECT_EQ(parse({}), 0);
  EXPECT_EQ(text("output-file"), "linked.mp4");
}

TEST_F(ParseSettings, FailsWithoutAWorkingDirectory) {
  const std::string gone = folder_.path("gone");
  std::filesystem::create_directory(gone);
  std::filesystem::current_path(gone);
  std::filesystem::remove(gone);
  EXPECT_EQ(parse({"--input-file=a.mov"}), 5210);
}

TEST_F(ValidatePaths, NeedsAnInput) {
  const test::CapturedConsole console;
  EXPECT_EQ(parse({"--output-file=o.mp4"}), 0);
  EXPECT_EQ(validate(), 10008);
  EXPECT_EQ(parse({"--input-file=missing.mov"}), 0);
  EXPECT_EQ(validate(), 10008);
  EXPECT_EQ(console.out() + console.err(), "");
}

TEST_F(ValidatePaths, ReportsAMissingConfigurationFileFirst) {
  const test::CapturedConsole console;
  EXPECT_EQ(parse({"--conf-file=missing.xml"}), 0);
  EXPECT_EQ(validate(), 10008);
  EXPECT_EQ(console.out(), "Not a valid conf file path\n");
  EXPECT_EQ(console.err(), "");
}

TEST_F(ValidatePaths, ChecksAConfigurationFileThatIsNamedInAnother) {
  folder_.write("quarrypack_config.xml", "<c><conf-file>missing.xml</conf-file></c>");
  const test::CapturedConsole console;
  EXPECT_EQ(parse({"--output-file=o.mp4"}), 0);
  EXPECT_EQ(validate(), 10008);
  EXPECT_EQ(console.out(), "Not a valid conf file path\n");
}

TEST_F(ValidatePaths, SettlesBothPaths) {
  folder_.write("a.mov");
  EXPECT_EQ(parse({"--input-file=a.mov", "--output-file=o.mp4"}), 0);
  EXPECT_EQ(validate(), 0);
  EXPECT_EQ(paths_.inputPath, folder_.path("a.mov"));
  EXPECT_EQ(paths_.outputPath, "o.mp4");
}

TEST_F(ValidatePaths, NamesTheOutputAfterTheInput) {
  folder_.write("a.mov");
  EXPECT_EQ(parse({"--input-file=a.mov"}), 0);
  EXPECT_EQ(validate(), 0);
  EXPECT_EQ(paths_.outputPath, folder_.path("Converted_a.mp4"));
}

TEST_F(ValidatePaths, NamesTheOutputAfterAnInputOnADrive) {
  folder_.write("C:/clips/a.mov");
  EXPECT_EQ(parse({"--input-file=C:\\clips\\a.mov"}), 0);
  EXPECT_EQ(validate(), 0);
  EXPECT_EQ(paths_.inputPath, "C:/clips/a.mov");
  EXPECT_EQ(paths_.outputPath, "C:/clips/Converted_a.mp4");
}

TEST_F(ValidatePaths, BringsValuesMadeByHandIntoTheGenericForm) {
  folder_.write("d/a.mov");
  folder_.write("d/c.xml");
  const auto validated = [this](const char* conf, const char* input, const char* output) {
    values_ = {{"conf-file", std::string(conf)},
               {"input-file", std::string(input)},
               {"output-file", std::string(output)}};
    return validate();
  };
  const test::CapturedConsole console;
  EXPECT_EQ(validated("d\\c.xml", "d\\a.mov", "d\\o.mp4"), 0);
  EXPECT_EQ(paths_.inputPath, "d/a.mov");
  EXPECT_EQ(paths_.outputPath, "d/o.mp4");
  EXPECT_EQ(validated("", "d\\a.mov", ""), 0);
  EXPECT_EQ(paths_.outputPath, "d/Converted_a.mp4");
  EXPECT_EQ(validated("", "d\\a.mov", "d/a.mov"), 10002);
  EXPECT_EQ(console.out(), "Input file and output file can not be same.\n");
}

TEST_F(ValidatePaths, RefusesEqualTexts) {
  folder_.write("a.mov");
  const test::CapturedConsole console;
  EXPECT_EQ(parse({"--input-file=a.mov", "--output-file=" + folder_.path("a.mov")}), 0);
  EXPECT_EQ(validate(), 10002);
  EXPECT_EQ(console.out(), "Input file and output file can not be same.\n");
  EXPECT_EQ(console.err(), "");
}

TEST_F(ValidatePaths, ComparesTheGenericTexts) {
  folder_.write("C:/clips/a.mov");
  const test::CapturedConsole console;
  EXPECT_EQ(parse({"--input-file=C:/clips/a.mov", "--output-file=C:\\clips\\a.mov"}), 0);
  EXPECT_EQ(validate(), 10002);
}

TEST_F(ValidatePaths, TakesTheSameRelativeNameTwiceBecauseOnlyTheInputIsResolved) {
  folder_.write("a.mov");
  EXPECT_EQ(parse({"--input-file=a.mov", "--output-file=a.mov"}), 0);
  EXPECT_EQ(validate(), 0);
  EXPECT_EQ(paths_.inputPath, folder_.path("a.mov"));
  EXPECT_EQ(paths_.outputPath, "a.mov");
}

}  // namespace
}  // namespace quarrypack
