#include "kav/impl/reading/fragmented_track_iterator.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "kav/impl/boxes/description_boxes.h"
#include "tests/unit/kav/impl/fragment_fixtures.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint64_t kEnd = 1'000'000;

Samples samplesOf(const Film& movie, std::size_t track = 1, std::uint64_t start = 0,
                  std::uint64_t end = kEnd) {
  FragmentedTrackIterator iterator(movie.track(track), 0, start, end);
  return drain(iterator);
}

// One track, its samples 4 bytes long and 10 units apart where nothing else is said.
FragmentedMovie movieOf(const Bytes& fragments, std::size_t samplesInTables = 0) {
  return FragmentedMovie({countingTrack(samplesInTables)}, trex(1), fragments);
}

TEST(FragmentedTrackIterator, DeliversTheSamplesOfAllFragments) {
  MovieBuilder movie({countingTrack(7), countingTrack(5)});
  movie.tracks[0].samples[4].compositionOffset = 6;
  for (const std::size_t i : {0u, 4u}) movie.tracks[0].samples[i].sync = true;
  movie.splitIntoFragments({3, 2});
  Film opened(movie, ReaderOptions{});
  for (const std::size_t number : {1u, 2u}) {
    FragmentedTrackIterator iterator(opened.track(number), 55, 0, kEnd);
    const auto samples = drain(iterator);
    const MovieTrack& put = movie.tracks[number - 1];
    ASSERT_EQ(samples.size(), put.samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
      EXPECT_EQ(opened.bytesOf(samples[i]), put.samples[i].bytes);
      EXPECT_EQ(samples[i].info.structSize, 32u);
      EXPECT_EQ(samples[i].info.decodingTime, i * 10);
      EXPECT_EQ(samples[i].info.timescale, 1000u);
      EXPECT_EQ(samples[i].info.compositionOffset, put.samples[i].compositionOffset);
      EXPECT_EQ(samples[i].info.trackId, number);
      EXPECT_EQ(samples[i].info.flags, put.samples[i].sync ? 1u : 0u);
      EXPECT_EQ(samples[i].fragmentSequence, i / (number == 1 ? 3 : 2) + 1);
      EXPECT_EQ(samples[i].count, 1u);
      EXPECT_EQ(samples[i].description, opened.track(number).track->description(1));
      EXPECT_EQ(samples[i].descriptionIndex, 1u);
      EXPECT_EQ(samples[i].track, opened.track(number).track);
      EXPECT_EQ(samples[i].context, 55u);
    }
  }
}

TEST(FragmentedTrackIterator, DeliversTheSamplesOfTheMovieBeforeThoseOfTheFragments) {
  const FragmentedMovie movie =
      movieOf(concat({moof(4, traf(tfhd(1), trun(2, 1, u32(500)))), box("mdat", zeros(8))}), 3);
  const auto samples = samplesOf(movie.opened);
  EXPECT_EQ(timesOf(samples), (Column{0, 10, 20, 30, 40}));
  EXPECT_EQ(sizesOf(samples), (Column{1, 2, 3, 4, 4}));
  EXPECT_EQ(sequencesOf(samples), (Column{0, 0, 0, 4, 4}));
  EXPECT_EQ(samples[4].fileOffset, movie.start + 504);
  EXPECT_EQ(timesOf(samplesOf(movie.opened, 1, 20)), (Column{20, 30, 40}));
  EXPECT_EQ(timesOf(samplesOf(movie.opened, 1, 25)), (Column{30, 40}));
  EXPECT_EQ(timesOf(samplesOf(movie.opened, 1, 35)), (Column{40}));
  EXPECT_EQ(timesOf(samplesOf(movie.opened, 1, 0, 20)), (Column{0, 10}));
}

TEST(FragmentedTrackIterator, DeliversNothingOfAMovieWithoutFragments) {
  EXPECT_EQ(timesOf(samplesOf(movieOf({}).opened)), Column());
  EXPECT_EQ(timesOf(samplesOf(movieOf({}, 2).opened)), (Column{0, 10}));
}

TEST(FragmentedTrackIterator, BelievesAStatedDecodingTime) {
  const FragmentedMovie movie =
      movieOf(concat({moof(1, traf(tfhd(1), trun(2))),
                      moof(3, traf(tfhd(1), fullBox("tfdt", 0, 0, u32(700)), trun(2))),
                      moof(4, traf(tfhd(1), trun(1))),
                      moof(5, traf(tfhd(1), fullBox("tfdt", 1, 0, u64(0x100000000)), trun(1)))}));
  EXPECT_EQ(timesOf(samplesOf(movie.opened, 1, 0, ~std::uint64_t{0})),
            (Column{0, 10, 700, 710, 720, 0x100000000}));
}

TEST(FragmentedTrackIterator, CountsStatedTimesFromTheBeginningOfTheMovie) {
  const FragmentedMovie movie =
      movieOf(concat({moof(1, traf(tfhd(1), fullBox("tfdt", 0, 0, u32(700)), trun(2))),
                      moof(2, traf(tfhd(1), trun(1))),
                      moof(3, traf(tfhd(1), fullBox("tfdt", 0, 0, u32(800)), trun(1)))}));
  const auto known = std::make_shared<PassedRuns>();
  for (int walk = 0; walk < 2; ++walk) {
    FragmentedTrackIterator iterator(movie.opened.track(), 0, 5, kEnd, known, 690);
    EXPECT_EQ(timesOf(drain(iterator)), (Column{10, 20, 30, 110}));
  }
  // A look-up of a fragment goes by the times of the file.
  auto* found = childAs<MoofBox>(*movie.opened.track().root->findFragment(1, 725).current());
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->sequenceNumber(), 2u);
}

TEST(FragmentedTrackIterator, AddsUpDurationsOfSamplesRunsAndFragments) {
  const FragmentedMovie movie =
      movieOf(concat({moof(1, traf(tfhd(1, 8, u32(3)), trun(2), trun(1, 0x100, u32(50)), trun(1)),
                           traf(tfhd(1), trun(1)))}));
  EXPECT_EQ(timesOf(samplesOf(movie.opened)), (Column{0, 3, 6, 56, 59}));
}

TEST(FragmentedTrackIterator, PutsARunWithoutOffsetAfterTheRunBeforeIt) {
  const FragmentedMovie movie = movieOf(
      moof(1,
           traf(tfhd(1), trun(2, 0x201, u32(100), u32(5), u32(6)), trun(1), trun(2),
                trun(1, 1, u32(0xFFFFFFFC)), trun(1)),
           traf(tfhd(1), trun(1)), traf(tfhd(1, 1, u64(9000)), trun(1), trun(1, 1, u32(50)))));
  const auto offsets = offsetsOf(samplesOf(movie.opened));
  const std::uint64_t start = movie.start;
  EXPECT_EQ(offsets, (Column{start + 100, start + 105, start + 111, start + 115, start + 119,
                             start - 4, start, start + 4, 9000, 9050}));
}

TEST(FragmentedTrackIterator, StartsARunWithoutOffsetAtTheBaseWhenItIsTheFirst) {
  const FragmentedMovie movie = movieOf(moof(1, traf(tfhd(1), trun(2))));
  EXPECT_EQ(offsetsOf(samplesOf(movie.opened)), (Column{movie.start, movie.start + 4}));
}

TEST(FragmentedTrackIterator, FailsForATrackWithFragmentsAndNoDefaults) {
  const FragmentedMovie movie({countingTrack(0), countingTrack(0)}, trex(1),
                              moof(1, traf(tfhd(1), trun(1)), traf(tfhd(2), trun(1))));
  EXPECT_EQ(timesOf(samplesOf(movie.opened, 1)), (Column{0}));
  EXPECT_CODE(noTrackDefaults, samplesOf(movie.opened, 2));
}

TEST(FragmentedTrackIterator, NeedsNoDefaultsWithoutFragments) {
  const FragmentedMovie movie({countingTrack(0), countingTrack(2)}, trex(1),
                              moof(1, traf(tfhd(1), trun(1))));
  EXPECT_EQ(timesOf(samplesOf(movie.opened, 2)), (Column{0, 10}));
}

TEST(FragmentedTrackIterator, TakesTheDescriptionOfThePartAndElseOfTheMovie) {
  MovieTrack track = countingTrack(0);
  track.entries = {genericEntry("text"), genericEntry("tx3g"), genericEntry("wvtt")};
  const FragmentedMovie movie(
      {track}, trex(1, 3),
      concat({moof(1, traf(tfhd(1), trun(1)), traf(tfhd(1, 2, u32(2)), trun(1)))}));
  const auto samples = samplesOf(movie.opened);
  EXPECT_EQ(descriptionsOf(samples), (Column{3, 2}));
  EXPECT_EQ(samples[0].description, movie.opened.track().track->description(3));
  EXPECT_EQ(samples[1].description, movie.opened.track().track->description(2));
}

TEST(FragmentedTrackIterator, EndsAfterASampleWithoutDescription) {
  for (const std::uint32_t index : {0u, 2u, 9u}) {
    const FragmentedMovie movie =
        movieOf(concat({moof(1, traf(tfhd(1), trun(2)), traf(tfhd(1, 2, u32(index)), trun(2))),
                        moof(2, traf(tfhd(1), trun(1)))}));
    const auto samples = samplesOf(movie.opened);
    EXPECT_EQ(descriptionsOf(samples), (Column{1, 1, 0})) << index;
    EXPECT_EQ(samples[2].description, nullptr);
  }
}

TEST(FragmentedTrackIterator, EndsAfterASampleOfTheMovieWithoutDescription) {
  MovieTrack track = countingTrack(3);
  track.samples[1].description = 2;
  const FragmentedMovie movie({track}, trex(1), moof(1, traf(tfhd(1), trun(1))));
  EXPECT_EQ(descriptionsOf(samplesOf(movie.opened)), (Column{1, 0}));
}

TEST(FragmentedTrackIterator, ReadsNoFragmentsAfterASampleWithoutDescription) {
  const FragmentedMovie movie = movieOf(concat(
      {moof(1, traf(tfhd(1, 2, u32(9)), trun(1))), moof(2, traf(tfhd(1), fullBox("trun", 0, 0)))}));
  EXPECT_EQ(descriptionsOf(samplesOf(movie.opened)), (Column{0}));
}

TEST(FragmentedTrackIterator, CountsTheSequenceNumbersOfTheFile) {
  const FragmentedMovie movie =
      movieOf(concat({moof(7, traf(tfhd(1), trun(1))), moof(9, traf(tfhd(1), trun(1))),
                      moof(2, traf(tfhd(1), trun(1)))}));
  const auto samples = samplesOf(movie.opened);
  EXPECT_EQ(sequencesOf(samples), (Column{7, 9, 2}));
  for (const Sample& sample : samples) EXPECT_TRUE(sample.isOfFragment);
}

TEST(FragmentedTrackIterator, DistinguishesTheSamplesOfTheMovieFromThoseOfFragments) {
  const FragmentedMovie movie = movieOf(moof(0, traf(tfhd(1), trun(1))), 1);
  const auto samples = samplesOf(movie.opened);
  EXPECT_EQ(sequencesOf(samples), (Column{0, 0}));
  EXPECT_FALSE(samples[0].isOfFragment);
  EXPECT_TRUE(samples[1].isOfFragment);
}

TEST(FragmentedTrackIterator, MarksSamplesSyncThatAreNoOthersAndDependOnNone) {
  const FragmentedMovie movie =
      movieOf(moof(1, traf(tfhd(1), trun(6, 0x400, u32(0), u32(0x02000000), u32(0x00010000),
                                         u32(0x01000000), u32(0x01010000), u32(0xFEFEFFFF)))));
  EXPECT_EQ(flagsOf(samplesOf(movie.opened)), (Column{1, 1, 0, 0, 0, 1}));
}

TEST(FragmentedTrackIterator, TakesTheFlagsOfTheFirstSampleWhereARunGivesThem) {
  const FragmentedMovie movie({countingTrack(0)}, trex(1, 1, 10, 4, 0x01010000),
                              moof(1, traf(tfhd(1), trun(3, 4, u32(0x02000000)), trun(1))));
  EXPECT_EQ(flagsOf(samplesOf(movie.opened)), (Column{1, 0, 0, 0}));
}

TEST(FragmentedTrackIterator, PassesOtherTracksAndOtherBoxes) {
  const FragmentedMovie movie({countingTrack(0), countingTrack(0)}, concat({trex(1), trex(2)}),
                              concat({box("free"), moof(1, traf(tfhd(2), trun(3))),
                                      box("mdat", zeros(12)), moof(2), box("skip"),
                                      moof(3, traf(tfhd(2), trun(1)), traf(tfhd(1)),
                                           traf(tfhd(1), trun(0)), traf(tfhd(1), trun(2)))}));
  const auto samples = samplesOf(movie.opened);
  EXPECT_EQ(timesOf(samples), (Column{0, 10}));
  EXPECT_EQ(sequencesOf(samples), (Column{3, 3}));
}

TEST(FragmentedTrackIterator, DeliversTheSamplesOfARange) {
  const FragmentedMovie movie =
      movieOf(concat({moof(1, traf(tfhd(1), trun(2), trun(3))), moof(2, traf(tfhd(1), trun(2)))}));
  const auto all = samplesOf(movie.opened);
  for (std::uint64_t start = 0; start <= 80; start += 5) {
    for (std::uint64_t end = 0; end <= 80; end += 5) {
      Column times;
      Column offsets;
      for (const Sample& sample : all) {
        if (sample.info.decodingTime < start || sample.info.decodingTime >= end) continue;
        times.push_back(sample.info.decodingTime);
        offsets.push_back(sample.fileOffset);
      }
      const auto samples = samplesOf(movie.opened, 1, start, end);
      EXPECT_EQ(timesOf(samples), times) << start << " " << end;
      EXPECT_EQ(offsetsOf(samples), offsets) << start << " " << end;
    }
  }
}

TEST(FragmentedTrackIterator, CountsWhatItHasPassed) {
  const FragmentedMovie movie =
      movieOf(concat({moof(1, traf(tfhd(1), trun(1), trun(1)), traf(tfhd(1), trun(1))),
                      moof(2, traf(tfhd(1), trun(1)))}));
  FragmentedTrackIterator iterator(movie.opened.track(), 0, 0, kEnd);
  std::vector<Column> passed;
  do {
    passed.push_back({iterator.fragmentsPassed(), iterator.partsPassed(), iterator.runsPassed()});
  } while (iterator.next() != nullptr);
  EXPECT_EQ(passed, (std::vector<Column>{{0, 0, 0}, {0, 0, 1}, {0, 1, 2}, {1, 2, 3}, {2, 3, 4}}));
}

// Edits are walked one after another, and what one walk has met shortens the next.
TEST(FragmentedTrackIterator, DeliversTheSameWhenItKnowsTheRuns) {
  const FragmentedMovie movie =
      movieOf(concat({moof(1, traf(tfhd(1), trun(3), trun(2, 0x100, u32(50), u32(0)))),
                      moof(2, traf(tfhd(1), fullBox("tfdt", 0, 0, u32(30)), trun(70), trun(1))),
                      moof(3, traf(tfhd(1), trun(0)), traf(tfhd(1), trun(2, 1, u32(400))))}),
              2);
  const auto known = std::make_shared<PassedRuns>();
  for (const std::uint64_t start : {5u, 0u, 60u, 100u, 95u, 731u, 745u, 2000u, 20u, 735u}) {
    FragmentedTrackIterator plain(movie.opened.track(), 0, start, kEnd);
    FragmentedTrackIterator knowing(movie.opened.track(), 0, start, kEnd, known);
    const auto expected = drain(plain);
    const auto samples = drain(knowing);
    EXPECT_EQ(timesOf(samples), timesOf(expected)) << start;
    EXPECT_EQ(offsetsOf(samples), offsetsOf(expected)) << start;
    EXPECT_EQ(sequencesOf(samples), sequencesOf(expected)) << start;
    EXPECT_EQ(knowing.fragmentsPassed(), plain.fragmentsPassed()) << start;
    EXPECT_EQ(knowing.partsPassed(), plain.partsPassed()) << start;
    EXPECT_EQ(knowing.runsPassed(), plain.runsPassed()) << start;
  }
}

TEST(FragmentedTrackIterator, FailsWhereAFragmentIsBroken) {
  const FragmentedMovie movie = movieOf(
      concat({moof(1, traf(tfhd(1), trun(1))), moof(2, traf(tfhd(1), fullBox("trun", 0, 0)))}));
  FragmentedTrackIterator iterator(movie.opened.track(), 0, 0, kEnd);
  EXPECT_CODE(truncatedBox, iterator.next());
}

}  // namespace
}  // namespace norvik::kav::impl
