#include "companions/check/json_report.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "captions/formats/json.h"
#include "tests/unit/companions/check/sample_report.h"

namespace quarrypack::companions {
namespace {

using nlohmann::json;

std::string written(const check::CheckReport& report) {
  std::ostringstream out;
  writeJson(report, out);
  return out.str();
}

TEST(CheckJson, HoldsAllOfAReport) {
  const json document = json::parse(written(test::sampleReport()));
  EXPECT_EQ(document["file"], "film.mov");
  EXPECT_EQ(document["source"], "track");
  EXPECT_EQ(document["duration"], 90.5);
  EXPECT_EQ(document["statistics"],
            json::parse(R"({"pictures":2712,"cues":1,"errors":1,"warnings":1,"infos":1})"));
  EXPECT_EQ(document["coverage"],
            json::parse(R"({"first":1.0,"longestHole":{"start":2.5,"end":90.5},"share":0.0166})"));
  EXPECT_EQ(document["hits"],
            json::parse(R"([{"track":2,"kind":"sound","count":2,"times":[1.0,1.033]}])"));
  ASSERT_EQ(document["findings"].size(), 3u);
  EXPECT_EQ(document["findings"][0],
            json::parse(R"({"id":"damage","severity":"error","count":2,"first":1.0,
              "times":[1.0,1.033],
              "meaning":"Something is damaged, which viewers notice at once.",
              "remedy":"Mend it.","detail":"track 2, 2 samples"})"));
  EXPECT_TRUE(document["findings"][1]["first"].is_null());
}

TEST(CheckJson, HasCuesAsACaptionDocumentHasThem) {
  const check::CheckReport report = test::sampleReport();
  std::ostringstream captions;
  captions::writeJson("film.mov", "track", report.channels, captions);
  EXPECT_EQ(json::parse(written(report))["channels"], json::parse(captions.str())["channels"]);
}

TEST(CheckJson, IsADocumentEvenWithoutContent) {
  const json document = json::parse(written({}));
  EXPECT_TRUE(document["coverage"]["first"].is_null());
  EXPECT_TRUE(document["coverage"]["longestHole"].is_null());
  EXPECT_TRUE(document["hits"].empty());
  EXPECT_TRUE(document["findings"].empty());
  EXPECT_TRUE(document["channels"].empty());
}

TEST(CheckJson, ReplacesBytesThatAreNotUtf8) {
  check::CheckReport report;
  report.file = "a\"\xFF\n.mov";
  EXPECT_EQ(json::parse(written(report))["file"], "a\"\xEF\xBF\xBD\n.mov");
}

}  // namespace
}  // namespace quarrypack::companions
