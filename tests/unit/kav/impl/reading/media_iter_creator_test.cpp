#include "kav/impl/reading/media_iter_creator.h"

#include <gtest/gtest.h>

#include <memory>

#include "kav/impl/reading/fragmented_track_iterator.h"
#include "kav/impl/reading/track_iterator.h"
#include "tests/unit/kav/impl/sample_columns.h"

namespace norvik::kav::impl {
namespace {

TEST(MediaIterCreator, WalksTheTablesOfARegularMovie) {
  const Film opened(MovieBuilder({countingTrack(4)}), ReaderOptions{});
  MediaIterCreator creator(opened.track(), 6, true);
  EXPECT_FALSE(creator.isFragmented());
  EXPECT_TRUE(creator.ignoresEditLists());
  const auto iterator = creator.createMediaIterator(15);
  EXPECT_NE(dynamic_cast<TrackIterator*>(iterator.get()), nullptr);
  const auto samples = drain(*iterator);
  EXPECT_EQ(timesOf(samples), (Column{20, 30}));
  EXPECT_EQ(samples[0].context, 6u);
  EXPECT_EQ(timesOf(drain(*creator.createMediaIterator(10, 30))), (Column{10, 20}));
}

TEST(MediaIterCreator, WalksTheFragmentsOfAFragmentedMovie) {
  MovieBuilder movie({countingTrack(4)});
  movie.splitIntoFragments({2});
  const Film opened(movie, ReaderOptions{});
  MediaIterCreator creator(opened.track(), 6, false);
  EXPECT_TRUE(creator.isFragmented());
  EXPECT_FALSE(creator.ignoresEditLists());
  const auto iterator = creator.createMediaIterator(15);
  EXPECT_NE(dynamic_cast<FragmentedTrackIterator*>(iterator.get()), nullptr);
  EXPECT_EQ(timesOf(drain(*iterator)), (Column{20, 30}));
  EXPECT_EQ(timesOf(drain(*creator.createMediaIterator(10, 30))), (Column{10, 20}));
}

TEST(MediaIterCreator, CountsEmptySamplesOfAFragmentedMovieToTheFirstFragment) {
  MovieBuilder movie({countingTrack(4)});
  const Film regular(movie, ReaderOptions{});
  const Film fragmented(movie.splitIntoFragments({2}), ReaderOptions{});
  const SamplePtr outside = MediaIterCreator(regular.track(), 4, false).createEmptySample(50);
  EXPECT_EQ(outside->fragmentSequence, 0u);
  EXPECT_EQ(outside->info.decodingTime, 50u);
  EXPECT_EQ(outside->info.flags, 2u);
  EXPECT_EQ(outside->context, 4u);
  const SamplePtr inside = MediaIterCreator(fragmented.track(), 4, false).createEmptySample(50);
  EXPECT_EQ(inside->fragmentSequence, 1u);
}

}  // namespace
}  // namespace norvik::kav::impl
