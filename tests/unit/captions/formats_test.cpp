#include "captions/formats.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/unit/captions/pair_script.h"

namespace quarrypack::captions {
namespace {

TEST(Formats, AreFoundByName) {
  for (const char* name : {"scc", "srt", "vtt", "json"}) {
    ASSERT_NE(findFormat(name), nullptr) << name;
    EXPECT_EQ(findFormat(name)->name, name);
  }
  EXPECT_EQ(findFormat("SCC"), nullptr);
  EXPECT_EQ(findFormat("ttml"), nullptr);
  EXPECT_EQ(formats().size(), 4u);
}

TEST(Formats, AreFoundByTheEndOfAName) {
  EXPECT_EQ(formatOfFile("a.srt"), findFormat("srt"));
  EXPECT_EQ(formatOfFile("/b.scc/A.VTT"), findFormat("vtt"));
  EXPECT_EQ(formatOfFile(".json"), findFormat("json"));
  EXPECT_EQ(formatOfFile("srt"), nullptr);
  EXPECT_EQ(formatOfFile("a.srt.gz"), nullptr);
  EXPECT_EQ(formatOfFile(""), nullptr);
}

TEST(Formats, StateWhatTheyContain) {
  EXPECT_TRUE(findFormat("scc")->holdsPairs);
  EXPECT_FALSE(findFormat("srt")->holdsPairs);
  EXPECT_TRUE(findFormat("json")->holdsAllChannels);
  EXPECT_FALSE(findFormat("vtt")->holdsAllChannels);
}

TEST(Formats, WriteADocument) {
  const CaptionDocument document{
      "a.mov",
      "pictures",
      {{Channel::cc1, {test::cueOf(0, 1000, {test::plainRow(15, 0, "text")})}}},
      {{Time(0), {0x94, 0x2C}}}};
  const struct {
    const char* format;
    const char* begin;
  } kCases[] = {{"scc", "Scenarist_SCC V1.0\r\n\r\n00:00:00;00\t942c\r\n"},
                {"srt", "1\n00:00:00,000 --> 00:00:01,000\ntext\n"},
                {"vtt", "WEBVTT\n\n00:00:00.000 --> 00:00:01.000 line:84.62%"},
                {"json", "{\"file\":\"a.mov\",\"source\":\"pictures\","}};
  for (const auto& [format, begin] : kCases) {
    std::ostringstream out;
    findFormat(format)->write(document, out);
    EXPECT_EQ(out.str().substr(0, std::string_view(begin).size()), begin);
  }
}

TEST(Formats, WriteADocumentWithoutCaptions) {
  for (const Format& format : formats()) {
    std::ostringstream out;
    format.write({}, out);
    EXPECT_EQ(out.str().empty(), format.name == "srt");
  }
}

}  // namespace
}  // namespace quarrypack::captions
