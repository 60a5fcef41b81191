#include "kav/impl/tree/fragment_places.h"

#include <gtest/gtest.h>

#include <vector>

#include "kav/impl/reading/fragmented_track_iterator.h"
#include "kav/impl/tree/root_box.h"
#include "tests/unit/kav/impl/fragment_fixtures.h"

namespace norvik::kav::impl {
namespace {

RootBox& rootOf(const FragmentedMovie& movie) { return *movie.opened.track().root; }

// The fragments of a track, by how many stand in front of each in the file.
Column placesOf(RootBox& root, std::uint32_t trackId) {
  Column numbers;
  while (const FragmentPlaces::Place* place = root.fragmentOf(trackId, numbers.size())) {
    EXPECT_EQ(place->fragment->sequenceNumber(), place->number + 1);
    numbers.push_back(place->number);
  }
  return numbers;
}

FragmentedMovie threeTracks() {
  return {{countingTrack(0), countingTrack(0), countingTrack(0)},
          concat({trex(1), trex(2), trex(3)}),
          concat({moof(1, traf(tfhd(2), trun(1))),
                  moof(2, traf(tfhd(1), trun(1)), traf(tfhd(2), trun(1)), traf(tfhd(1), trun(1))),
                  box("free"), moof(3), moof(4, traf(tfhd(1), trun(1)), traf(tfhd(9), trun(1)))})};
}

TEST(FragmentPlaces, HoldEachFragmentOnceForEachTrackThatHasAPartInIt) {
  const FragmentedMovie movie = threeTracks();
  RootBox& root = rootOf(movie);
  EXPECT_EQ(placesOf(root, 1), (Column{1, 3}));
  EXPECT_EQ(placesOf(root, 2), (Column{0, 1}));
  EXPECT_EQ(placesOf(root, 3), Column());
  EXPECT_EQ(placesOf(root, 9), (Column{3}));
  EXPECT_EQ(root.fragmentCount(), 4u);
}

TEST(FragmentPlaces, AreReadOnlyAsFarAsTheyAreNeeded) {
  const FragmentedMovie movie = threeTracks();
  RootBox& root = rootOf(movie);
  EXPECT_EQ(root.fragmentCount(), 0u);
  EXPECT_EQ(root.fragmentOf(2, 0)->number, 0u);
  EXPECT_EQ(root.fragmentCount(), 1u);
  EXPECT_EQ(root.fragmentOf(1, 0)->number, 1u);
  EXPECT_EQ(root.fragmentCount(), 2u);
  EXPECT_EQ(root.fragmentOf(2, 1)->number, 1u);
  EXPECT_EQ(root.fragmentCount(), 2u) << "what was read is not read again";
}

TEST(FragmentPlaces, CountTheFragmentsThatAreReadBeforeTheMovie) {
  MovieBuilder movie({countingTrack(6)});
  movie.splitIntoFragments({2});
  movie.fragmentsBeforeMoov = 1;
  const Film opened(movie, ReaderOptions{});
  RootBox& root = *opened.track().root;
  EXPECT_EQ(placesOf(root, 1), (Column{0, 1, 2}));
}

// Each track has one of a thousand fragments: a walk meets that one and asks no other.
TEST(FragmentedTrackIterator, OpensNoFragmentOfOtherTracks) {
  constexpr std::uint32_t kTracks = 1000;
  std::vector<MovieTrack> tracks;
  Bytes defaults;
  Bytes fragments;
  for (std::uint32_t id = 1; id <= kTracks; ++id) {
    tracks.push_back(countingTrack(0));
    append(defaults, trex(id));
    append(fragments, moof(id, traf(tfhd(id), trun(1))));
  }
  const FragmentedMovie movie(tracks, defaults, fragments);
  RootBox& root = rootOf(movie);
  std::size_t opened = 0;
  for (std::uint32_t id = 1; id <= kTracks; ++id) {
    FragmentedTrackIterator iterator(movie.opened.track(id), 0, 0, 1000);
    EXPECT_EQ(iterator.fragmentsPassed(), id - 1);
    EXPECT_EQ(sequencesOf(drain(iterator)), (Column{id}));
    EXPECT_EQ(iterator.fragmentsPassed(), kTracks);
    opened += iterator.fragmentsOpened();
  }
  EXPECT_EQ(opened, kTracks);
  EXPECT_EQ(root.fragmentCount(), kTracks);
}

}  // namespace
}  // namespace norvik::kav::impl
