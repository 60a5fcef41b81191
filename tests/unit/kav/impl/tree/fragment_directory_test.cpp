#include "kav/impl/tree/fragment_directory.h"

#include <gtest/gtest.h>

#include <vector>

#include "kav/impl/boxes/fragment_boxes.h"
#include "kav/impl/model/box_iterators.h"
#include "kav/impl/reading/fragmented_track_iterator.h"
#include "kav/impl/tree/root_box.h"
#include "tests/unit/kav/impl/fragment_fixtures.h"

namespace norvik::kav::impl {
namespace {

Bytes tfdt(std::uint64_t time) { return fullBox("tfdt", 1, 0, u64(time)); }

// The sequence number of the fragment that holds a time, or 0.
std::uint32_t fragmentAt(RootBox& root, std::uint32_t trackId, std::uint64_t time) {
  BoxIteratorByType found = root.findFragment(trackId, time);
  if (found.index() < 0) {
    EXPECT_EQ(found.current(), nullptr);
    return 0;
  }
  auto* fragment = childAs<MoofBox>(*found.current());
  return fragment == nullptr ? 0 : fragment->sequenceNumber();
}

RootBox& rootOf(const FragmentedMovie& movie) { return *movie.opened.track().root; }

TEST(FragmentLookUp, FindsTheFragmentOfATime) {
  FragmentedMovie movie({countingTrack(0), countingTrack(0)}, concat({trex(1), trex(2)}),
                        concat({moof(1, traf(tfhd(1), trun(3)), traf(tfhd(2), trun(1))),
                                moof(2, traf(tfhd(1), trun(2))), moof(3, traf(tfhd(2), trun(4)))}));
  RootBox& root = rootOf(movie);
  EXPECT_EQ(fragmentAt(root, 1, 0), 1u);
  EXPECT_EQ(fragmentAt(root, 1, 29), 1u);
  EXPECT_EQ(fragmentAt(root, 1, 30), 2u);
  EXPECT_EQ(fragmentAt(root, 1, 49), 2u);
  EXPECT_EQ(fragmentAt(root, 1, 50), 0u);
  EXPECT_EQ(fragmentAt(root, 2, 9), 1u);
  EXPECT_EQ(fragmentAt(root, 2, 10), 3u);
  EXPECT_EQ(fragmentAt(root, 3, 0), 0u);
}

TEST(FragmentLookUp, ReadsOnlyAsFarAsItNeeds) {
  FragmentedMovie movie({countingTrack(0)}, trex(1),
                        concat({moof(1, traf(tfhd(1), trun(3))), moof(2, traf(tfhd(1), trun(3))),
                                moof(3, traf(tfhd(1), trun(3)))}));
  RootBox& root = rootOf(movie);
  const std::size_t before = root.loadedCount();
  EXPECT_EQ(fragmentAt(root, 1, 35), 2u);
  const std::size_t after = root.loadedCount();
  EXPECT_EQ(childAs<MoofBox>(*root.getChild(after - 1))->sequenceNumber(), 2u);
  EXPECT_GE(after, before + 2);
  EXPECT_EQ(fragmentAt(root, 1, 5), 1u);
  EXPECT_EQ(root.loadedCount(), after);
}

TEST(FragmentLookUp, BelievesStatedTimesAndLeavesHoles) {
  FragmentedMovie movie({countingTrack(0)}, trex(1),
                        concat({moof(1, traf(tfhd(1), tfdt(1000), trun(2))),
                                moof(2, traf(tfhd(1), tfdt(5000), trun(2)))}));
  RootBox& root = rootOf(movie);
  EXPECT_EQ(fragmentAt(root, 1, 999), 0u);
  EXPECT_EQ(fragmentAt(root, 1, 1019), 1u);
  EXPECT_EQ(fragmentAt(root, 1, 1020), 0u);
  EXPECT_EQ(fragmentAt(root, 1, 5019), 2u);
}

TEST(FragmentLookUp, CountsFromTheEndOfTheSamplesOfTheMovie) {
  FragmentedMovie movie({countingTrack(4)}, trex(1), moof(7, traf(tfhd(1), trun(2))));
  RootBox& root = rootOf(movie);
  EXPECT_EQ(fragmentAt(root, 1, 39), 0u);
  EXPECT_EQ(fragmentAt(root, 1, 40), 7u);
}

TEST(FragmentLookUp, GivesTheLastOfSeveralFragmentsOutOfOrder) {
  FragmentedMovie movie(
      {countingTrack(0)}, trex(1),
      concat({moof(1, traf(tfhd(1), tfdt(100), trun(2))), moof(2, traf(tfhd(1), tfdt(0), trun(2))),
              moof(3, traf(tfhd(1), tfdt(0), trun(20))),
              moof(4, traf(tfhd(1), tfdt(110), trun(1)))}));
  RootBox& root = rootOf(movie);
  root.readMetadata();  // everything is read
  EXPECT_EQ(fragmentAt(root, 1, 5), 3u);
  EXPECT_EQ(fragmentAt(root, 1, 105), 3u);
  EXPECT_EQ(fragmentAt(root, 1, 115), 4u);
  EXPECT_EQ(fragmentAt(root, 1, 199), 3u);
  EXPECT_EQ(fragmentAt(root, 1, 200), 0u);
}

// Tens of thousands of fragments, each looked up and then walked back over: with a search for each
// this would not end.
TEST(FragmentLookUp, TakesNoLongerForMoreFragments) {
  constexpr std::uint32_t kFragments = 50000;
  Bytes fragments;
  for (std::uint32_t i = 1; i <= kFragments; ++i) {
    append(fragments, moof(i, traf(tfhd(1), trun(1))));
  }
  FragmentedMovie movie({countingTrack(0)}, trex(1), fragments);
  RootBox& root = rootOf(movie);
  for (std::uint32_t i = kFragments; i > 0; --i) {
    ASSERT_EQ(fragmentAt(root, 1, std::uint64_t{i} * 10 - 1), i);
  }
  const BoxIteratorByType last = root.findFragment(1, kFragments * 10 - 1);
  ReverseBoxIteratorByType back(root, fourCc("moof"), static_cast<std::size_t>(last.index()));
  std::uint32_t passed = 0;
  for (; back.current() != nullptr; back.next()) ++passed;
  EXPECT_EQ(passed, kFragments);
}

TEST(TrafBox, HandsOutTheBytesOfItsDependencyBox) {
  FragmentedMovie movie(
      {countingTrack(0)}, trex(1),
      concat({moof(1, traf(tfhd(1), trun(2), trun(1), fullBox("sdtp", 0, 0, Bytes{1, 2, 3}))),
              moof(2, traf(tfhd(1), trun(2), fullBox("sdtp", 0, 0, Bytes{1})))}));
  RootBox& root = rootOf(movie);
  root.readMetadata();
  const auto bytesOf = [&](std::uint64_t time) {
    auto* fragment = childAs<MoofBox>(*root.findFragment(1, time).current());
    const auto bytes = fragment->parts().front()->dependencies();
    return Bytes(bytes.begin(), bytes.end());
  };
  EXPECT_EQ(bytesOf(0), (Bytes{1, 2, 3}));
  EXPECT_EQ(bytesOf(30), Bytes{});  // too short to be believed
}

TEST(FragmentedTrackIterator, DeliversDependenciesFromTheBoxOrElseFromTheFlags) {
  FragmentedMovie movie(
      {countingTrack(0)}, trex(1),
      concat({moof(1, traf(tfhd(1), trun(2), trun(1), fullBox("sdtp", 0, 0, Bytes{1, 2, 3}))),
              moof(2, traf(tfhd(1), trun(2, 0x400, u32(0x02A00000), u32(0x01010000))))}));
  const auto samples = drain(*movie.opened.reader().createDocIterator());
  EXPECT_EQ(columnOf(samples, [](const Sample& sample) { return sample.dependencies; }),
            (Column{1, 2, 3, 0x2A, 0x10}));
  EXPECT_EQ(flagsOf(samples), (Column{1, 1, 1, 1, 0}));
}

// The fragments of a track, by how many come before each in the file.
Column placesOf(RootBox& root, std::uint32_t trackId) {
  Column numbers;
  while (const FragmentDirectory::Place* place = root.fragmentOf(trackId, numbers.size())) {
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
