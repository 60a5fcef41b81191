#include "captions/formats/json.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>

#include "tests/unit/captions/pair_script.h"

namespace quarrypack::captions {
namespace {

using test::cueOf;
using test::plainRow;

std::string written(const std::vector<ChannelCues>& channels, std::string_view file = "a.mov") {
  std::ostringstream out;
  writeJson(file, "track", channels, out);
  return out.str();
}

TEST(Json, HasALineForEachCue) {
  const CueRow row{15, 3, {{"a ", Color::white, false, false}, {"é", Color::red, true, true}}};
  EXPECT_EQ(
      written({{Channel::cc1, {cueOf(1500, 3045, {row}), cueOf(4000, 4033, {plainRow(1, 0, "b")})}},
               {Channel::cc3, {cueOf(0, 1, {plainRow(2, 0, "c")}, CaptionMode::rollUp)}}}),
      "{\"file\":\"a.mov\",\"source\":\"track\",\"channels\":[\n"
      "{\"channel\":\"CC1\",\"mode\":\"pop-on\",\"cues\":[\n"
      "{\"start\":1.5,\"end\":3.045,\"mode\":\"pop-on\",\"rows\":[{\"row\":15,\"column\":3,"
      "\"runs\":[{\"text\":\"a \",\"color\":\"white\",\"italic\":false,\"underline\":false},"
      "{\"text\":\"é\",\"color\":\"red\",\"italic\":true,\"underline\":true}]}]},\n"
      "{\"start\":4.0,\"end\":4.033,\"mode\":\"pop-on\",\"rows\":[{\"row\":1,\"column\":0,"
      "\"runs\":[{\"text\":\"b\",\"color\":\"white\",\"italic\":false,\"underline\":false}]}]}\n"
      "]},\n"
      "{\"channel\":\"CC3\",\"mode\":\"roll-up\",\"cues\":[\n"
      "{\"start\":0.0,\"end\":0.001,\"mode\":\"roll-up\",\"rows\":[{\"row\":2,\"column\":0,"
      "\"runs\":[{\"text\":\"c\",\"color\":\"white\",\"italic\":false,\"underline\":false}]}]}\n"
      "]}\n"
      "]}\n");
}

TEST(Json, IsADocumentWithoutChannelsToo) {
  EXPECT_EQ(written({}), "{\"file\":\"a.mov\",\"source\":\"track\",\"channels\":[\n]}\n");
}

TEST(Json, EscapesTextAndMendsNames) {
  const auto document = nlohmann::json::parse(written(
      {{Channel::cc2, {cueOf(0, 1, {plainRow(1, 0, "\"quoted\" \\ ♪")})}}}, "a\xFF\"\n.mov"));
  EXPECT_EQ(document["file"], "a\xEF\xBF\xBD\"\n.mov");
  EXPECT_EQ(document["channels"][0]["cues"][0]["rows"][0]["runs"][0]["text"], "\"quoted\" \\ ♪");
}

}  // namespace
}  // namespace quarrypack::captions
