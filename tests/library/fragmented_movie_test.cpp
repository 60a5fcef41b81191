#include <gtest/gtest.h>

#include <map>
#include <utility>

#include "kav/error_code.h"
#include "kav/exception.h"
#include "kav/reader.h"
#include "kav/sample_desc_info.h"
#include "kav/sample_info.h"
#include "kav/writer.h"
#include "tests/library/remux.h"
#include "tests/support/box_builders.h"
#include "tests/support/box_walk.h"
#include "tests/support/expect_code.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

namespace quarrypack::test {
namespace {

using norvik::kav::ErrorCode;

// 20 seconds of three tracks; a key picture every second.
MovieBuilder threeTracks() {
  MovieBuilder movie({videoTrack({.count = 500,
                                  .timescale = 25000,
                                  .duration = 1000,
                                  .syncEvery = 25,
                                  .betweenAnchors = 2}),
                      soundTrack({.count = 861, .allSync = true}), captionTrack(300)});
  movie.tracks[0].dependencyTable = true;
  for (MovieSample& sample : movie.tracks[0].samples) sample.dependency = sample.sync ? 0x20 : 0x14;
  return movie;
}

Bytes remuxed(const Bytes& movie, const RemuxOptions& options) {
  const MemoryStreamPtr from = MemoryStream::create(movie);
  const MemoryStreamPtr to = MemoryStream::create();
  remux(*from, *to, options);
  return to->bytes();
}

RemuxOptions oneSecondFragments() {
  return {.fragmented = true, .fragmentDuration = 600, .randomAccess = true};
}

std::vector<std::vector<LibrarySample>> tracksOf(const Bytes& movie, bool ignoreEditLists = true) {
  return readTracks(*MemoryStream::create(movie), ignoreEditLists);
}

// The samples that an independent strict reader finds, in the terms of the library.
std::vector<LibrarySample> walkedSamples(const WalkedTrack& track) {
  std::vector<LibrarySample> samples;
  for (const WalkedSample& sample : track.samples) {
    samples.push_back({.decodingTime = sample.decodingTime,
                       .compositionOffset = sample.compositionOffset,
                       .isSync = sample.sync,
                       .dependencies = 0,
                       .descriptionIndex = sample.descriptionIndex,
                       .bytes = sample.bytes});
  }
  return samples;
}

void forgetDependencies(std::vector<LibrarySample>& samples) {
  for (LibrarySample& sample : samples) sample.dependencies = 0;
}

std::size_t countOf(const BoxWalk& walk, const std::string& type) {
  std::size_t count = 0;
  for (const std::string& found : walk.topLevelTypes()) count += found == type ? 1 : 0;
  return count;
}

TEST(FragmentedMovie, HoldsWhatWasPutIn) {
  const Bytes regular = threeTracks().build();
  const Bytes fragmented = remuxed(regular, oneSecondFragments());
  const auto expected = tracksOf(regular);
  const auto found = tracksOf(fragmented);
  ASSERT_EQ(found.size(), 3u);
  const BoxWalk walk(fragmented);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(found[i].size(), expected[i].size());
    if (i == 0) {
      EXPECT_EQ(found[i], expected[i]);
    }
    auto withoutDependencies = expected[i];
    forgetDependencies(withoutDependencies);
    EXPECT_EQ(walkedSamples(walk.track(i + 1)), withoutDependencies) << "track " << i + 1;
  }
}

TEST(FragmentedMovie, HasAFragmentForEverySecond) {
  const BoxWalk walk(remuxed(threeTracks().build(), oneSecondFragments()));
  std::vector<std::string> expected = {"ftyp", "moov", "free"};
  for (int i = 0; i < 20; ++i) expected.insert(expected.end(), {"moof", "mdat"});
  expected.push_back("mfra");
  EXPECT_EQ(walk.topLevelTypes(), expected);
  for (std::size_t i = 1; i <= 20; ++i) {
    const std::string moof = "moof[" + std::to_string(i) + "]";
    EXPECT_EQ(walk.payload(moof + "/mfhd"), concat({u32(0), u32(i)}));
    EXPECT_EQ(walk.childTypes(moof), (std::vector<std::string>{"mfhd", "traf", "traf", "traf"}));
    EXPECT_EQ(walk.childTypes(moof + "/traf"), (std::vector<std::string>{"tfhd", "tfdt", "trun"}));
  }
}

TEST(FragmentedMovie, CutsAtKeyPicturesOnly) {
  RemuxOptions options = oneSecondFragments();
  options.fragmentDuration = 900;  // one and a half seconds
  const auto tracks = tracksOf(remuxed(threeTracks().build(), options));
  std::uint32_t sequence = 0;
  for (const LibrarySample& sample : tracks[0]) {
    if (sample.fragmentSequence != sequence) {
      EXPECT_TRUE(sample.isSync);
      EXPECT_EQ(sample.decodingTime % 50000, 0u);
      ++sequence;
    }
    EXPECT_EQ(sample.fragmentSequence, sequence);
  }
  EXPECT_EQ(sequence, 10u);
}

TEST(FragmentedMovie, WithoutADurationHasFragmentsOfTwoSeconds) {
  const BoxWalk walk(remuxed(threeTracks().build(), {.fragmented = true}));
  EXPECT_EQ(countOf(walk, "moof"), 10u);
  EXPECT_EQ(walk.find("mfra"), nullptr);
}

TEST(FragmentedMovie, WithoutVideoIsCutAtAnySample) {
  MovieBuilder movie({soundTrack({.count = 100, .timescale = 1000, .duration = 100})});
  RemuxOptions options = oneSecondFragments();
  const auto tracks = tracksOf(remuxed(movie.build(), options));
  ASSERT_EQ(tracks[0].size(), 100u);
  for (std::size_t i = 0; i < 100; ++i) {
    EXPECT_EQ(tracks[0][i].fragmentSequence, i / 10 + 1);
  }
}

TEST(FragmentedMovie, HasAMovieBoxWithEmptySampleTables) {
  const BoxWalk walk(remuxed(threeTracks().build(), oneSecondFragments()));
  EXPECT_EQ(walk.childTypes("moov"),
            (std::vector<std::string>{"mvhd", "mvex", "trak", "trak", "trak"}));
  EXPECT_EQ(walk.childTypes("moov/mvex"),
            (std::vector<std::string>{"mehd", "trex", "trex", "trex"}));
  const std::string tables = "moov/trak/mdia/minf/stbl/";
  EXPECT_EQ(walk.payload(tables + "stsz"), zeros(12));
  EXPECT_EQ(walk.payload(tables + "stts"), zeros(8));
  EXPECT_EQ(walk.payload("moov/mvex/trex[2]"), u32List({0, 2, 1, 1, 1, 1}));
  EXPECT_EQ(walk.payload("moov/mvex/mehd"), concat({u32(0x01000000), u64(walk.movie().duration)}));
  EXPECT_GT(walk.movie().duration, 0u);
}

// Its entries name the movie fragments to the byte.
TEST(FragmentedMovie, EndsWithAListOfItsSyncSamples) {
  const Bytes regular = threeTracks().build();
  const Bytes file = remuxed(regular, oneSecondFragments());
  const BoxWalk walk(file);
  std::vector<std::uint64_t> fragments;
  for (const WalkedBox& box : walk.boxes()) {
    if (box.type == "moof") fragments.push_back(box.start);
  }
  EXPECT_EQ(walk.childTypes("mfra"), (std::vector<std::string>{"tfra", "tfra", "mfro"}));
  EXPECT_EQ(walk.payload("mfra/mfro"), concat({u32(0), u32(walk.at("mfra").size())}));
  EXPECT_EQ(walk.at("mfra").end, file.size());

  const auto tracks = tracksOf(file);
  for (const std::size_t track : {0u, 1u}) {
    Bytes expected = concat({u32(0x01000000), u32(track + 1), u32(0x3F), Bytes()});
    Bytes entries;
    std::uint32_t count = 0;
    std::map<std::uint32_t, std::uint32_t> samplesOfFragment;
    for (const LibrarySample& sample : tracks[track]) {
      const std::uint32_t number = ++samplesOfFragment[sample.fragmentSequence];
      if (!sample.isSync) continue;
      ++count;
      append(entries, concat({u64(sample.decodingTime), u64(fragments[sample.fragmentSequence - 1]),
                              u32(track + 1), u32(1), u32(number)}));
    }
    append(expected, u32(count));
    append(expected, entries);
    EXPECT_EQ(walk.payload("mfra/tfra[" + std::to_string(track + 1) + "]"), expected);
  }
}

TEST(FragmentedMovie, BecomesTheSameRegularMovieAgain) {
  const Bytes regular = threeTracks().build();
  const Bytes direct = remuxed(regular, {});
  const Bytes detour = remuxed(remuxed(regular, oneSecondFragments()), {});
  const BoxWalk expected(direct);
  const BoxWalk found(detour);
  EXPECT_EQ(tracksOf(detour), tracksOf(direct));
  for (std::size_t i = 1; i <= 3; ++i) {
    EXPECT_EQ(found.track(i).dependencies, expected.track(i).dependencies);
    EXPECT_EQ(found.track(i).syncNumbers, expected.track(i).syncNumbers);
    EXPECT_EQ(found.track(i).timeRuns, expected.track(i).timeRuns);
    EXPECT_EQ(found.track(i).offsetRuns, expected.track(i).offsetRuns);
    EXPECT_EQ(found.track(i).entries, expected.track(i).entries);
  }
}

// With fragment flags that say "depends on others", a sample is no longer a sync sample.
TEST(FragmentedMovie, KeepsDependenciesThatItsFlagsCannotSay) {
  MovieBuilder movie = threeTracks();
  std::uint8_t next = 0;
  for (MovieSample& sample : movie.tracks[0].samples) sample.dependency = next++;
  const Bytes regular = movie.build();
  const Bytes fragmented = remuxed(regular, oneSecondFragments());
  EXPECT_EQ(tracksOf(fragmented)[0], tracksOf(regular)[0]);
  EXPECT_NE(BoxWalk(fragmented).find("moof[2]/traf/sdtp"), nullptr);
  EXPECT_EQ(tracksOf(remuxed(fragmented, {}))[0], tracksOf(regular)[0]);
}

TEST(FragmentedMovie, KeepsOddCompositionOffsetsAndDescriptions) {
  MovieBuilder movie({videoTrack({.count = 6, .syncEvery = 1}), soundTrack({.count = 6})});
  movie.tracks[1].entries.push_back(mp4aEntry(44100, 1));
  for (const std::size_t i : {2u, 3u}) movie.tracks[1].samples[i].description = 2;
  movie.tracks[0].samples[1].compositionOffset = 0xFFFFFFFF;
  const Bytes regular = movie.build();
  const Bytes fragmented = remuxed(regular, {.fragmented = true});
  const auto expected = tracksOf(regular);
  const auto found = tracksOf(fragmented);
  for (const std::size_t track : {0u, 1u}) {
    ASSERT_EQ(found[track].size(), 6u);
    for (std::size_t i = 0; i < 6; ++i) {
      EXPECT_EQ(found[track][i].compositionOffset, expected[track][i].compositionOffset);
      EXPECT_EQ(found[track][i].descriptionIndex, expected[track][i].descriptionIndex);
      EXPECT_EQ(found[track][i].decodingTime, expected[track][i].decodingTime);
      EXPECT_EQ(found[track][i].bytes, expected[track][i].bytes);
    }
  }
}

// A writer driven by hand.
class FragmentedWriter : public ::testing::Test {
 protected:
  explicit FragmentedWriter() {
    configuration_.timescale = 600;
    configuration_.fragmented = true;
    configuration_.fragmentDuration = 600;
    configuration_.randomAccess = true;
  }

  norvik::kav::Writer& writer() {
    if (!writer_) writer_.emplace(stream_.get(), configuration_);
    return *writer_;
  }

  void addTo(std::uint32_t track, std::uint64_t time) { add(time, 1, text("abc"), 1, track); }

  // A track with the one description that its samples name.
  std::uint32_t addTrack(std::uint32_t timescale = 3000, std::uint32_t gaps = 0,
                         std::uint32_t handler = 0x736F756E) {
    norvik::kav::NorvikKavTrackConfiguration track;
    track.info.mediaTimescale = timescale;
    track.handlerType = handler;
    track.gapCount = gaps;
    track.descriptionCount = 1;
    const std::uint32_t number = writer().addTrack(track);
    norvik::kav::NorvikKavAudioSampleDescInfo info;
    info.structSize = sizeof(info);
    info.handlerType = handler;
    info.codecType = 0x736F7774;  // "sowt"
    norvik::kav::NorvikKavSampleDescription* description = nullptr;
    EXPECT_RESULT(success, makeSampleDescription(&info, nullptr, &description));
    writer().addSampleDescription(number, description);
    closeSampleDescription(description);
    return number;
  }

  void add(std::uint64_t time, std::uint32_t flags = 1, const Bytes& bytes = text("abc"),
           std::uint32_t description = 1, std::uint32_t track = 1) {
    writer().addSample({.trackNumber = track,
                        .descriptionIndex = description,
                        .decodingTime = time,
                        .flags = flags,
                        .size = static_cast<std::uint32_t>(bytes.size()),
                        .data = bytes.data()});
  }

  norvik::kav::NorvikKavWriterConfiguration configuration_;
  MemoryStreamPtr stream_ = MemoryStream::create();
  std::optional<norvik::kav::Writer> writer_;
};

TEST_F(FragmentedWriter, GivesGapsTheirEmptyEditsAndKeepsPresentationTimes) {
  addTrack(3000, 1);
  add(0);
  add(3000);
  add(6000, norvik::kav::kSampleIsGap, {});
  add(9000);
  add(12000);
  writer().finish();
  const BoxWalk walk(stream_->bytes());
  EXPECT_EQ(
      walk.track(1).edits,
      (std::vector<WalkedEdit>{{1200, 0, 0x10000}, {600, -1, 0x10000}, {601, 6000, 0x10000}}));
  const auto presented = tracksOf(stream_->bytes(), false);
  std::vector<std::uint64_t> times;
  for (const LibrarySample& sample : presented[0]) times.push_back(sample.decodingTime);
  EXPECT_EQ(times, (std::vector<std::uint64_t>{0, 3000, 6000, 9000, 12000}));
  EXPECT_TRUE(presented[0][2].isGap);
  const Bytes index = walk.payload("mfra/tfra");
  // The third sync sample is at 9000 in the presentation, at 6000 in its media.
  EXPECT_EQ(Bytes(index.begin() + 16 + 2 * 28, index.begin() + 16 + 2 * 28 + 8), u64(9000));
}

TEST_F(FragmentedWriter, CanBeReadUpToTheLastFragmentBeforeItsFinish) {
  addTrack();
  for (std::uint64_t time = 0; time <= 6000; time += 1000) add(time);
  EXPECT_EQ(tracksOf(stream_->bytes(), false)[0].size(), 6u);
  writer().finish();
  EXPECT_EQ(tracksOf(stream_->bytes(), false)[0].size(), 7u);
}

TEST_F(FragmentedWriter, WithoutSamplesLeavesAMovieWithoutFragments) {
  addTrack();
  writer().finish();
  const BoxWalk walk(stream_->bytes());
  EXPECT_EQ(walk.topLevelTypes(), (std::vector<std::string>{"ftyp", "moov"}));
  EXPECT_EQ(walk.payload("ftyp"), text(std::string("kav \0\0\0\1isommp42m4v ", 20)));
}

TEST_F(FragmentedWriter, EndsAFragmentWhenASampleWouldTakeItPastItsLargestSize) {
  addTrack();
  const Bytes large(24U << 20);
  for (std::uint64_t time = 0; time < 5; ++time) add(time, 1, large);
  writer().finish();
  EXPECT_EQ(countOf(BoxWalk(stream_->bytes()), "moof"), 3u);
}

TEST_F(FragmentedWriter, StatesTimesAcrossAHoleLongerThanADuration) {
  addTrack();
  add(0);
  add(0x100000005);
  add(0x100000006);
  writer().finish();
  const auto samples = tracksOf(stream_->bytes())[0];
  ASSERT_EQ(samples.size(), 3u);
  EXPECT_EQ(samples[1].decodingTime, 0x100000005u);
  EXPECT_EQ(samples[2].decodingTime, 0x100000006u);
}

Bytes tfdtOf(std::uint64_t time) { return concat({u32(0x01000000), u64(time)}); }

// A track without samples in a fragment has a part of its own there. Its time is that of the sample
// which comes next, and is left out as long as that is not known.
TEST_F(FragmentedWriter, GivesEveryTrackAPartOfEveryFragment) {
  for (int i = 0; i < 3; ++i) addTrack();
  for (const std::uint64_t time : {0u, 1000u, 2000u}) addTo(1, time);
  for (const std::uint64_t time : {0u, 1500u, 9000u}) addTo(3, time);
  for (std::uint64_t time = 3000; time <= 7000; time += 1000) addTo(1, time);
  addTo(2, 7500);
  writer().finish();

  const BoxWalk walk(stream_->bytes());
  ASSERT_EQ(countOf(walk, "moof"), 3u);
  const std::vector<std::string> empty = {"tfhd"};
  const std::vector<std::string> timed = {"tfhd", "tfdt"};
  const std::vector<std::string> full = {"tfhd", "tfdt", "trun"};
  const std::vector<std::vector<std::string>> expected[] = {
      {full, empty, full}, {full, empty, timed}, {full, full, full}};
  for (std::size_t fragment = 1; fragment <= 3; ++fragment) {
    const std::string moof = "moof[" + std::to_string(fragment) + "]";
    EXPECT_EQ(walk.childTypes(moof), (std::vector<std::string>{"mfhd", "traf", "traf", "traf"}));
    for (std::size_t track = 1; track <= 3; ++track) {
      const std::string traf = moof + "/traf[" + std::to_string(track) + "]";
      EXPECT_EQ(walk.childTypes(traf), expected[fragment - 1][track - 1]) << traf;
      const Bytes header = walk.payload(traf + "/tfhd");
      EXPECT_EQ(Bytes(header.begin() + 4, header.begin() + 8), u32(track));
    }
  }
  EXPECT_EQ(walk.payload("moof[1]/traf[2]/tfhd"), u32List({0x020000, 2}));
  EXPECT_EQ(walk.payload("moof[2]/traf[3]/tfdt"), tfdtOf(9000));
  EXPECT_EQ(walk.payload("moof[3]/traf[2]/tfdt"), tfdtOf(7500));

  const auto tracks = tracksOf(stream_->bytes());
  EXPECT_EQ(tracks[0].size(), 8u);
  EXPECT_EQ(tracks[1].size(), 1u);
  ASSERT_EQ(tracks[2].size(), 3u);
  EXPECT_EQ(tracks[1][0].decodingTime, 7500u);
  EXPECT_EQ(tracks[2][2].decodingTime, 9000u);
  // The list of sync samples counts the parts without samples.
  const Bytes index = walk.payload("mfra/tfra[2]");
  EXPECT_EQ(Bytes(index.begin() + 16 + 16, index.begin() + 16 + 28), u32List({2, 1, 1}));
}

// Also when that is 0 and fragments last two seconds.
TEST_F(FragmentedWriter, BeginsWithTheConfiguredDuration) {
  for (const std::uint64_t duration : {600u, 77u, 0u}) {
    configuration_.fragmentDuration = duration;
    stream_ = MemoryStream::create();
    writer_.emplace(stream_.get(), configuration_);
    const Bytes mehd = fullBox("mehd", 1, 0, u64(duration));
    EXPECT_EQ(Bytes(stream_->bytes().end() - 20, stream_->bytes().end()), mehd);
    addTrack();
    add(0);
    EXPECT_EQ(BoxWalk(stream_->bytes()).payload("moov/mvex/mehd"),
              concat({u32(0x01000000), u64(duration)}));
    add(6000);
    writer().finish();
    EXPECT_EQ(BoxWalk(stream_->bytes()).payload("moov/mvex/mehd"),
              concat({u32(0x01000000), u64(1201)}));
  }
}

TEST_F(FragmentedWriter, RefusesToBeAnnouncedMoreSamplesThanAnyFileHas) {
  norvik::kav::NorvikKavTrackConfiguration track;
  track.info.mediaTimescale = 3000;
  track.handlerType = 0x736F756E;
  track.sampleCount = 100000001;
  EXPECT_CODE(implausibleCount, writer().addTrack(track));
  track.sampleCount = 100000000;
  EXPECT_CODE(success, writer().addTrack(track));
}

// The sample that was held back cannot wait for the next one to give its duration.
TEST_F(FragmentedWriter, EndsTheFragmentWithItsLastSampleWhenMetadataComes) {
  addTrack();
  addTrack();
  add(0);
  add(1000);
  addTo(2, 500);
  writer().setXMPMetadata("x", 1);
  const BoxWalk walk(stream_->bytes());
  EXPECT_EQ(walk.topLevelTypes(),
            (std::vector<std::string>{"ftyp", "moov", "free", "moof", "mdat", "uuid"}));
  EXPECT_EQ(walk.track(1).samples.size(), 2u);
  EXPECT_EQ(walk.track(2).samples.size(), 1u);
  // A tick of the movie, as at the end of a track.
  EXPECT_EQ(walk.track(1).samples[1].duration, 5u);
  EXPECT_CODE(sampleTimeBackwards, add(999));
  add(2000);
  add(3000);
  writer().finish();
  const auto tracks = tracksOf(stream_->bytes());
  std::vector<std::uint64_t> times;
  for (const LibrarySample& sample : tracks[0]) times.push_back(sample.decodingTime);
  EXPECT_EQ(times, (std::vector<std::uint64_t>{0, 1000, 2000, 3000}));
  // The second track has come to the end of its only sample.
  EXPECT_EQ(BoxWalk(stream_->bytes()).payload("moof[2]/traf[2]/tfdt"), tfdtOf(505));
}

TEST_F(FragmentedWriter, RefusesTimesThatGoBackwards) {
  addTrack();
  add(3000);
  EXPECT_CODE(sampleTimeBackwards, add(2999));
}

TEST_F(FragmentedWriter, RefusesTimesThatGoBackwardsAcrossAGap) {
  addTrack(3000, 1);
  add(0);
  add(3000);
  add(1000, norvik::kav::kSampleIsGap, {});
  EXPECT_CODE(sampleTimeBackwards, add(4000));
}

TEST_F(FragmentedWriter, RefusesASampleThatNoFragmentCanHold) {
  addTrack();
  const std::uint8_t byte = 0;
  EXPECT_CODE(
      sampleTooLarge,
      writer().addSample({.trackNumber = 1, .flags = 1, .size = (1U << 30) + 1, .data = &byte}));
}

TEST_F(FragmentedWriter, RefusesUnknownTracksAndDescriptions) {
  EXPECT_CODE(unknownTrack, add(0));
  addTrack();
  EXPECT_CODE(unknownDescription, add(0, 1, text("abc"), 0));
  EXPECT_CODE(unknownDescription, add(0, 1, text("abc"), 2));
  EXPECT_CODE(success, add(0, 1, text("abc"), 1));
}

TEST_F(FragmentedWriter, TakesNoTracksAfterSamplesAndNothingAfterTheFinish) {
  addTrack();
  add(0);
  EXPECT_CODE(tracksClosedBySamples, addTrack());
  writer().finish();
  EXPECT_CODE(addTrackAfterFinish, addTrack());
  EXPECT_CODE(writerNotOpen, add(1));
  EXPECT_CODE(writerNotOpen, writer().setXMPMetadata("x", 1));
}

TEST_F(FragmentedWriter, RefusesMoreGapsThanAnnounced) {
  addTrack(3000, 1);
  for (const std::uint64_t time : {0u, 2000u}) {
    add(time);
    add(time + 1000, norvik::kav::kSampleIsGap, {});
  }
  EXPECT_CODE(editListFull, add(4000));
}

}  // namespace
}  // namespace quarrypack::test
