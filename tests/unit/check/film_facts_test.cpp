#include "check/film_facts.h"

#include <gtest/gtest.h>

#include "tests/support/box_builders.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

namespace quarrypack::check {
namespace {

using namespace test;
using captions::Time;
using captions::timeOfUnits;

FilmPictures picturesOf(const MovieBuilder& movie) {
  sources::FilmFile film(MemoryStream::create(movie.build()));
  return check::picturesOf(film);
}

Time frames(std::int64_t count) { return timeOfUnits(1001 * count, 30000); }

TEST(FilmFacts, CountAndMeasureThePictures) {
  const FilmPictures pictures = picturesOf(MovieBuilder({soundTrack(), videoTrack({.count = 12})}));
  EXPECT_EQ(pictures.count, 12u);
  EXPECT_EQ(pictures.facts.duration, frames(1));
  ASSERT_TRUE(pictures.facts.shown);
  EXPECT_EQ(pictures.facts.shown->start, Time{0});
  EXPECT_EQ(pictures.facts.shown->end, frames(12));
}

TEST(FilmFacts, ApplyTheEditList) {
  MovieBuilder movie({videoTrack({.count = 30})});
  movie.timescale = 30000;
  movie.tracks[0].edits = {{15000, kEmptyEdit}, {10010, 5005}};
  const FilmPictures pictures = picturesOf(movie);
  EXPECT_EQ(pictures.count, 30u);
  ASSERT_TRUE(pictures.facts.shown);
  EXPECT_EQ(pictures.facts.shown->start, timeOfUnits(15000, 30000));
  EXPECT_EQ(pictures.facts.shown->end, timeOfUnits(25010, 30000));
}

TEST(FilmFacts, EndWithTheMediaWhereAnEditGoesOn) {
  MovieBuilder movie({videoTrack({.count = 10})});
  movie.timescale = 30000;
  movie.tracks[0].edits = {{90000, 1001}};
  EXPECT_EQ(picturesOf(movie).facts.shown->end, frames(9));
}

TEST(FilmFacts, AreThoseOfAVideoTrackOfAnyCodingIfThereIsNoOther) {
  MovieBuilder movie({videoTrack({.count = 3})});
  movie.tracks[0].entries = {videoEntry("mp4v", box("esds", zeros(20)))};
  EXPECT_EQ(picturesOf(movie).count, 3u);
}

TEST(FilmFacts, AreEmptyWithoutPictures) {
  const FilmPictures none = picturesOf(MovieBuilder({soundTrack()}));
  EXPECT_EQ(none.count, 0u);
  EXPECT_FALSE(none.facts.shown);
}

TEST(FilmFacts, HoldAStillPictureForAllOfItsEdit) {
  MovieBuilder movie({videoTrack({.count = 10})});
  movie.timescale = 30000;
  movie.tracks[0].edits = {{90000, 1001, 0}};
  EXPECT_EQ(picturesOf(movie).facts.shown->end, timeOfUnits(3, 1));
}

TEST(FilmFacts, JoinWhatSeveralEditsShow) {
  MovieBuilder movie({videoTrack({.count = 10})});
  movie.timescale = 30000;
  movie.tracks[0].edits = {{3 * 1001, kEmptyEdit}, {2 * 1001, 5 * 1001}, {4 * 1001, 1001}};
  const FilmPictures pictures = picturesOf(movie);
  EXPECT_EQ(pictures.facts.shown->start, frames(3));
  EXPECT_EQ(pictures.facts.shown->end, frames(9));
}

TEST(FilmFacts, LeaveOutEditsOfNoPicture) {
  MovieBuilder movie({videoTrack({.count = 10})});
  movie.timescale = 30000;
  movie.tracks[0].edits = {{2 * 1001, 0}, {4 * 1001, 50 * 1001}};
  EXPECT_EQ(picturesOf(movie).facts.shown->end, frames(2));
}

}  // namespace
}  // namespace quarrypack::check
