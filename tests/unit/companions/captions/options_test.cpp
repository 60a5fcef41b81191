#include "companions/captions/options.h"

#include <gtest/gtest.h>

#include <vector>

namespace quarrypack::companions {
namespace {

using captions::Channel;
using captions::RollUpCues;

using WordList = std::vector<const char*>;

CaptionOptions parsed(const WordList& words) { return parseCaptionOptions(words); }

TEST(CaptionOptions, HaveDefaults) {
  const CaptionOptions options = parsed({"film.mp4"});
  EXPECT_EQ(options.action, Action::run);
  EXPECT_EQ(options.input, "film.mp4");
  EXPECT_EQ(options.output, "");
  EXPECT_EQ(options.format->name, "srt");
  EXPECT_EQ(options.source, WantedSource::automatic);
  EXPECT_FALSE(options.allChannels);
  EXPECT_FALSE(options.channel.has_value());
  EXPECT_EQ(options.rollUp, RollUpCues::once);
}

TEST(CaptionOptions, TakeTheFormatOfTheOutputUnlessOneIsNamed) {
  EXPECT_EQ(parsed({"a.mp4", "--output-file", "a.VTT"}).format->name, "vtt");
  EXPECT_EQ(parsed({"a.mp4", "--output-file=a.json"}).format->name, "json");
  EXPECT_EQ(parsed({"a.mp4", "--output-file", "a.txt"}).format->name, "srt");
  EXPECT_EQ(parsed({"a.mp4", "--output-file", "a.vtt", "--format", "scc"}).format->name, "scc");
}

TEST(CaptionOptions, TakeADashForStandardOutput) {
  EXPECT_EQ(parsed({"a.mp4", "--output-file", "-"}).output, "");
}

TEST(CaptionOptions, NameChannelsSourcesAndRollUp) {
  EXPECT_EQ(parsed({"a.mp4", "--channel", "CC3"}).channel, Channel::cc3);
  EXPECT_TRUE(parsed({"a.mp4", "--channel", "all", "--output-file", "a.srt"}).allChannels);
  EXPECT_TRUE(parsed({"a.mp4", "--channel", "all", "--format", "json"}).allChannels);
  EXPECT_EQ(parsed({"a.mp4", "--source", "track"}).source, WantedSource::track);
  EXPECT_EQ(parsed({"a.mp4", "--source", "pictures"}).source, WantedSource::pictures);
  EXPECT_EQ(parsed({"a.mp4", "--source", "auto"}).source, WantedSource::automatic);
  EXPECT_EQ(parsed({"a.mp4", "--rollup", "screen"}).rollUp, RollUpCues::screen);
}

TEST(CaptionOptions, SayHowTimeCodesAreRead) {
  const CaptionOptions options =
      parsed({"a.scc", "--scc-offset", "01:00:00:00", "--scc-rate", "25"});
  EXPECT_EQ(options.scc.offset.code.hours, 1);
  EXPECT_EQ(options.scc.rate->name, "25");
  EXPECT_TRUE(parsed({"a.scc", "--scc-offset", "auto"}).scc.offset.wholeHours);
}

TEST(CaptionOptions, AskForHelpOrTheVersionWithoutAFile) {
  EXPECT_EQ(parsed({"--help"}).action, Action::showHelp);
  EXPECT_EQ(parsed({"--version"}).action, Action::showVersion);
}

TEST(CaptionOptions, RefuseUnknownOptionsAndValues) {
  const std::vector<WordList> wrong = {{},
                                       {"a.mp4", "b.mp4"},
                                       {""},
                                       {"a.mp4", "--sub"},
                                       {"a.mp4", "--form", "srt"},
                                       {"a.mp4", "--format", "SRT"},
                                       {"a.mp4", "--format", ""},
                                       {"a.mp4", "--format"},
                                       {"a.mp4", "--format", "srt", "--format", "vtt"},
                                       {"a.mp4", "--channel", "cc1"},
                                       {"a.mp4", "--channel", "CC5"},
                                       {"a.mp4", "--channel", "all"},
                                       {"a.mp4", "--channel", "all", "--output-file", "-"},
                                       {"a.mp4", "--source", "sei"},
                                       {"a.mp4", "--rollup", "twice"},
                                       {"a.scc", "--scc-offset", "1h"},
                                       {"a.scc", "--scc-rate", "29"}};
  for (const WordList& words : wrong) {
    EXPECT_THROW(parsed(words), UsageError) << (words.empty() ? "" : words.back());
  }
}

TEST(CaptionOptions, AreAllInTheUsageText) {
  const std::string usage = captionUsage();
  for (const char* option : {"--output-file", "--format", "--channel", "--source", "--rollup",
                             "--scc-offset", "--scc-rate", "--help", "--version"}) {
    EXPECT_NE(usage.find(option), std::string::npos) << option;
  }
}

}  // namespace
}  // namespace quarrypack::companions
