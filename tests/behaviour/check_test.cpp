// quarrypack-check as a user runs it: what it reads, writes and prints, and its exit statuses.

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/box_builders.h"
#include "tests/support/media_samples.h"
#include "tests/support/movie_builder.h"
#include "tests/support/run_program.h"

namespace quarrypack::test {
namespace {

using nlohmann::json;

Bytes bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

// A caption that satisfies every rule: from 00:00:02 to 00:00:05, each code twice.
const std::string kGoodScc =
    "Scenarist_SCC V1.0\r\n"
    "\r\n"
    "00:00:01;00\t9420 9420 94ae 94ae 94d0 94d0 c8e5 ecec ef80\r\n"
    "\r\n"
    "00:00:02;00\t942f 942f\r\n"
    "\r\n"
    "00:00:05;00\t942c 942c\r\n";

class Check : public testing::Test {
 protected:
  ProgramResult run(std::vector<std::string> words) {
    ProgramOptions options;
    options.program = QUARRYPACK_CHECK_PROGRAM;
    options.programName = "quarrypack-check";
    return runProgram(words, options);
  }

  // Checks a file, which must stay as it is.
  ProgramResult check(const Bytes& file, std::vector<std::string> words = {},
                      const std::string& name = "film.mov") {
    words.push_back(write(name, file));
    const ProgramResult result = run(words);
    EXPECT_TRUE(readFile(path(name)) == file) << "the input was changed";
    return result;
  }

  json report(const Bytes& file, const std::string& name = "film.mov") {
    const ProgramResult result = check(file, {"--json"}, name);
    EXPECT_EQ(result.err, "");
    return json::parse(result.out);
  }

  std::string write(const std::string& name, const Bytes& content) {
    writeFile(path(name), content);
    return path(name);
  }
  std::string path(const std::string& name) const { return (folder_.path() / name).string(); }

 private:
  TemporaryFolder folder_;
};

std::vector<std::string> idsOf(const json& report) {
  std::vector<std::string> ids;
  for (const json& finding : report["findings"]) ids.push_back(finding["id"]);
  return ids;
}

TEST_F(Check, EndsWith0WhereNothingIsWorseThanInformation) {
  const ProgramResult result = check(bytesOf(kGoodScc), {}, "good.scc");
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_EQ(result.err, "");
  EXPECT_NE(result.out.find("CC1  pop-on    1 cue\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("\n0 errors, 0 warnings, "), std::string::npos) << result.out;
}

TEST_F(Check, EndsWith3AtWarningsAndErrors) {
  // The codes are sent once.
  const std::string once =
      "Scenarist_SCC V1.0\n\n00:00:01;00\t9420 94ae 94d0 c8e5 ecec ef80\n\n"
      "00:00:02;00\t942f\n\n00:00:05;00\t942c\n";
  EXPECT_EQ(check(bytesOf(once), {}, "once.scc").status, 3);
  EXPECT_EQ(check(bytesOf(once), {"--fail-on", "warning"}, "once.scc").status, 3);
  EXPECT_EQ(check(bytesOf(once), {"--fail-on", "error"}, "once.scc").status, 0);
  const MovieBuilder silent({videoTrack(), soundTrack()});
  EXPECT_EQ(check(silent.build(), {"--fail-on", "error"}).status, 3);
}

TEST_F(Check, EndsWith1ForAFileThatIsNone) {
  const ProgramResult result = check(bytesOf("nothing of the kind"));
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err.find("quarrypack-check: '" + path("film.mov") + "': "), 0u) << result.err;
  EXPECT_EQ(run({path("missing.mov")}).status, 1);
  EXPECT_EQ(run({path("missing.scc")}).status, 1);
  EXPECT_EQ(check(bytesOf("no line of captions"), {}, "empty.scc").status, 1);
}

TEST_F(Check, EndsWith2AtWrongUsage) {
  EXPECT_EQ(run({}).status, 2);
  EXPECT_EQ(run({"a.mov", "b.mov"}).status, 2);
  EXPECT_EQ(run({"--fail-on", "info", "a.mov"}).status, 2);
  EXPECT_EQ(run({"--unknown", "a.mov"}).status, 2);
}

TEST_F(Check, ShowsHelpAndVersion) {
  EXPECT_EQ(run({"--help"}).status, 0);
  EXPECT_EQ(run({"--help"}).out.find("Usage: quarrypack-check [options] FILE\n"), 0u);
  EXPECT_EQ(run({"--version"}).out, "quarrypack-check 1.0\n");
}

TEST_F(Check, ForetellsWhatAConversionDamages) {
  MovieBuilder movie(
      {videoTrack({.count = 60}), soundTrack({.count = 100, .timescale = 48000}),
       captionTrack({.samples = {{}, cdat(captionPairs(2)), {}}, .duration = 1500})});
  const json report = this->report(movie.build());
  EXPECT_EQ(report["source"], "");  // the pairs give no text
  EXPECT_EQ(report["statistics"]["pictures"], 60);
  ASSERT_EQ(report["hits"].size(), 1u);
  EXPECT_EQ(report["hits"][0]["track"], 2);
  EXPECT_EQ(report["hits"][0]["kind"], "sound");
}

TEST_F(Check, ChecksThePicturesOfAFilmWithoutCaptionTrack) {
  const json report = this->report(MovieBuilder({videoTrack(), soundTrack()}).build());
  EXPECT_EQ(idsOf(report), (std::vector<std::string>{"no-captions", "no-caption-track"}));
  EXPECT_EQ(report["duration"], 0.463);  // 278 units of 1/600 s, those of the sound
}

TEST_F(Check, WritesAPageBesideTheText) {
  const ProgramResult result =
      check(bytesOf(kGoodScc), {"--html", path("report.html")}, "good.scc");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("0 errors"), std::string::npos);
  const Bytes page = readFile(path("report.html"));
  const std::string text(page.begin(), page.end());
  EXPECT_EQ(text.find("<!DOCTYPE html>"), 0u);
  EXPECT_NE(text.find("Hello"), std::string::npos);
}

TEST_F(Check, SaysAndWritesTheSameInEveryRun) {
  const std::string film = write("film.mov", MovieBuilder({videoTrack(), soundTrack()}).build());
  const auto report = [&] { return run({"--html", path("report.html"), film}); };
  const std::string first = report().out;
  ASSERT_NE(first, "");
  const Bytes page = readFile(path("report.html"));
  EXPECT_EQ(report().out, first);
  EXPECT_TRUE(readFile(path("report.html")) == page);
  EXPECT_EQ(run({"--json", film}).out, run({"--json", film}).out);
}

TEST_F(Check, NeverReplacesTheFileByItsReport) {
  const std::string film = path("good.scc");
  EXPECT_EQ(check(bytesOf(kGoodScc), {"--html", film}, "good.scc").status, 2);
}

TEST_F(Check, WritesNoPageForAFileThatCannotBeRead) {
  EXPECT_EQ(check(bytesOf("nothing"), {"--html", path("report.html")}).status, 1);
  EXPECT_FALSE(std::filesystem::exists(path("report.html")));
}

TEST_F(Check, SaysWhenAPageCannotBeWritten) {
  const ProgramResult result =
      check(bytesOf(kGoodScc), {"--html", path("no/such/folder/r.html")}, "good.scc");
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("no/such/folder"), std::string::npos) << result.err;
}

}  // namespace
}  // namespace quarrypack::test
