#include "check/track_names.h"

#include <gtest/gtest.h>

#include "kav/four_cc.h"

namespace quarrypack::check {
namespace {

norvik::kav::Track trackOf(norvik::kav::FourCc handler) {
  norvik::kav::Track track;
  track.handlerType = handler;
  track.info.trackId = 7;
  return track;
}

TEST(TrackNames, TellWhatTheTrackHolds) {
  using norvik::kav::fourCc;
  EXPECT_EQ(kindOf(trackOf(fourCc("vide"))), "video");
  EXPECT_EQ(kindOf(trackOf(fourCc("sbtl"))), "subtitles");
  EXPECT_EQ(kindOf(trackOf(fourCc("subt"))), "subtitles");
  EXPECT_EQ(nameOf(trackOf(fourCc("hint"))), "track 7 (hints)");
}

TEST(TrackNames, QuoteAHandlerThatHasNoName) {
  EXPECT_EQ(kindOf(trackOf(norvik::kav::fourCc("GPMD"))), "'GPMD'");
  EXPECT_EQ(nameOf(trackOf(norvik::kav::fourCc("meta"))), "track 7 ('meta')");
  EXPECT_EQ(kindOf(trackOf(0x007F4142)), "'??AB'") << "control characters are not for a screen";
}

}  // namespace
}  // namespace quarrypack::check
