#include "kav/impl/reading/track_record.h"

#include <gtest/gtest.h>

#include "tests/unit/kav/impl/sample_columns.h"

namespace norvik::kav::impl {
namespace {

TEST(TrackRecord, HasTheEditsOfItsEditList) {
  MovieBuilder movie({countingTrack(2)});
  movie.tracks[0].edits = {{6, 0}};
  const Film opened(movie, ReaderOptions{});
  ASSERT_NE(opened.track().edits(), nullptr);
  EXPECT_EQ(opened.track().edits()->edits().size(), 1u);
}

TEST(TrackRecord, HasNoEditsWithoutAnEditList) {
  const Film opened(MovieBuilder({countingTrack(2)}), ReaderOptions{});
  EXPECT_EQ(opened.track().edits(), nullptr);
}

TEST(TrackRecord, HasNoEditsInAnEmptyEditList) {
  MovieBuilder movie({countingTrack(2), countingTrack(2)});
  movie.tracks[0].edits.emplace();
  movie.tracks[1].edits = {{6, 0}};
  movie.drop("moov/trak[2]/edts/elst");
  const Film opened(movie, ReaderOptions{});
  EXPECT_EQ(opened.track(1).edits(), nullptr);
  EXPECT_EQ(opened.track(2).edits(), nullptr);
}

TEST(TrackRecord, ReportsWhetherItsSamplesLieInFragments) {
  const Film regular(MovieBuilder({countingTrack(2)}), ReaderOptions{});
  EXPECT_FALSE(regular.track().isFragmented());
  EXPECT_TRUE(regular.track().hasSamplesInTables());
  const Film fragmented(MovieBuilder({countingTrack(2)}).splitIntoFragments({1}), ReaderOptions{});
  EXPECT_TRUE(fragmented.track().isFragmented());
  EXPECT_FALSE(fragmented.track().hasSamplesInTables());
}

TEST(EmptySample, CarriesNoMedia) {
  MovieBuilder movie({countingTrack(2)});
  movie.tracks[0].id = 7;
  const Film opened(movie, ReaderOptions{});
  const Sample sample = emptySample(opened.track(), 1234, 99, 3);
  EXPECT_EQ(sample.info.structSize, 32u);
  EXPECT_EQ(sample.info.size, 0u);
  EXPECT_EQ(sample.info.decodingTime, 1234u);
  EXPECT_EQ(sample.info.timescale, 1000u);
  EXPECT_EQ(sample.info.compositionOffset, 0u);
  EXPECT_EQ(sample.info.trackId, 7u);
  EXPECT_EQ(sample.info.flags, 2u);
  EXPECT_EQ(sample.fileOffset, 0u);
  EXPECT_EQ(sample.count, 1u);
  EXPECT_EQ(sample.fragmentSequence, 3u);
  EXPECT_EQ(sample.description, nullptr);
  EXPECT_EQ(sample.descriptionIndex, 0u);
  EXPECT_EQ(sample.track, opened.track().track);
  EXPECT_EQ(sample.context, 99u);
}

}  // namespace
}  // namespace norvik::kav::impl
