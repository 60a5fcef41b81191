#include "sources/showings.h"

#include <gtest/gtest.h>

#include <chrono>
#include <vector>

#include "sources/caption_pairs.h"

namespace quarrypack::sources {
namespace {

using captions::Time;

constexpr Time seconds(int count) { return std::chrono::seconds(count); }

// A second for each.
std::vector<MediaSpan> spans(int count) {
  std::vector<MediaSpan> result;
  for (int i = 0; i < count; ++i) {
    result.push_back({seconds(i), seconds(i + 1), static_cast<std::uint32_t>(i)});
  }
  return result;
}

std::vector<Showing> at(const std::vector<std::pair<std::uint32_t, Time>>& showings) {
  std::vector<Showing> result;
  for (const auto& [sample, start] : showings) result.push_back({sample, start});
  return result;
}

std::vector<Showing> captionShowings(const EditList& edits, const std::vector<MediaSpan>& samples) {
  std::vector<Showing> result;
  showCaptions(edits, samples, [&result](const MediaSpan& sample, Time start) {
    result.push_back({sample.sample, start});
  });
  return result;
}

TEST(ShowPictures, ShowsATrackWithoutEditsAsItIs) {
  const Showings showings = showPictures(EditList(), spans(3));
  EXPECT_EQ(showings.pictures, at({{0, seconds(0)}, {1, seconds(1)}, {2, seconds(2)}}));
  EXPECT_EQ(showings.end, seconds(3));
}

TEST(ShowPictures, DelaysWhatFollowsAnEmptyEdit) {
  const EditList edits(
      {{seconds(0), seconds(5), std::nullopt, false}, {seconds(5), seconds(2), seconds(0), false}});
  const Showings showings = showPictures(edits, spans(3));
  EXPECT_EQ(showings.pictures, at({{0, seconds(5)}, {1, seconds(6)}}));
  EXPECT_EQ(showings.end, seconds(7));
}

TEST(ShowPictures, ShowsThePictureThatAnEditBeginsInFromItsBeginning) {
  const Time half = seconds(1) / 2;
  const EditList edits({{seconds(0), seconds(1), seconds(1) + half, false}});
  const Showings showings = showPictures(edits, spans(5));
  EXPECT_EQ(showings.pictures, at({{1, seconds(0)}, {2, half}}));
  EXPECT_EQ(showings.end, seconds(1));
}

TEST(ShowPictures, ShowsAPictureAgainForEachEdit) {
  const EditList edits(
      {{seconds(0), seconds(2), seconds(1), false}, {seconds(2), seconds(2), seconds(0), false}});
  EXPECT_EQ(showPictures(edits, spans(4)).pictures,
            at({{1, seconds(0)}, {2, seconds(1)}, {0, seconds(2)}, {1, seconds(3)}}));
}

TEST(ShowPictures, ShowsOnePictureInAStillEdit) {
  const EditList edits({{seconds(0), seconds(9), seconds(2), true}});
  const Showings showings = showPictures(edits, spans(4));
  EXPECT_EQ(showings.pictures, at({{2, seconds(0)}}));
  EXPECT_EQ(showings.end, seconds(9));
}

TEST(ShowPictures, AStillEditWithoutLengthLastsAsLongAsItsPicture) {
  const EditList edits({{seconds(0), EditList::kOpenEnd, seconds(2), true}});
  EXPECT_EQ(showPictures(edits, spans(4)).pictures, at({{2, seconds(0)}}));
  EXPECT_EQ(showPictures(edits, spans(4)).end, seconds(1));
}

TEST(ShowPicturesOnce, ShowsAPictureOnlyInTheFirstEditThatHasIt) {
  const EditList edits(
      {{seconds(0), seconds(2), seconds(1), false}, {seconds(2), seconds(2), seconds(0), false}});
  const Showings showings = showPicturesOnce(edits, spans(4));
  EXPECT_EQ(showings.pictures, at({{1, seconds(0)}, {2, seconds(1)}, {0, seconds(2)}}));
}

TEST(ShowPictures, RefusesEditsThatRepeatWithoutEnd) {
  const std::vector<MediaSpan> pictures = spans(4000);
  const std::vector<EditList::Edit> edits(2001, {seconds(0), seconds(4000), seconds(0), false});
  EXPECT_THROW(showPictures(EditList(edits), pictures), SourceError);
}

TEST(ShowCaptions, KeepsTheTimesOfATrackWithoutEdits) {
  EXPECT_EQ(captionShowings(EditList(), spans(2)), at({{0, seconds(0)}, {1, seconds(1)}}));
}

TEST(ShowCaptions, PutsWhatLiesBeforeTheFirstEditBeforeIt) {
  const EditList edits({{seconds(0), seconds(9), seconds(1), false}});
  EXPECT_EQ(captionShowings(edits, spans(3)),
            at({{0, seconds(-1)}, {1, seconds(0)}, {2, seconds(1)}}));
}

TEST(ShowCaptions, GivesTheLastEditNoEnd) {
  const EditList edits({{seconds(0), seconds(1), seconds(0), false}});
  EXPECT_EQ(captionShowings(edits, spans(2)), at({{0, seconds(0)}, {1, seconds(1)}}));
}

TEST(ShowCaptions, LeavesOutWhatNoEditShows) {
  const EditList edits(
      {{seconds(0), seconds(1), seconds(0), false}, {seconds(1), seconds(1), seconds(3), false}});
  EXPECT_EQ(captionShowings(edits, spans(4)), at({{0, seconds(0)}, {3, seconds(1)}}));
}

TEST(ShowCaptions, SortsWhatOverlappingEditsShow) {
  const EditList edits(
      {{seconds(0), seconds(9), seconds(1), false}, {seconds(1), seconds(1), seconds(0), false}});
  EXPECT_EQ(captionShowings(edits, spans(3)), at({{0, seconds(-1)},
                                                  {1, seconds(0)},
                                                  {2, seconds(1)},
                                                  {0, seconds(1)},
                                                  {1, seconds(2)},
                                                  {2, seconds(3)}}));
}

TEST(ShowCaptions, ShowsNothingWhereAllEditsAreEmpty) {
  const EditList edits({{seconds(0), seconds(1), std::nullopt, false}});
  EXPECT_TRUE(captionShowings(edits, spans(2)).empty());
}

}  // namespace
}  // namespace quarrypack::sources
