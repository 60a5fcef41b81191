#include "companions/check/text_report.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "tests/support/pseudo_terminal.h"
#include "tests/unit/companions/check/sample_report.h"

namespace quarrypack::companions {
namespace {

std::string written(const check::CheckReport& report, const TextStyle& style = {}) {
  std::ostringstream out;
  writeText(report, style, out);
  return out.str();
}

std::size_t widestLine(const std::string& text) {
  std::istringstream lines(text);
  std::size_t widest = 0;
  for (std::string line; std::getline(lines, line);) widest = std::max(widest, line.size());
  return widest;
}

TEST(CheckText, IsATableWithSentences) {
  EXPECT_EQ(written(test::sampleReport()),
            "film.mov\n"
            "  00:01:30.500, 2712 pictures, captions in the caption track\n"
            "  CC1  pop-on    1 cue\n"
            "  on the screen 2 % of the time, first at 00:00:01.000, longest time without any\n"
            "  from 00:00:02.500 to 00:01:30.500\n"
            "\n"
            "severity rule    count  first\n"
            "error    damage      2  00:00:01.000\n"
            "         track 2, 2 samples\n"
            "         Something is damaged, which viewers notice at once.\n"
            "         Mend it.\n"
            "warning  oddity      1\n"
            "         Something is odd.\n"
            "         Look at it.\n"
            "info     note       12  01:02:03.004\n"
            "         movie: udta\n"
            "         Something is there.\n"
            "\n"
            "1 error, 1 warning, 1 for information\n");
}

TEST(CheckText, IsShortWhereNothingIsFound) {
  check::CheckReport report;
  report.file = "film.mov";
  EXPECT_EQ(written(report),
            "film.mov\n"
            "  00:00:00.000, no captions\n"
            "\n"
            "0 errors, 0 warnings, 0 for information\n");
}

TEST(CheckText, StaysWithinTheColumns) {
  for (const std::size_t columns : {24u, 30u, 40u, 60u, 80u, 200u}) {
    check::CheckReport report = test::sampleReport();
    EXPECT_LE(widestLine(written(report, {columns, false})), std::max<std::size_t>(columns, 39))
        << columns;
  }
}

TEST(CheckText, ListsFindingsInsteadOfATableOnANarrowTerminal) {
  const std::string text = written(test::sampleReport(), {30, false});
  EXPECT_NE(text.find("error damage\n"
                      "  2 times, first at\n"
                      "  00:00:01.000\n"
                      "  track 2, 2 samples\n"),
            std::string::npos)
      << text;
}

TEST(CheckText, HasColourOnlyOnRequest) {
  EXPECT_EQ(written(test::sampleReport()).find('\033'), std::string::npos);
  const std::string text = written(test::sampleReport(), {80, true});
  EXPECT_NE(text.find("\033[1;31merror\033[0m    damage"), std::string::npos) << text;
  EXPECT_NE(text.find("\033[33mwarning\033[0m  oddity"), std::string::npos);
}

TEST(CheckText, LetsNoFileControlTheTerminal) {
  check::CheckReport report = test::sampleReport();
  report.file =
      "a\033[2Jb\r\xC2\x9B"
      "c\xC3\xA4.mov";
  report.findings[0].detail = "x\033]0;t\a";
  const std::string text = written(report);
  EXPECT_EQ(text.find('\033'), std::string::npos);
  EXPECT_EQ(text.find("a?[2Jb??c\xC3\xA4.mov\n"), 0u) << text;
}

TEST(CheckText, ReplacesControlCharactersAndNothingElse) {
  check::CheckReport report;
  // A delete character; then a letter of the same first byte as a control character, and that byte
  // alone at the end.
  report.file = "a\x7F\xC2\xA9.mov\xC2";
  EXPECT_EQ(written(report).find("a?\xC2\xA9.mov\xC2\n"), 0u) << written(report);
}

TEST(CheckText, TellsOfNoTimeWithoutCaptionsWhereThereIsNone) {
  check::CheckReport report = test::sampleReport();
  report.coverage.longestHole.reset();
  EXPECT_NE(written(report).find("  on the screen 2 % of the time, first at 00:00:01.000\n"),
            std::string::npos)
      << written(report);
}

TEST(StyleFor, FollowsTheTerminal) {
  const test::PseudoTerminal terminal;
  terminal.setColumns(43);
  {
    const test::TerminalVariables variables("xterm", nullptr);
    EXPECT_EQ(styleFor(terminal.descriptor()).columns, 43u);
    EXPECT_TRUE(styleFor(terminal.descriptor()).isColourful);
  }
  const test::TerminalVariables variables("xterm", "1");
  EXPECT_EQ(styleFor(terminal.descriptor()).columns, 43u);
  EXPECT_FALSE(styleFor(terminal.descriptor()).isColourful);
}

TEST(StyleFor, IsPlainForAFile) {
  const int file = ::open("/dev/null", O_WRONLY);
  EXPECT_FALSE(styleFor(file).isColourful);
  EXPECT_EQ(styleFor(file).columns, 80u);
  ::close(file);
}

}  // namespace
}  // namespace quarrypack::companions
