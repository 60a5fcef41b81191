#include "captions/formats/srt.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/unit/captions/pair_script.h"

namespace quarrypack::captions {
namespace {

using test::cueOf;
using test::plainRow;

std::string written(const std::vector<Cue>& cues) {
  std::ostringstream out;
  writeSrt(cues, out);
  return out.str();
}

TEST(Srt, NumbersCuesAndWritesARowToALine) {
  EXPECT_EQ(written({cueOf(1500, 3'723'045, {plainRow(14, 0, "one"), plainRow(15, 4, "two")}),
                     cueOf(3'723'045, 3'724'000, {plainRow(1, 0, "three")})}),
            "1\n"
            "00:00:01,500 --> 01:02:03,045\n"
            "one\n"
            "two\n"
            "\n"
            "2\n"
            "01:02:03,045 --> 01:02:04,000\n"
            "three\n");
}

TEST(Srt, WritesNothingForNoCues) { EXPECT_EQ(written({}), ""); }

TEST(Srt, HasTagsForItalicsLinesAndColors) {
  const CueRow row{15,
                   0,
                   {{"a", Color::white, true, false},
                    {"b", Color::white, false, true},
                    {"c", Color::green, false, false},
                    {"d", Color::black, true, true}}};
  EXPECT_EQ(written({cueOf(0, 1000, {row})}),
            "1\n"
            "00:00:00,000 --> 00:00:01,000\n"
            "<i>a</i><u>b</u><font color=\"#00ff00\">c</font>"
            "<font color=\"#000000\"><i><u>d</u></i></font>\n");
}

TEST(Srt, KnowsAllColors) {
  const struct {
    Color color;
    const char* rgb;
  } kCases[] = {{Color::green, "#00ff00"}, {Color::blue, "#0000ff"},   {Color::cyan, "#00ffff"},
                {Color::red, "#ff0000"},   {Color::yellow, "#ffff00"}, {Color::magenta, "#ff00ff"},
                {Color::black, "#000000"}};
  for (const auto& [color, rgb] : kCases) {
    const CueRow row{15, 0, {{"x", color, false, false}}};
    EXPECT_NE(written({cueOf(0, 1, {row})}).find(rgb), std::string::npos) << rgb;
  }
}

TEST(Srt, LeavesTextAsItIs) {
  EXPECT_NE(written({cueOf(0, 1, {plainRow(15, 0, "a < b & ♪ >>")})}).find("\na < b & ♪ >>\n"),
            std::string::npos);
}

}  // namespace
}  // namespace quarrypack::captions
