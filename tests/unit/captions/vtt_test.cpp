#include "captions/formats/vtt.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/unit/captions/pair_script.h"

namespace quarrypack::captions {
namespace {

using test::cueOf;
using test::plainRow;

std::string written(const std::vector<Cue>& cues) {
  std::ostringstream out;
  writeVtt(cues, out);
  return out.str();
}

TEST(Vtt, PlacesRowsOnThePicture) {
  EXPECT_EQ(written({cueOf(1500, 3'723'045, {plainRow(1, 0, "top")}),
                     cueOf(3'723'045, 3'724'000, {plainRow(15, 31, "x")})}),
            "WEBVTT\n"
            "\n"
            "00:00:01.500 --> 01:02:03.045 line:10% position:10% align:left\n"
            "top\n"
            "\n"
            "01:02:03.045 --> 01:02:04.000 line:84.62% position:87.5% align:left\n"
            "x\n");
}

TEST(Vtt, WritesItsNameForNoCues) { EXPECT_EQ(written({}), "WEBVTT\n"); }

TEST(Vtt, JoinsRowsThatFollowInOneColumn) {
  EXPECT_EQ(written({cueOf(0, 1000,
                           {plainRow(2, 4, "a"), plainRow(3, 4, "b"), plainRow(4, 5, "c"),
                            plainRow(6, 5, "d")})}),
            "WEBVTT\n"
            "\n"
            "00:00:00.000 --> 00:00:01.000 line:15.33% position:20% align:left\n"
            "a\n"
            "b\n"
            "\n"
            "00:00:00.000 --> 00:00:01.000 line:25.99% position:22.5% align:left\n"
            "c\n"
            "\n"
            "00:00:00.000 --> 00:00:01.000 line:36.65% position:22.5% align:left\n"
            "d\n");
}

TEST(Vtt, HasTagsForStylesAndEscapesText) {
  const CueRow row{15,
                   0,
                   {{"a<b>&", Color::white, true, false},
                    {"c", Color::green, false, true},
                    {"-->", Color::cyan, false, false}}};
  EXPECT_NE(written({cueOf(0, 1000, {row})})
                .find("\n<i>a&lt;b&gt;&amp;</i><c.lime><u>c</u></c><c.cyan>--&gt;</c>\n"),
            std::string::npos);
}

}  // namespace
}  // namespace quarrypack::captions
