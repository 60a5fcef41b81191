#include "kav/impl/writing/edit_timeline.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "tests/support/expect_code.h"
#include "tests/support/film.h"

namespace norvik::kav::impl {
namespace {

// {duration, media time}
using Edits = std::vector<std::pair<std::uint64_t, std::int64_t>>;

struct Timeline {
  explicit Timeline(std::uint32_t timescale = 3000, std::uint32_t movieTimescale = 600,
                    std::uint32_t gaps = 3)
      : box(makeBox<ElstBox>(gaps, film.stream)), timeline(timescale, movieTimescale, *box) {}

  Edits edits() const {
    Edits edits;
    for (const EditRecord& edit : box->edits()) {
      edits.emplace_back(edit.segmentDuration, edit.mediaTime);
    }
    return edits;
  }

  quarrypack::test::Film film;
  OwnedBox<ElstBox> box;
  EditTimeline timeline;
};

TEST(EditTimeline, DropsTheHalfOfAMovieTick) {
  const Timeline track(90000, 1000);
  EXPECT_EQ(track.timeline.toMovieTime(45), 0u);
  EXPECT_EQ(track.timeline.toMovieTime(46), 1u);
  EXPECT_EQ(Timeline(600, 600).timeline.toMovieTime(7), 7u);
}

TEST(EditTimeline, CountsAMovieTickInTrackUnits) {
  EXPECT_EQ(ticksPerMovieTick(90000, 1000), 90u);
  EXPECT_EQ(ticksPerMovieTick(44100, 600), 73u);  // 73.5
  EXPECT_EQ(ticksPerMovieTick(30000, 600), 50u);
  EXPECT_EQ(ticksPerMovieTick(600, 600), 1u);
  EXPECT_EQ(ticksPerMovieTick(25, 600), 1u);
  EXPECT_EQ(ticksPerMovieTick(0xFFFFFFFF, 0xFFFFFFFE), 1u);
  EXPECT_EQ(ticksPerMovieTick(0xFFFFFFFF, 1), 0xFFFFFFFFu);
}

TEST(EditTimeline, ShowsATrackWithoutGapsInOneEdit) {
  Timeline track(90000, 1000);
  EXPECT_EQ(track.timeline.addSample(0), 0u);
  EXPECT_EQ(track.timeline.addSample(3000), 3000u);
  EXPECT_EQ(track.timeline.mediaDuration(), 3090u);
  track.timeline.finish();
  EXPECT_EQ(track.edits(), (Edits{{34, 0}}));
  EXPECT_EQ(track.timeline.gapCount(), 0u);
}

TEST(EditTimeline, ShowsAnEmptyTrackInOneEmptyEdit) {
  Timeline track;
  track.timeline.finish();
  EXPECT_EQ(track.edits(), (Edits{{0, 0}}));
  EXPECT_EQ(track.timeline.mediaDuration(), 0u);
}

TEST(EditTimeline, MakesAGapAnEmptyEdit) {
  Timeline track;
  track.timeline.addSample(0);
  track.timeline.addGap(3000);
  EXPECT_EQ(track.edits(), (Edits{{600, 0}}));
  EXPECT_EQ(track.timeline.addSample(6000), 3000u);
  EXPECT_EQ(track.edits(), (Edits{{600, 0}, {600, -1}}));
  EXPECT_EQ(track.timeline.addSample(6500), 3500u);
  EXPECT_EQ(track.timeline.mediaDuration(), 3505u);
  track.timeline.finish();
  EXPECT_EQ(track.edits(), (Edits{{600, 0}, {600, -1}, {101, 3000}}));
  EXPECT_EQ(track.timeline.gapCount(), 1u);
}

TEST(EditTimeline, CountsNoTailAfterTheSampleThatClosesAGap) {
  Timeline track;
  track.timeline.addSample(0);
  track.timeline.addGap(3000);
  track.timeline.addSample(6000);
  EXPECT_EQ(track.timeline.mediaDuration(), 3000u);
  track.timeline.finish();
  EXPECT_EQ(track.edits(), (Edits{{600, 0}, {600, -1}, {0, 3000}}));
}

TEST(EditTimeline, BeginsWithAnEditWithoutDurationBeforeALeadingGap) {
  Timeline track;
  track.timeline.addGap(0);
  EXPECT_EQ(track.timeline.addSample(3000), 0u);
  EXPECT_EQ(track.timeline.addSample(6000), 3000u);
  track.timeline.finish();
  EXPECT_EQ(track.edits(), (Edits{{0, 0}, {600, -1}, {601, 0}}));
}

TEST(EditTimeline, IgnoresAGapWithinAGap) {
  Timeline track;
  track.timeline.addSample(0);
  track.timeline.addGap(3000);
  track.timeline.addGap(4500);
  EXPECT_EQ(track.timeline.addSample(6000), 3000u);
  EXPECT_EQ(track.edits(), (Edits{{600, 0}, {600, -1}}));
  EXPECT_EQ(track.timeline.gapCount(), 1u);
}

TEST(EditTimeline, TakesAllGapsOutOfTheDecodingTimes) {
  Timeline track;
  EXPECT_EQ(track.timeline.addSample(0), 0u);
  track.timeline.addGap(1000);
  EXPECT_EQ(track.timeline.addSample(2000), 1000u);
  track.timeline.addGap(3000);
  EXPECT_EQ(track.timeline.addSample(5000), 2000u);
  EXPECT_EQ(track.timeline.addSample(6000), 3000u);
  track.timeline.finish();
  EXPECT_EQ(track.edits(), (Edits{{200, 0}, {200, -1}, {200, 1000}, {400, -1}, {201, 2000}}));
}

TEST(EditTimeline, AddsNothingForAGapThatStaysOpen) {
  Timeline track;
  track.timeline.addSample(0);
  track.timeline.addGap(3000);
  EXPECT_EQ(track.timeline.mediaDuration(), 3000u);
  track.timeline.finish();
  EXPECT_EQ(track.edits(), (Edits{{600, 0}}));
}

TEST(EditTimeline, LengthensTheLastEditWhenItGoesOnAfterAFinish) {
  Timeline track;
  track.timeline.addSample(0);
  track.timeline.finish();
  track.timeline.addSample(3000);
  track.timeline.finish();
  EXPECT_EQ(track.edits(), (Edits{{601, 0}}));
  track.timeline.addGap(4500);
  EXPECT_EQ(track.edits(), (Edits{{900, 0}}));
  track.timeline.addSample(6000);
  track.timeline.finish();
  EXPECT_EQ(track.edits(), (Edits{{900, 0}, {300, -1}, {0, 4500}}));
}

TEST(EditTimeline, FailsWhenTheEditListIsFull) {
  Timeline none(3000, 600, 0);
  none.timeline.addGap(0);
  EXPECT_CODE(editListFull, none.timeline.addSample(10));
  Timeline one(3000, 600, 1);
  one.timeline.addGap(0);
  one.timeline.addSample(10);
  one.timeline.addGap(20);
  EXPECT_CODE(editListFull, one.timeline.addSample(30));
}

}  // namespace
}  // namespace norvik::kav::impl
