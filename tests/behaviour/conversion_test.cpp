// Where captions go, which samples change, and what the program prints about the tracks.

#include <gtest/gtest.h>

#include "tests/behaviour/conversion_run.h"
#include "tests/support/box_builders.h"
#include "tests/support/box_walk.h"
#include "tests/support/media_samples.h"

namespace quarrypack::test {
namespace {

using Samples = std::vector<Bytes>;

// The unit that carries at most 24 pairs of one field, from its length to its last byte.
Bytes captionUnit(const Bytes& pairs, std::uint8_t marker = 0xFC, unsigned nalLengthSize = 4) {
  Bytes triplets;
  for (std::size_t i = 0; i < pairs.size(); i += 2) {
    append(triplets, {marker, pairs[i], pairs[i + 1]});
  }
  const Bytes payload = concat({Bytes{0xB5, 0x00, 0x31}, text("GA94"), u8(3),
                                u8(0xC0 | pairs.size() / 2), u8(0xFF), triplets, u8(0xFF)});
  return lengthPrefixed(concat({u8(6), u8(4), u8(payload.size()), payload, u8(0x80)}),
                        nalLengthSize);
}

Bytes inserted(const Bytes& sample, std::size_t position, const Bytes& unit) {
  const auto at = sample.begin() + static_cast<std::ptrdiff_t>(position);
  return concat({Bytes(sample.begin(), at), unit, Bytes(at, sample.end())});
}

// Where the picture begins in the samples of videoTrack: after the delimiter, and in a key picture
// also after the parameter sets.
std::size_t pictureStart(const MovieSample& sample, unsigned nalLengthSize = 4) {
  const std::size_t delimiter = nalLengthSize + accessUnitDelimiter().size();
  if (!sample.sync) return delimiter;
  return delimiter + 2 * std::size_t{nalLengthSize} + sequenceParameters().size() +
         pictureParameters().size();
}

// Each picture of a second with 10 pictures; captions may have any thousandth.
MovieTrack tenPictures(std::size_t syncEvery = 5) {
  return videoTrack({.count = 10, .timescale = 1000, .duration = 100, .syncEvery = syncEvery});
}

// Captions at the given times of the first second.
MovieTrack captionsAt(const std::vector<std::uint32_t>& times) {
  CaptionTrackOptions options{.timescale = 1000};
  for (std::size_t i = 0; i < times.size(); ++i) {
    options.samples.push_back(cdat(captionPairs(4, static_cast<unsigned>(i + 1))));
  }
  MovieTrack track = captionTrack(options);
  for (std::size_t i = 0; i < times.size(); ++i) {
    track.samples[i].duration = 1;
    if (i + 1 < times.size()) track.samples[i].duration = times[i + 1] - times[i];
  }
  if (!times.empty() && times.front() > 0) {
    // A track begins at 0, so the composition offset gives the time of the first picture.
    for (MovieSample& sample : track.samples) sample.compositionOffset = times.front();
  }
  return track;
}

Bytes pairsOf(const MovieTrack& captions, std::size_t index) {
  const Bytes& bytes = captions.samples[index].bytes;
  return Bytes(bytes.begin() + 8, bytes.end());
}

class CaptionPlacement : public ConversionTest {
 protected:
  // Expects these samples in the first output track.
  void expectVideo(const MovieBuilder& movie, const Samples& expected) {
    const BoxWalk walk(converted(movie));
    EXPECT_EQ(walk.track(1).sampleBytes(), expected);
  }
};

TEST_F(CaptionPlacement, WritesTheUnitByteForByteBeforeThePicture) {
  MovieTrack video = videoTrack({.count = 1});
  video.samples[0].bytes = accessUnit({accessUnitDelimiter(), sequenceParameters(),
                                       pictureParameters(), nal(kKeySlice, {0xAA, 0xBB})});
  const MovieBuilder movie({video, captionTrack({.samples = {cdat({0x94, 0x2C, 0xC8, 0x49})}})});
  const BoxWalk walk(converted(movie));
  const Bytes expected =
      concat({lengthPrefixed(accessUnitDelimiter()), lengthPrefixed(sequenceParameters()),
              lengthPrefixed(pictureParameters()),
              Bytes{0x00, 0x00, 0x00, 0x15, 0x06, 0x04, 0x11, 0xB5, 0x00, 0x31, 0x47, 0x41, 0x39,
                    0x34, 0x03, 0xC2, 0xFF, 0xFC, 0x94, 0x2C, 0xFC, 0xC8, 0x49, 0xFF, 0x80},
              lengthPrefixed(nal(kKeySlice, {0xAA, 0xBB}))});
  EXPECT_EQ(walk.track(1).sampleBytes(), Samples{expected});
}

TEST_F(CaptionPlacement, LeavesEveryOtherSampleOfEveryTrackAsItWas) {
  const MovieBuilder movie({videoTrack(), soundTrack(), captionTrack(6),
                            otherTrack("text", genericEntry("text", zeros(40)))});
  const BoxWalk walk(converted(movie));
  Samples video = movie.tracks[0].sampleBytes();
  for (std::size_t i = 0; i < 6; ++i) {
    Bytes& sample = video[2 * i];
    sample = inserted(sample, pictureStart(movie.tracks[0].samples[2 * i]),
                      captionUnit(pairsOf(movie.tracks[2], i)));
  }
  ASSERT_EQ(walk.tracks().size(), 3u);
  EXPECT_EQ(walk.track(1).sampleBytes(), video);
  EXPECT_EQ(walk.track(2).sampleBytes(), movie.tracks[1].sampleBytes());
  EXPECT_EQ(walk.track(3).sampleBytes(), movie.tracks[3].sampleBytes());
  EXPECT_EQ(walk.track(3).handler, "text");
}

TEST_F(CaptionPlacement, TakesTheFirstPictureAtOrAfterTheCaption) {
  const MovieBuilder movie({tenPictures(), captionsAt({0, 201, 300})});
  Samples expected = movie.tracks[0].sampleBytes();
  expected[0] = inserted(expected[0], 26, captionUnit(pairsOf(movie.tracks[1], 0)));
  // 201 and 300 both belong to the picture at 300; the later caption comes first.
  expected[3] = inserted(
      expected[3], 6,
      concat({captionUnit(pairsOf(movie.tracks[1], 2)), captionUnit(pairsOf(movie.tracks[1], 1))}));
  expectVideo(movie, expected);
}

TEST_F(CaptionPlacement, OffersACaptionAgainUntilItsPictureIsRead) {
  MovieBuilder movie({tenPictures(3), captionsAt({0})});
  movie.tracks[1].samples[0].compositionOffset = 900;
  Samples expected = movie.tracks[0].sampleBytes();
  expected[9] = inserted(expected[9], 26, captionUnit(pairsOf(movie.tracks[1], 0)));
  expectVideo(movie, expected);
}

TEST_F(CaptionPlacement, LosesACaptionAfterTheLastPicture) {
  const MovieBuilder movie({tenPictures(), captionsAt({0, 901})});
  Samples expected = movie.tracks[0].sampleBytes();
  expected[0] = inserted(expected[0], 26, captionUnit(pairsOf(movie.tracks[1], 0)));
  expectVideo(movie, expected);
}

TEST_F(CaptionPlacement, GoesByPresentationTimeWhenPicturesAreReordered) {
  MovieBuilder movie(
      {videoTrack(
           {.count = 10, .timescale = 1000, .duration = 100, .syncEvery = 10, .betweenAnchors = 2}),
       captionsAt({0})});
  // Shown one picture late: I at 100, P at 400, its two B at 200 and 300.
  movie.tracks[1].samples[0].compositionOffset = 250;
  Samples expected = movie.tracks[0].sampleBytes();
  expected[3] = inserted(expected[3], 6, captionUnit(pairsOf(movie.tracks[1], 0)));
  expectVideo(movie, expected);
}

TEST_F(CaptionPlacement, AsksOnlyForTheTimeAndNotForTheTrack) {
  MovieBuilder movie({tenPictures(), soundTrack({.count = 5, .timescale = 1000, .duration = 220}),
                      captionsAt({201})});
  const BoxWalk walk(converted(movie));
  Samples sound = movie.tracks[1].sampleBytes();
  // The bytes read as a NAL unit that is no parameter set, so the caption comes before them.
  sound[1] = inserted(sound[1], 0, captionUnit(pairsOf(movie.tracks[2], 0)));
  EXPECT_EQ(walk.track(1).sampleBytes(), movie.tracks[0].sampleBytes());
  EXPECT_EQ(walk.track(2).sampleBytes(), sound);
}

TEST_F(CaptionPlacement, EndsTheFirstGroupEarlyWhenASoundSyncSampleComesFirst) {
  MovieTrack sound = soundTrack({.count = 1, .timescale = 1000, .allSync = true});
  sound.samples[0].compositionOffset = 500;
  const MovieTrack captions = captionsAt({50});
  const Bytes unit = captionUnit(pairsOf(captions, 0));
  {
    // The first key picture already ends a group: the sound sample alone.
    const MovieBuilder movie({sound, tenPictures(10), captions});
    const BoxWalk walk(converted(movie));
    EXPECT_EQ(walk.track(1).sampleBytes(), Samples{inserted(sound.samples[0].bytes, 0, unit)});
    EXPECT_EQ(walk.track(2).sampleBytes(), movie.tracks[1].sampleBytes());
  }
  {
    // With the key picture first there is one group, in which a picture comes before the sound.
    const MovieBuilder movie({tenPictures(10), sound, captions});
    const BoxWalk walk(converted(movie));
    EXPECT_EQ(walk.track(2).sampleBytes(), sound.sampleBytes());
    EXPECT_EQ(walk.track(1).samples[1].bytes, inserted(movie.tracks[0].samples[1].bytes, 6, unit));
  }
}

// The first picture of the second track is shown late. Only a group that ends before 400 gives it
// the caption of 350, which else goes to the picture of that time.
TEST_F(CaptionPlacement, EndsGroupsOnlyAtTheKeyPicturesOfTheFirstVideoTrack) {
  const auto movieWith = [](std::size_t firstSyncEvery, std::size_t secondSyncEvery) {
    MovieBuilder movie(
        {tenPictures(firstSyncEvery), tenPictures(secondSyncEvery), captionsAt({350})});
    movie.tracks[1].samples[0].compositionOffset = 500;
    return movie;
  };
  {
    const MovieBuilder movie = movieWith(10, 3);
    const BoxWalk walk(converted(movie));
    Samples first = movie.tracks[0].sampleBytes();
    first[4] = inserted(first[4], 6, captionUnit(pairsOf(movie.tracks[2], 0)));
    EXPECT_EQ(walk.track(1).sampleBytes(), first);
    EXPECT_EQ(walk.track(2).sampleBytes(), movie.tracks[1].sampleBytes());
  }
  {
    const MovieBuilder movie = movieWith(3, 10);
    const BoxWalk walk(converted(movie));
    Samples second = movie.tracks[1].sampleBytes();
    second[0] = inserted(second[0], 26, captionUnit(pairsOf(movie.tracks[2], 0)));
    EXPECT_EQ(walk.track(1).sampleBytes(), movie.tracks[0].sampleBytes());
    EXPECT_EQ(walk.track(2).sampleBytes(), second);
  }
}

struct CaptionBytes {
  const char* name;
  Bytes caption;
  std::vector<Bytes> units;  // in the order of the sample
  std::string lines;
};

class CaptionKinds : public ConversionTest, public testing::WithParamInterface<CaptionBytes> {};

TEST_P(CaptionKinds, BecomeTheseUnits) {
  const MovieBuilder movie(
      {videoTrack({.count = 3}), captionTrack({.samples = {GetParam().caption}})});
  const BoxWalk walk(converted(movie, "", GetParam().lines));
  Samples expected = movie.tracks[0].sampleBytes();
  expected[0] = inserted(expected[0], 26, concat(GetParam().units));
  EXPECT_EQ(walk.track(1).sampleBytes(), expected);
}

Bytes part(const Bytes& pairs, std::size_t first, std::size_t count) {
  const auto start = pairs.begin() + static_cast<std::ptrdiff_t>(first);
  return Bytes(start, start + static_cast<std::ptrdiff_t>(count));
}

const std::string kUnknownChannel =
    "Unknown 608 channel Type detected...Assuming it to for be channel one\n";

INSTANTIATE_TEST_SUITE_P(
    Sizes, CaptionKinds,
    testing::Values(
        CaptionBytes{"OfFieldTwo", cdt2({0x15, 0x2C}), {captionUnit({0x15, 0x2C}, 0xFD)}, ""},
        CaptionBytes{"OfBothFields",
                     concat({cdat({0x94, 0x20}), cdt2({0x15, 0x2C})}),
                     {Bytes{0,   0, 0,    0x15, 6,    4,    0x11, 0xB5, 0,    0x31, 'G',  'A', '9',
                            '4', 3, 0xC2, 0xFF, 0xFC, 0x94, 0x20, 0xFD, 0x15, 0x2C, 0xFF, 0x80}},
                     ""},
        CaptionBytes{"WithoutPairs", cdat({}), {captionUnit({})}, ""},
        CaptionBytes{"WithoutBytes", {}, {captionUnit({})}, ""},
        CaptionBytes{"Of56Bytes", cdat(captionPairs(48)), {captionUnit(captionPairs(48))}, ""},
        CaptionBytes{"Of58Bytes",
                     cdat(captionPairs(50)),
                     {captionUnit(part(captionPairs(50), 48, 2)),
                      captionUnit(part(captionPairs(50), 0, 48))},
                     ""},
        CaptionBytes{"Of57Bytes",
                     cdat(captionPairs(49)),
                     // One byte is no pair for the count, yet it is written, with a zero beside it.
                     {concat({Bytes{0, 0, 0, 0x12, 6, 4, 0x0E, 0xB5, 0, 0x31, 'G', 'A', '9', '4', 3,
                                    0xC0, 0xFF, 0xFC},
                              part(captionPairs(49), 48, 1), Bytes{0x00, 0xFF, 0x80}}),
                      captionUnit(part(captionPairs(49), 0, 48))},
                     ""},
        CaptionBytes{
            "OfTwoLargeAtoms",
            concat({cdat(captionPairs(52, 1)), cdt2(captionPairs(4, 2))}),
            {captionUnit(captionPairs(4, 2), 0xFD), captionUnit(part(captionPairs(52, 1), 48, 4)),
             captionUnit(part(captionPairs(52, 1), 0, 48))},
            ""},
        CaptionBytes{"OfAnUnknownType",
                     captionAtom("cdt3", {0x94, 0x20}),
                     {captionUnit({0x94, 0x20})},
                     kUnknownChannel},
        CaptionBytes{"WithPairsOfZeros", cdat({0, 0, 0, 0}), {captionUnit({0, 0, 0, 0})}, ""}),
    [](const auto& param) { return param.param.name; });

struct PictureBytes {
  const char* name;
  Bytes sample;
  std::size_t position;
  std::string lines;
};

class PictureKinds : public ConversionTest, public testing::WithParamInterface<PictureBytes> {};

TEST_P(PictureKinds, TakeTheCaptionHere) {
  MovieTrack video = videoTrack({.count = 1});
  video.samples[0].bytes = GetParam().sample;
  const MovieBuilder movie({video, captionTrack({.samples = {cdat({0x94, 0x20})}})});
  const BoxWalk walk(converted(movie, "", GetParam().lines));
  EXPECT_EQ(walk.track(1).sampleBytes(),
            Samples{inserted(GetParam().sample, GetParam().position, captionUnit({0x94, 0x20}))});
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, PictureKinds,
    testing::Values(
        PictureBytes{"InFrontOfAnEarlierSei",
                     accessUnit({accessUnitDelimiter(), nal(kSei, {5, 1, 7, 0x80}), nal(kSlice)}),
                     6, ""},
        PictureBytes{"AtTheStartWithoutParameterSets", accessUnit({nal(kSlice, {1, 2, 3})}), 0, ""},
        PictureBytes{"InFrontOfFillerData",
                     accessUnit({nal(kFiller, {0xFF}), sequenceParameters(), nal(kSlice)}), 0, ""},
        PictureBytes{"AtTheEndBehindParameterSetsAlone",
                     accessUnit({accessUnitDelimiter(), sequenceParameters(), pictureParameters()}),
                     26, ""},
        PictureBytes{
            "AtTheEndBehindANegativeLength",
            concat({lengthPrefixed(accessUnitDelimiter()), u32(0x80000001), sequenceParameters()}),
            18, "Error 3: Invalid NAL Length  Detected!!!\n"},
        PictureBytes{
            "AtTheEndWhenALengthRunsPastIt",
            concat({lengthPrefixed(accessUnitDelimiter()), u32(5000), sequenceParameters()}), 18,
            ""},
        PictureBytes{"InASampleWithoutBytes", {}, 0, ""}),
    [](const auto& param) { return param.param.name; });

class NalLengths : public ConversionTest, public testing::WithParamInterface<unsigned> {};

TEST_P(NalLengths, ComeFromTheFirstVideoTrack) {
  const unsigned size = GetParam();
  MovieBuilder movie({videoTrack({.count = 2, .nalLengthSize = size}), captionTrack(1),
                      videoTrack({.count = 2, .nalLengthSize = size % 4 + 1, .tag = "W"})});
  // The record is found at any place among the boxes of the entry.
  movie.tracks[0].entries = {
      videoEntry("avc1", concat({box("pasp", u32(1), u32(1)), avcConfiguration(size)}))};
  const BoxWalk walk(converted(movie));
  Samples expected = movie.tracks[0].sampleBytes();
  expected[0] = inserted(expected[0], pictureStart(movie.tracks[0].samples[0], size),
                         captionUnit(pairsOf(movie.tracks[1], 0), 0xFC, size));
  EXPECT_EQ(walk.track(1).sampleBytes(), expected);
  EXPECT_EQ(walk.track(2).sampleBytes(), movie.tracks[2].sampleBytes());
}

INSTANTIATE_TEST_SUITE_P(Sizes, NalLengths, testing::Values(1, 2, 3, 4),
                         testing::PrintToStringParamName());

class Tracks : public ConversionTest {};

TEST_F(Tracks, FailWithoutACaptionTrackAndLeaveNoOutput) {
  const Conversion result = convert(MovieBuilder({videoTrack(), soundTrack()}));
  EXPECT_EQ(result.program.status, 1);
  EXPECT_EQ(result.program.err, kNoValidData);
  EXPECT_EQ(result.program.out, kFailed);
  EXPECT_FALSE(result.output);
}

TEST_F(Tracks, FailWithoutAVideoTrackAndLeaveNoOutput) {
  const Conversion result = convert(MovieBuilder({soundTrack(), captionTrack(3)}));
  EXPECT_EQ(result.program.status, 1);
  EXPECT_EQ(result.program.err, kNoValidData);
  EXPECT_EQ(result.program.out, kFailed);
  EXPECT_FALSE(result.output);
}

TEST_F(Tracks, TakeCaptionsFromTheLastCaptionTrackAndDropThoseOfOthers) {
  const MovieBuilder movie({tenPictures(), captionsAt({0, 100}), captionsAt({300})});
  const std::string dropped =
      "assert in file ..\\..\\src\\main.cpp, line 397\nError: Bad clcp Sample. \n";
  const BoxWalk walk(converted(movie, "", dropped + dropped));
  Samples expected = movie.tracks[0].sampleBytes();
  expected[3] = inserted(expected[3], 6, captionUnit(pairsOf(movie.tracks[2], 0)));
  ASSERT_EQ(walk.tracks().size(), 1u);
  EXPECT_EQ(walk.track(1).sampleBytes(), expected);
}

TEST_F(Tracks, MayHaveNoName) {
  MovieBuilder movie({videoTrack(), soundTrack(), captionTrack(3)});
  movie.tracks[0].name = {};
  movie.tracks[1].name = {0};
  movie.tracks[2].name = {};
  const std::string line = "Error: Track with empty name found\n";
  const BoxWalk walk(converted(movie, line + line));
  EXPECT_EQ(walk.tracks().size(), 2u);
}

TEST_F(Tracks, MayHaveADescriptionWithoutConfiguration) {
  MovieBuilder movie({videoTrack(), soundTrack(), captionTrack(3)});
  movie.tracks[1].entries = {soundEntry("mp4a", {})};
  const BoxWalk walk(converted(movie, "Warning: Zero Header length SampleDescriptor found\n"));
  EXPECT_EQ(walk.track(2).entries, movie.tracks[1].entries);
}

TEST_F(Tracks, MayHoldNoSample) {
  const MovieBuilder movie({videoTrack(), soundTrack({.count = 0}), captionTrack(3)});
  const BoxWalk walk(converted(movie));
  EXPECT_EQ(walk.track(2).samples.size(), 0u);
  EXPECT_EQ(walk.track(2).timeRuns, RunTable{});
  EXPECT_TRUE(walk.track(2).chunkOffsets.empty());
}

TEST_F(Tracks, KeepTheirOrderNamesLanguagesAndDescriptions) {
  MovieBuilder movie({captionTrack(3), otherTrack("tmcd", genericEntry("tmcd", zeros(18))),
                      videoTrack(), soundTrack()});
  movie.tracks[1].id = 9;
  movie.tracks[2].id = 5;
  movie.tracks[3].language = 0x15C7;
  movie.tracks[3].name = text("No zero at the end");
  const BoxWalk walk(converted(movie));
  ASSERT_EQ(walk.tracks().size(), 3u);
  EXPECT_EQ(walk.track(1).handler, "tmcd");
  EXPECT_EQ(walk.track(1).entries, movie.tracks[1].entries);
  EXPECT_EQ(walk.track(2).handler, "vide");
  EXPECT_EQ(walk.track(3).handler, "soun");
  EXPECT_EQ(walk.track(3).entries, movie.tracks[3].entries);
  EXPECT_EQ(walk.track(3).language, 0x15C7);
  EXPECT_EQ(walk.track(3).name, std::string("No zero at the end\0", 19));
  for (std::size_t i = 1; i <= 3; ++i) EXPECT_EQ(walk.track(i).id, i);
}

TEST_F(Tracks, ThatShareAnIdComeTogetherInTheLastOfThem) {
  MovieBuilder movie({captionTrack(3), otherTrack("tmcd", genericEntry("tmcd", zeros(18))),
                      videoTrack(), soundTrack()});
  movie.tracks[2].id = 4;
  movie.tracks[3].id = 4;
  const BoxWalk walk(converted(movie));
  ASSERT_EQ(walk.tracks().size(), 3u);
  EXPECT_TRUE(walk.track(2).samples.empty());
  EXPECT_EQ(walk.track(3).samples.size(),
            movie.tracks[2].samples.size() + movie.tracks[3].samples.size());
}

// A sound entry as QuickTime writes it: four more numbers, and the configuration inside a wave box.
Bytes quickTimeSoundEntry(const char* codec, const Bytes& configuration) {
  const Bytes wave = box("wave", box("frma", text(codec)), configuration,
                         boxAround(std::string_view("\0\0\0\0", 4), {}));
  const Bytes version0 = soundEntry(codec, concat({u32List({1024, 0, 0, 2}), wave}));
  return patched(version0, 16, u16(1));
}

TEST_F(Tracks, TakeTheConfigurationOfAacOutOfItsQuickTimeEntry) {
  MovieBuilder movie({videoTrack(), soundTrack(), captionTrack(3)});
  movie.tracks[1].entries = {quickTimeSoundEntry("mp4a", elementaryStreamDescriptor())};
  const BoxWalk walk(converted(movie));
  EXPECT_EQ(walk.track(2).entries, std::vector<Bytes>{mp4aEntry()});
}

TEST_F(Tracks, KeepOtherQuickTimeSoundEntriesByteForByte) {
  MovieBuilder movie({videoTrack(), soundTrack(), captionTrack(3)});
  movie.tracks[1].entries = {quickTimeSoundEntry("ima4", {})};
  const BoxWalk walk(converted(movie));
  EXPECT_EQ(walk.track(2).entries, movie.tracks[1].entries);
}

TEST_F(Tracks, KeepEachSampleWithItsDescription) {
  MovieBuilder movie({videoTrack(), soundTrack({.count = 6}), captionTrack(3)});
  movie.tracks[1].entries.push_back(mp4aEntry(44100, 1));
  for (const std::size_t i : {2u, 3u}) movie.tracks[1].samples[i].description = 2;
  const BoxWalk walk(converted(movie));
  std::vector<std::uint32_t> indexes;
  for (const WalkedSample& sample : walk.track(2).samples) {
    indexes.push_back(sample.descriptionIndex);
  }
  EXPECT_EQ(indexes, (std::vector<std::uint32_t>{1, 1, 2, 2, 1, 1}));
  EXPECT_EQ(walk.track(2).entries, movie.tracks[1].entries);
}

}  // namespace
}  // namespace quarrypack::test
