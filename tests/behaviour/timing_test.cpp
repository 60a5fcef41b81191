// Times of the written samples: durations, composition offsets, sync samples, pauses and edit
// lists.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/behaviour/conversion_run.h"
#include "tests/support/box_builders.h"
#include "tests/support/box_walk.h"
#include "tests/support/media_samples.h"

namespace quarrypack::test {
namespace {

using Edits = std::vector<WalkedEdit>;
using Numbers = std::vector<std::uint32_t>;

constexpr std::uint32_t kRate1 = 0x10000;
// The bytes that a caption without pairs adds to its picture; every pair adds three more.
constexpr std::size_t kUnitWithoutPairs = 19;

std::vector<Bytes> bytesOf(const MovieTrack& track, std::size_t first = 0,
                           std::size_t count = SIZE_MAX) {
  std::vector<Bytes> all;
  for (std::size_t i = first; i < track.samples.size() && i - first < count; ++i) {
    all.push_back(track.samples[i].bytes);
  }
  return all;
}

// A second of sound in ten samples; the movie's timescale is 600, a fifth of the track's.
MovieTrack tenSounds() { return soundTrack({.count = 10, .timescale = 3000, .duration = 300}); }

MovieBuilder movieWith(const MovieTrack& sound) {
  return MovieBuilder({videoTrack(), sound, captionTrack(1)});
}

class Timing : public ConversionTest {};

TEST_F(Timing, GivesTheLastSampleOneTickOfTheMovie) {
  const BoxWalk walk(converted(movieWith(tenSounds())));
  EXPECT_EQ(walk.track(2).timescale, 3000u);
  EXPECT_EQ(walk.track(2).timeRuns, (RunTable{{9, 300}, {1, 5}}));
  EXPECT_EQ(walk.track(2).mediaDuration, 2705u);
  EXPECT_EQ(walk.track(2).duration, 541u);
  EXPECT_EQ(walk.track(2).edits, (Edits{{541, 0, kRate1}}));
  EXPECT_EQ(walk.movie().duration, 541u);
}

TEST_F(Timing, GivesASingleSampleADurationOfOne) {
  const BoxWalk walk(
      converted(movieWith(soundTrack({.count = 1, .timescale = 3000, .duration = 300}))));
  EXPECT_EQ(walk.track(2).timeRuns, (RunTable{{1, 1}}));
}

TEST_F(Timing, KeepsRunsOfDurations) {
  MovieTrack sound = tenSounds();
  for (const std::size_t i : {3u, 4u, 5u}) sound.samples[i].duration = 100;
  const BoxWalk walk(converted(movieWith(sound)));
  EXPECT_EQ(walk.track(2).timeRuns, (RunTable{{3, 300}, {3, 100}, {3, 300}, {1, 5}}));
}

TEST_F(Timing, DropsTheHalfWhenATimeFallsBetweenTwoTicks) {
  // 90 000 to 1000: sample 2 at 45 is half a tick, the empty sample after it ends the track there.
  MovieTrack sound = soundTrack({.count = 2, .timescale = 90000, .duration = 45});
  MovieBuilder movie = movieWith(sound);
  movie.timescale = 1000;
  const BoxWalk first(converted(movie));
  EXPECT_EQ(first.track(2).mediaDuration, 45u + 90u);
  EXPECT_EQ(first.track(2).duration, 1u);  // 1.5 ticks
  movie.tracks[1].samples[0].duration = 46;
  const BoxWalk second(converted(movie));
  EXPECT_EQ(second.track(2).duration, 2u);
}

TEST_F(Timing, KeepsCompositionOffsetsAndSyncSamples) {
  const MovieBuilder movie(
      {videoTrack({.count = 8, .syncEvery = 4, .betweenAnchors = 1}), captionTrack(1)});
  const BoxWalk walk(converted(movie));
  Numbers offsets;
  for (const WalkedSample& sample : walk.track(1).samples) {
    offsets.push_back(sample.compositionOffset);
  }
  EXPECT_EQ(offsets, (Numbers{1001, 2002, 0, 1001, 1001, 2002, 0, 1001}));
  EXPECT_EQ(walk.track(1).syncNumbers, (Numbers{1, 5}));
}

TEST_F(Timing, MarksNoSampleSyncWhereTheInputHasNoSyncTable) {
  MovieBuilder movie({videoTrack(), soundTrack(), captionTrack(1)});
  movie.tracks[0].syncTable = false;
  const BoxWalk walk(converted(movie));
  EXPECT_TRUE(walk.track(1).hasSyncTable);
  EXPECT_EQ(walk.track(1).syncNumbers, Numbers{});
}

TEST_F(Timing, KeepsTheDependenciesOfEverySample) {
  MovieBuilder movie({videoTrack({.count = 6, .syncEvery = 3}), soundTrack(), captionTrack(1)});
  movie.tracks[0].dependencyTable = true;
  const BoxWalk walk(converted(movie));
  EXPECT_EQ(walk.track(1).dependencies, (Bytes{0x20, 0x10, 0x10, 0x20, 0x10, 0x10}));
  EXPECT_EQ(walk.track(2).dependencies, std::nullopt);
}

struct EditCase {
  const char* name;
  std::vector<MovieEdit> input;
  std::size_t first;  // which of the ten samples come through
  std::size_t count;
  Edits output;
};

class EditLists : public ConversionTest, public testing::WithParamInterface<EditCase> {};

TEST_P(EditLists, SelectSamplesAndLeavePauses) {
  MovieTrack sound = tenSounds();
  sound.edits = GetParam().input;
  const BoxWalk walk(converted(movieWith(sound)));
  EXPECT_EQ(walk.track(2).sampleBytes(), bytesOf(sound, GetParam().first, GetParam().count));
  EXPECT_EQ(walk.track(2).edits, GetParam().output);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, EditLists,
    testing::Values(EditCase{"TheWholeMedia", {{600, 0}}, 0, 10, {{541, 0, kRate1}}},
                    EditCase{"NoEntry", {}, 0, 10, {{541, 0, kRate1}}},
                    EditCase{"TheRestOfTheMedia", {{0, 0}}, 0, 10, {{541, 0, kRate1}}},
                    // An edit of length 0 comes first; the pause lasts as in the input.
                    EditCase{"APauseInFront",
                             {{600, kEmptyEdit}, {600, 0}},
                             0,
                             10,
                             {{0, 0, kRate1}, {600, -1, kRate1}, {541, 0, kRate1}}},
                    EditCase{"ABeginningCutOff", {{600, 600}}, 2, 8, {{421, 0, kRate1}}},
                    EditCase{"ABeginningCutInsideASample", {{600, 601}}, 3, 7, {{421, 0, kRate1}}},
                    EditCase{"AnEndCutOff", {{180, 0}}, 0, 3, {{121, 0, kRate1}}}),
    [](const auto& param) { return param.param.name; });

TEST_F(Timing, PausesInTheMiddleOfATrack) {
  MovieTrack sound = tenSounds();
  sound.edits = {{120, 0}, {60, kEmptyEdit}, {240, 1500}};
  const BoxWalk walk(converted(movieWith(sound)));
  std::vector<Bytes> expected = bytesOf(sound, 0, 2);
  for (const Bytes& bytes : bytesOf(sound, 5, 4)) expected.push_back(bytes);
  EXPECT_EQ(walk.track(2).sampleBytes(), expected);
  ASSERT_EQ(walk.track(2).edits.size(), 3u);
  EXPECT_EQ(walk.track(2).edits[0], (WalkedEdit{120, 0, kRate1}));
  EXPECT_EQ(walk.track(2).edits[1], (WalkedEdit{60, -1, kRate1}));
  EXPECT_EQ(walk.track(2).edits[2].mediaTime, 600);
  // The pause is removed from the media: the samples follow one another.
  EXPECT_EQ(walk.track(2).samples[2].decodingTime, 600u);
}

TEST_F(Timing, RepeatsSamplesThatTwoEditsShow) {
  MovieTrack sound = tenSounds();
  sound.edits = {{120, 0}, {120, 0}};
  const BoxWalk walk(converted(movieWith(sound)));
  std::vector<Bytes> expected = bytesOf(sound, 0, 2);
  for (const Bytes& bytes : bytesOf(sound, 0, 2)) expected.push_back(bytes);
  EXPECT_EQ(walk.track(2).sampleBytes(), expected);
}

TEST_F(Timing, RepeatsMediaAsOftenAsEditsShowIt) {
  MovieTrack sound = tenSounds();
  for (MovieSample& sample : sound.samples) sample.bytes.resize(100'000, 0x55);
  sound.edits = std::vector<MovieEdit>(12, MovieEdit{600, 0});
  const BoxWalk walk(converted(movieWith(sound)));
  std::vector<Bytes> expected;
  for (std::size_t i = 0; i < sound.edits->size(); ++i) {
    for (const Bytes& bytes : bytesOf(sound, 0, 10)) expected.push_back(bytes);
  }
  EXPECT_TRUE(walk.track(2).sampleBytes() == expected);
  ASSERT_EQ(walk.track(2).edits.size(), 1u);
  EXPECT_EQ(walk.track(2).samples[119].decodingTime, 119u * 300);
}

TEST_F(Timing, KeepsTheKeyPictureThatAnEditSkipsOnlyForItsReordering) {
  // Encoders show reordered pictures one picture late and correct that with an edit list.
  MovieBuilder movie(
      {videoTrack(
           {.count = 8, .timescale = 1000, .duration = 100, .syncEvery = 8, .betweenAnchors = 1}),
       captionTrack(
           {.samples = {cdat({}), cdat({0x94, 0x20})}, .timescale = 1000, .duration = 300})});
  movie.tracks[0].edits = {{480, 100}};
  const BoxWalk walk(converted(movie));
  ASSERT_EQ(walk.track(1).samples.size(), 8u);
  EXPECT_EQ(walk.track(1).syncNumbers, (Numbers{1}));
  // The caption of the picture shown at 300 stays with it, although pictures are now shown 100
  // later.
  for (std::size_t i = 0; i < 8; ++i) {
    const WalkedSample& sample = walk.track(1).samples[i];
    const bool at300 = sample.decodingTime + sample.compositionOffset == 400;
    const bool first = sample.decodingTime + sample.compositionOffset == 100;
    const std::size_t grown = sample.size - movie.tracks[0].samples[i].bytes.size();
    EXPECT_EQ(grown, at300   ? kUnitWithoutPairs + 3
                     : first ? kUnitWithoutPairs
                             : 0u)
        << "sample " << i + 1;
  }
}

// The edit begins earlier in decoding order by the reorder delay and ends where it ended: pictures
// that are shown within it are decoded up to there.
TEST_F(Timing, KeepsEveryPictureThatTheLastEditShows) {
  MovieBuilder movie(
      {videoTrack(
           {.count = 12, .timescale = 1000, .duration = 100, .syncEvery = 12, .betweenAnchors = 1}),
       captionTrack(1)});
  movie.timescale = 1000;
  movie.tracks[1].samples[0].compositionOffset = 1'000'000;  // after the last picture
  movie.tracks[0].edits = {{1200, 100}};
  EXPECT_EQ(BoxWalk(converted(movie)).track(1).sampleBytes(), movie.tracks[0].sampleBytes());
  movie.tracks[0].edits = {{300, kEmptyEdit}, {600, 100}};
  EXPECT_EQ(BoxWalk(converted(movie)).track(1).sampleBytes(), bytesOf(movie.tracks[0], 0, 7));
  // Of several edits the last one that shows media; the others end where the next one begins.
  movie.tracks[0].edits = {{300, 100}, {600, 400}, {100, kEmptyEdit}};
  std::vector<Bytes> expected = bytesOf(movie.tracks[0], 0, 3);
  for (const Bytes& bytes : bytesOf(movie.tracks[0], 3, 7)) expected.push_back(bytes);
  EXPECT_EQ(BoxWalk(converted(movie)).track(1).sampleBytes(), expected);
}

// A clip cut out of a longer movie keeps the times of the whole in its fragments.
TEST_F(Timing, BeginsAnExcerptAtZero) {
  MovieBuilder movie(
      {videoTrack({.count = 10, .timescale = 1000, .duration = 100}),
       soundTrack({.count = 20, .timescale = 500, .duration = 25}),
       captionTrack(
           {.samples = {cdat({}), cdat({0x94, 0x20})}, .timescale = 1000, .duration = 500})});
  movie.timescale = 1000;
  const Bytes whole = converted(MovieBuilder(movie).splitIntoFragments({10, 20, 2}));
  movie.splitIntoFragments({10, 20, 2});
  const std::uint64_t starts[] = {10'000, 5'000, 10'000};
  for (TrackFragment& part : movie.fragments[0]) part.decodeTime = starts[part.track];
  EXPECT_EQ(converted(movie), whole);
  EXPECT_LT(BoxWalk(whole).movie().duration, 1000u);
}

// Eighteen pictures that are shown two pictures late, which their edit list takes back, twenty
// milliseconds of sound in each packet, all of them key samples as in most fragmented movies, and a
// caption for every picture.
MovieBuilder reorderedFragments() {
  MovieTrack video = videoTrack(
      {.count = 18, .timescale = 1000, .duration = 100, .syncEvery = 6, .betweenAnchors = 1});
  for (MovieSample& sample : video.samples) sample.compositionOffset += 100;
  video.edits = {{0, 200}};
  CaptionTrackOptions captions{.timescale = 1000, .duration = 100};
  for (unsigned i = 0; i < 18; ++i) captions.samples.push_back(cdat(captionPairs(2, i)));
  MovieBuilder movie({video,
                      soundTrack({.count = 90, .timescale = 1000, .duration = 20, .allSync = true}),
                      captionTrack(captions)});
  return movie.splitIntoFragments({6, 30, 6});
}

// Sound that is all key samples ends a group of pictures soon after the key picture was read. A
// caption of a picture that is shown later than that must have been read by then: a later one would
// go to the first sample of the next group, which is sound.
TEST_F(Timing, ReadsCaptionsBeforeTheGroupOfTheirPictureIsWritten) {
  const MovieBuilder movie = reorderedFragments();
  const BoxWalk walk(converted(movie));
  EXPECT_EQ(walk.track(2).sampleBytes(), movie.tracks[1].sampleBytes());
  ASSERT_EQ(walk.track(1).samples.size(), 18u);
  for (std::size_t i = 0; i < 18; ++i) {
    const WalkedSample& sample = walk.track(1).samples[i];
    const auto number =
        static_cast<unsigned>((sample.decodingTime + sample.compositionOffset - 200) / 100);
    const Bytes triplet = concat({u8(0xFC), captionPairs(2, number)});
    EXPECT_EQ(sample.size, movie.tracks[0].samples[i].bytes.size() + kUnitWithoutPairs + 3)
        << "sample " << i + 1;
    EXPECT_NE(std::search(sample.bytes.begin(), sample.bytes.end(), triplet.begin(), triplet.end()),
              sample.bytes.end())
        << "sample " << i + 1;
  }
}

TEST_F(Timing, SubtractsTheShiftOfTheCaptionsFromTheirDelay) {
  MovieBuilder movie = reorderedFragments();
  MovieTrack& captions = movie.tracks[2];
  for (MovieSample& sample : captions.samples) sample.compositionOffset = 100;
  captions.edits = {{0, 100}};
  const BoxWalk walk(converted(movie));
  EXPECT_EQ(walk.track(2).sampleBytes(), movie.tracks[1].sampleBytes());
  for (std::size_t i = 0; i < 18; ++i) {
    EXPECT_EQ(walk.track(1).samples[i].size,
              movie.tracks[0].samples[i].bytes.size() + kUnitWithoutPairs + 3)
        << "sample " << i + 1;
  }
}

}  // namespace
}  // namespace quarrypack::test
