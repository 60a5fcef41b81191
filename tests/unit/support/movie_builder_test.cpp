#include "tests/support/movie_builder.h"

#include <gtest/gtest.h>

#include "tests/support/box_builders.h"
#include "tests/support/box_walk.h"
#include "tests/support/media_samples.h"

namespace quarrypack::test {
namespace {

using Types = std::vector<std::string>;

MovieBuilder usualMovie() { return MovieBuilder({videoTrack(), soundTrack(), captionTrack(6)}); }

void expectSamplesOf(const MovieBuilder& movie, const BoxWalk& walk) {
  ASSERT_EQ(walk.tracks().size(), movie.tracks.size());
  for (std::size_t t = 0; t < movie.tracks.size(); ++t) {
    const MovieTrack& made = movie.tracks[t];
    const WalkedTrack& found = walk.track(t + 1);
    EXPECT_EQ(found.sampleBytes(), made.sampleBytes());
    ASSERT_EQ(found.samples.size(), made.samples.size());
    std::uint64_t time = 0;
    for (std::size_t i = 0; i < made.samples.size(); ++i) {
      EXPECT_EQ(found.samples[i].decodingTime, time);
      EXPECT_EQ(found.samples[i].compositionOffset, made.samples[i].compositionOffset);
      EXPECT_EQ(found.samples[i].sync, made.samples[i].sync);
      EXPECT_EQ(found.samples[i].descriptionIndex, made.samples[i].description);
      time += made.samples[i].duration;
    }
  }
}

TEST(MediaSamples, PrefixEveryUnitWithItsLength) {
  EXPECT_EQ(nal(kKeySlice, {1, 2}), (Bytes{0x65, 1, 2}));
  EXPECT_EQ(nal(kSei, {4}), (Bytes{0x06, 4}));
  EXPECT_EQ(accessUnit({accessUnitDelimiter(), nal(kSlice, {7})}),
            (Bytes{0, 0, 0, 2, 0x09, 0xF0, 0, 0, 0, 2, 0x41, 7}));
  EXPECT_EQ(accessUnit({nal(kSlice, {7})}, 2), (Bytes{0, 2, 0x41, 7}));
}

TEST(MediaSamples, BuildCaptionAtoms) {
  EXPECT_EQ(cdat({0x94, 0x2C}), (Bytes{0, 0, 0, 10, 'c', 'd', 'a', 't', 0x94, 0x2C}));
  EXPECT_EQ(cdt2({}), (Bytes{0, 0, 0, 8, 'c', 'd', 't', '2'}));
}

TEST(MediaSamples, StateTheLengthSizeInTheConfiguration) {
  const Bytes configuration = payloadOf(avcConfiguration(2));
  EXPECT_EQ(configuration[0], 1);
  EXPECT_EQ(configuration[4], 0xFC | 1);
  EXPECT_EQ(configuration[5], 0xE0 | 1);
}

TEST(MovieBuilder, BuildsAMovieThatHoldsItsSamples) {
  MovieBuilder movie = usualMovie();
  const BoxWalk walk(movie.build());
  EXPECT_EQ(walk.topLevelTypes(), (Types{"ftyp", "wide", "mdat", "moov"}));
  EXPECT_EQ(walk.movie().timescale, 600u);
  EXPECT_EQ(walk.track(1).handler, "vide");
  EXPECT_EQ(walk.track(2).handler, "soun");
  EXPECT_EQ(walk.track(3).handler, "clcp");
  EXPECT_EQ(walk.track(1).name, std::string("Video Handler\0", 14));
  EXPECT_EQ(walk.track(1).syncNumbers, (std::vector<std::uint32_t>{1, 6, 11}));
  EXPECT_FALSE(walk.track(2).hasSyncTable);
  expectSamplesOf(movie, walk);
}

TEST(MovieBuilder, PlacesTheMovieBoxFirstWhenAsked) {
  MovieBuilder movie = usualMovie();
  movie.moovFirst();
  const BoxWalk walk(movie.build());
  EXPECT_EQ(walk.topLevelTypes(), (Types{"ftyp", "moov", "mdat"}));
  expectSamplesOf(movie, walk);
}

TEST(MovieBuilder, FollowsEveryChoiceOfTables) {
  MovieBuilder movie({videoTrack({.count = 20, .syncEvery = 10, .betweenAnchors = 2}),
                      soundTrack({.count = 10, .allSync = true}), captionTrack(5)});
  movie.headerVersion = 1;
  MovieTrack& video = movie.tracks[0];
  video.dependencyTable = true;
  video.wideOffsets = true;
  video.samplesPerChunk = {3, 1, 4};
  video.headerVersion = 1;
  video.edits = {{60, kEmptyEdit}, {400, 1001}};
  video.editListVersion = 1;
  MovieTrack& captions = movie.tracks[2];
  for (MovieSample& sample : captions.samples) sample.bytes = cdat({1, 2});
  captions.uniformSizes = true;
  movie.chunkGap = {0xEE, 0xEE};
  movie.interleaved = false;
  const BoxWalk walk(movie.build());
  expectSamplesOf(movie, walk);
  EXPECT_NE(walk.find("moov/trak/mdia/minf/stbl/co64"), nullptr);
  EXPECT_EQ(walk.track(1).samples[1].dependency, 0x10);
  EXPECT_EQ(walk.track(1).edits,
            (std::vector<WalkedEdit>{{60, -1, 0x10000}, {400, 1001, 0x10000}}));
  EXPECT_EQ(walk.payload("moov/trak[3]/mdia/minf/stbl/stsz"), concat({zeros(4), u32(10), u32(5)}));
}

TEST(MovieBuilder, ReordersPicturesBetweenAnchors) {
  const MovieTrack track = videoTrack({.count = 4, .duration = 10, .betweenAnchors = 2});
  std::vector<std::uint32_t> offsets;
  for (const MovieSample& sample : track.samples) offsets.push_back(sample.compositionOffset);
  EXPECT_EQ(offsets, (std::vector<std::uint32_t>{10, 30, 0, 0}));
}

TEST(MovieBuilder, StartsAChunkWhereTheDescriptionChanges) {
  MovieBuilder movie({soundTrack({.count = 4})});
  movie.tracks[0].entries.push_back(mp4aEntry(44100, 1));
  movie.tracks[0].samplesPerChunk = {10};
  movie.tracks[0].samples[2].description = 2;
  const BoxWalk walk(movie.build());
  EXPECT_EQ(walk.track(1).chunkRuns,
            (std::vector<WalkedChunkRun>{{1, 2, 1}, {2, 1, 2}, {3, 1, 1}}));
}

TEST(MovieBuilder, ChangesReplacesAndDropsBoxesByPath) {
  MovieBuilder movie = usualMovie();
  movie.change("mdat", largeForm)
      .replace("moov/trak[2]/mdia/minf/smhd", fullBox("nmhd", 0, 0))
      .drop("moov/trak[1]/mdia/minf/stbl/stss")
      .addInside("moov/trak[3]", box("udta"))
      .addBehind("moov", box("free", u32(1)));
  const BoxWalk walk(movie.build());
  EXPECT_EQ(walk.topLevelTypes(), (Types{"ftyp", "wide", "mdat", "moov", "free"}));
  EXPECT_EQ(walk.at("mdat").headerSize, 16u);
  EXPECT_EQ(walk.childTypes("moov/trak[2]/mdia/minf"), (Types{"nmhd", "dinf", "stbl"}));
  EXPECT_FALSE(walk.track(1).hasSyncTable);
  EXPECT_EQ(walk.childTypes("moov/trak[3]"), (Types{"tkhd", "mdia", "udta"}));
  EXPECT_EQ(walk.track(1).sampleBytes(), movie.tracks[0].sampleBytes());
}

TEST(MovieBuilder, PutsExtrasWhereTheOrderNamesThem) {
  MovieBuilder movie = usualMovie();
  movie.order = {"ftyp", "free", "moov", "xmp", "mdat"};
  movie.extras = {{"free", box("free", zeros(20))}, {"xmp", uuidBox(kXmpUuid, text("packet"))}};
  movie.change("mdat", runningToEnd);
  const BoxWalk walk(movie.build());
  EXPECT_EQ(walk.topLevelTypes(), (Types{"ftyp", "free", "moov", "uuid", "mdat"}));
  expectSamplesOf(movie, walk);
}

struct FragmentCase {
  const char* name;
  TrackFragment like;
};

class FragmentedMovies : public testing::TestWithParam<FragmentCase> {};

TEST_P(FragmentedMovies, HoldTheirSamples) {
  MovieBuilder movie = usualMovie();
  for (MovieTrack& track : movie.tracks) track.syncTable = false;
  movie.splitIntoFragments({5, 6, 3}, GetParam().like);
  movie.randomAccess = true;
  const BoxWalk walk(movie.build());
  EXPECT_EQ(walk.topLevelTypes(), (Types{"ftyp", "moov", "moof", "mdat", "moof", "mdat", "moof",
                                         "mdat", "moof", "mdat", "mfra"}));
  EXPECT_EQ(walk.childTypes("moof[1]"), (Types{"mfhd", "traf", "traf", "traf"}));
  EXPECT_EQ(walk.childTypes("mfra"), (Types{"tfra", "tfra", "tfra", "mfro"}));
  EXPECT_EQ(walk.payload("mfra/mfro"), concat({zeros(4), u32(walk.at("mfra").size())}));
  expectSamplesOf(movie, walk);
}

INSTANTIATE_TEST_SUITE_P(Forms, FragmentedMovies,
                         testing::Values(FragmentCase{"PositionsFromTheMoof", {}},
                                         FragmentCase{"AbsolutePositions", {.tfhdFlags = 1}},
                                         FragmentCase{"AbsolutePositionsWithoutOffsets",
                                                      {.tfhdFlags = 1, .trunFlags = 0xF00}},
                                         FragmentCase{"WithDecodeTimes", {.decodeTime = 7}},
                                         FragmentCase{"WithADefaultDuration",
                                                      {.tfhdFlags = 0x020008, .trunFlags = 0xE01}}),
                         [](const auto& param) { return param.param.name; });

TEST(MovieBuilder, PutsFragmentsBeforeTheMovieBox) {
  MovieBuilder movie = usualMovie();
  for (MovieTrack& track : movie.tracks) track.syncTable = false;
  movie.splitIntoFragments({5, 6, 3});
  movie.fragmentsBeforeMoov = 1;
  const BoxWalk walk(movie.build());
  EXPECT_EQ(walk.topLevelTypes()[1], "moof");
  EXPECT_EQ(walk.topLevelTypes()[3], "moov");
  expectSamplesOf(movie, walk);
}

}  // namespace
}  // namespace quarrypack::test
