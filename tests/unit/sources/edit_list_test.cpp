#include "sources/edit_list.h"

#include "sources/showings.h"
#include "tests/support/box_builders.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace quarrypack::sources {
namespace {

using namespace quarrypack::test;
using captions::Time;
using captions::timeOfUnits;
using norvik::kav::BoxView;
using Shown = std::vector<Showing>;

constexpr std::uint32_t kMovieScale = 1000;
constexpr std::uint32_t kMediaScale = 90000;

Time ms(std::int64_t count) { return timeOfUnits(count, 1000); }

// Pictures of 100 ms each, from a start.
std::vector<MediaSpan> pictures(std::uint32_t count, std::int64_t start = 0) {
  std::vector<MediaSpan> all;
  for (std::uint32_t i = 0; i < count; ++i) {
    all.push_back({ms(start + 100 * i), ms(start + 100 * (i + 1)), i});
  }
  return all;
}

Bytes entry0(std::uint32_t length, std::int64_t media, std::uint32_t rate = 0x10000) {
  return concat({u32(length), u32(static_cast<std::uint32_t>(media)), u32(rate)});
}

Bytes edtsWith(unsigned version, const Bytes& entries, std::uint32_t count) {
  return box("edts", fullBox("elst", version, 0, u32(count), entries));
}

EditList listOf(const std::vector<Bytes>& entries) {
  const Bytes edts = edtsWith(0, concat(entries), static_cast<std::uint32_t>(entries.size()));
  return EditList::of(*BoxView::at(edts), kMovieScale, kMediaScale);
}

TEST(EditList, WithoutEditsShowsTheTrackWhole) {
  const EditList none = EditList::of(*BoxView::at(box("edts")), kMovieScale, kMediaScale);
  for (const EditList& list : {none, EditList(), listOf({})}) {
    const Showings showings = showPicturesOnce(list, pictures(3));
    EXPECT_EQ(showings.pictures, (Shown{{0, ms(0)}, {1, ms(100)}, {2, ms(200)}}));
    EXPECT_EQ(showings.end, ms(300));
  }
}

TEST(EditList, TrimsTheTrack) {
  // From 150 ms on for 200 ms: the second half of picture 1, picture 2 and half of picture 3.
  const Showings showings = showPicturesOnce(listOf({entry0(200, 150 * 90)}), pictures(6));
  EXPECT_EQ(showings.pictures, (Shown{{1, ms(0)}, {2, ms(50)}, {3, ms(150)}}));
  EXPECT_EQ(showings.end, ms(200));
}

TEST(EditList, EndsBetweenPicturesWithoutTheNext) {
  const Showings showings = showPicturesOnce(listOf({entry0(200, 100 * 90)}), pictures(6));
  EXPECT_EQ(showings.pictures, (Shown{{1, ms(0)}, {2, ms(100)}}));
  EXPECT_EQ(showings.end, ms(200));
}

TEST(EditList, DelaysTheTrack) {
  const Showings showings =
      showPicturesOnce(listOf({entry0(500, -1), entry0(200, 0)}), pictures(6));
  EXPECT_EQ(showings.pictures, (Shown{{0, ms(500)}, {1, ms(600)}}));
  EXPECT_EQ(showings.end, ms(700));
}

TEST(EditList, TakesTheStartOfBFramesOff) {
  // The first picture has a composition offset of two pictures, which the edit takes off.
  const Showings showings = showPicturesOnce(listOf({entry0(300, 200 * 90)}), pictures(3, 200));
  EXPECT_EQ(showings.pictures, (Shown{{0, ms(0)}, {1, ms(100)}, {2, ms(200)}}));
}

TEST(EditList, ShowsEachPictureOnce) {
  const Showings showings = showPicturesOnce(
      listOf({entry0(200, 300 * 90), entry0(400, 200 * 90), entry0(100, 300 * 90)}), pictures(6));
  // Pictures 3 and 4 were shown when the second edit comes to them.
  EXPECT_EQ(showings.pictures, (Shown{{3, ms(0)}, {4, ms(100)}, {2, ms(200)}, {5, ms(500)}}));
}

TEST(EditList, AStillEditShowsOnePicture) {
  const Showings showings =
      showPicturesOnce(listOf({entry0(1000, 250 * 90, 0), entry0(100, 300 * 90)}), pictures(6));
  EXPECT_EQ(showings.pictures, (Shown{{2, ms(0)}, {3, ms(1000)}}));
  EXPECT_EQ(showings.end, ms(1100));
}

TEST(EditList, ALastEditWithoutLengthGoesOn) {
  const Showings showings = showPicturesOnce(listOf({entry0(0, 100 * 90)}), pictures(4));
  EXPECT_EQ(showings.pictures, (Shown{{1, ms(0)}, {2, ms(100)}, {3, ms(200)}}));
  EXPECT_EQ(showings.end, ms(300));
  EXPECT_TRUE(showPicturesOnce(listOf({entry0(0, 0), entry0(100, 5000 * 90)}), pictures(4))
                  .pictures.empty());
}

TEST(EditList, ReadsWideEntries) {
  const Bytes entry = concat({u64(200), u64(150 * 90), u32(0x10000)});
  const Bytes gap = concat({u64(70), u64(0xFFFFFFFFFFFFFFFF), u32(0x10000)});
  const Bytes edts = edtsWith(1, concat({gap, entry}), 2);
  const Showings showings =
      showPicturesOnce(EditList::of(*BoxView::at(edts), kMovieScale, kMediaScale), pictures(6));
  EXPECT_EQ(showings.pictures, (Shown{{1, ms(70)}, {2, ms(120)}, {3, ms(220)}}));
}

TEST(EditList, LengthsAddUpWithoutRounding) {
  // A third of a second three times, in units of which a tick is no whole part.
  const Bytes entries = concat({entry0(1, -1), entry0(1, -1), entry0(1, -1), entry0(9, 0)});
  const Bytes edts = edtsWith(0, entries, 4);
  const EditList list = EditList::of(*BoxView::at(edts), 3'000'017, kMediaScale);
  EXPECT_EQ(list.edits()[3].start, timeOfUnits(3, 3'000'017));
}

TEST(EditList, AnEntryThatIsCutShortEndsTheList) {
  const Bytes edts = edtsWith(0, concat({entry0(100, 100 * 90), zeros(11)}), 0xFFFFFFFF);
  const EditList list = EditList::of(*BoxView::at(edts), kMovieScale, kMediaScale);
  EXPECT_EQ(list.edits().size(), 1u);
  for (const Bytes& cut : {box("edts", box("elst", zeros(7))), box("edts", text("x"))}) {
    EXPECT_EQ(EditList::of(*BoxView::at(cut), kMovieScale, kMediaScale).edits().size(), 1u);
  }
}

TEST(EditList, SurvivesExtremeNumbers) {
  const Bytes most = concat({u64(std::numeric_limits<std::uint64_t>::max()),
                             u64(std::numeric_limits<std::int64_t>::max()), u32(0x10000)});
  const Bytes least =
      concat({u64(std::numeric_limits<std::uint64_t>::max()), u64(1ull << 63), u32(0xFFFFFFFF)});
  const Bytes edts = edtsWith(1, concat({most, least, most, least}), 4);
  for (const std::uint32_t scale : {0u, 1u, 0xFFFFFFFFu}) {
    const EditList list = EditList::of(*BoxView::at(edts), scale, scale);
    showPicturesOnce(list, pictures(4));
    showCaptions(list, pictures(4), [](const MediaSpan&, Time) {});
    showPictures(list, pictures(4));
    const std::vector<MediaSpan> extremes{{-captions::kLatestPicture, -captions::kLatestPicture, 0},
                                          {captions::kLatestPicture, captions::kLatestPicture, 1}};
    showCaptions(list, extremes, [](const MediaSpan&, Time) {});
    showPictures(list, extremes);
  }
}

TEST(EditList, ManyRepeatedEditsTakeNoLongerThanOne) {
  // With every edit walking over all pictures this would be 10^10 steps.
  const std::vector<EditList::Edit> edits(100'000, {Time{0}, ms(10'000'000), ms(0), false});
  EXPECT_EQ(showPicturesOnce(EditList(edits), pictures(100'000)).pictures.size(), 100'000u);
}

std::vector<Time> captionTimes(const EditList& list, std::int64_t media) {
  std::vector<Time> times;
  const std::vector<MediaSpan> samples{{ms(media), ms(media + 1), 0}};
  showCaptions(list, samples, [&times](const MediaSpan&, Time start) { times.push_back(start); });
  return times;
}

TEST(EditList, PlacesCaptionsBeforeTheFirstEditAndAfterTheLast) {
  const EditList list = listOf({entry0(500, -1), entry0(200, 1000 * 90)});
  EXPECT_EQ(captionTimes(list, 900), (std::vector<Time>{ms(400)}));
  EXPECT_EQ(captionTimes(list, 1000), (std::vector<Time>{ms(500)}));
  EXPECT_EQ(captionTimes(list, 5000), (std::vector<Time>{ms(4500)}));
  EXPECT_EQ(captionTimes(EditList(), 5000), (std::vector<Time>{ms(5000)}));
}

TEST(EditList, PlacesCaptionsInEveryEditThatShowsThem) {
  const EditList list =
      listOf({entry0(200, 1000 * 90), entry0(300, 3000 * 90), entry0(200, 1000 * 90)});
  EXPECT_EQ(captionTimes(list, 1100), (std::vector<Time>{ms(100), ms(600)}));
  EXPECT_EQ(captionTimes(list, 900), (std::vector<Time>{ms(-100)}));
  // Between the first and the second edit the film is cut; the last edit has no end.
  EXPECT_EQ(captionTimes(list, 2000), (std::vector<Time>{ms(1500)}));
  EXPECT_EQ(captionTimes(list, 3100), (std::vector<Time>{ms(300), ms(2600)}));
}

TEST(EditList, OfGapsOnlyPlacesNothing) {
  const EditList list = listOf({entry0(500, -1)});
  EXPECT_TRUE(captionTimes(list, 0).empty());
  EXPECT_TRUE(showPicturesOnce(list, pictures(3)).pictures.empty());
}

}  // namespace
}  // namespace quarrypack::sources
