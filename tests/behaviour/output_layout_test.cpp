// The boxes of the written file: their order, their values, and that nothing lies between them.

#include <algorithm>

#include <gtest/gtest.h>

#include "tests/behaviour/conversion_run.h"
#include "tests/support/box_builders.h"
#include "tests/support/box_walk.h"
#include "tests/support/media_samples.h"

namespace quarrypack::test {
namespace {

using Types = std::vector<std::string>;

MovieBuilder usualMovie() { return MovieBuilder({videoTrack(), soundTrack(), captionTrack(6)}); }

Bytes unityMatrix() { return u32List({0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000}); }

class OutputLayout : public ConversionTest {};

TEST_F(OutputLayout, PutsTheMovieBoxAfterTheFileTypeAndBeforeTheData) {
  const BoxWalk walk(converted(usualMovie()));
  EXPECT_EQ(walk.topLevelTypes(), (Types{"ftyp", "moov", "free", "mdat"}));
}

TEST_F(OutputLayout, NamesItsBrands) {
  const BoxWalk walk(converted(usualMovie()));
  EXPECT_EQ(walk.payload("ftyp"), concat({text("kav "), u32(1), text("isommp42m4v ")}));
  EXPECT_EQ(walk.at("ftyp").headerSize, 8u);
}

TEST_F(OutputLayout, GivesTheMediaDataTheLargeHeaderAndFillsItWithSamples) {
  const BoxWalk walk(converted(usualMovie()));
  EXPECT_EQ(walk.at("mdat").headerSize, 16u);
  std::vector<WalkedSample> samples = walk.track(1).samples;
  samples.insert(samples.end(), walk.track(2).samples.begin(), walk.track(2).samples.end());
  std::sort(samples.begin(), samples.end(),
            [](const WalkedSample& a, const WalkedSample& b) { return a.offset < b.offset; });
  Bytes data;
  for (const WalkedSample& sample : samples) append(data, sample.bytes);
  EXPECT_EQ(walk.payload("mdat"), data);
}

TEST_F(OutputLayout, KeepsItsContainersInOneOrder) {
  MovieBuilder movie = usualMovie();
  movie.tracks[0].dependencyTable = true;
  const BoxWalk walk(converted(movie));
  EXPECT_EQ(walk.childTypes("moov"), (Types{"mvhd", "trak", "trak"}));
  EXPECT_EQ(walk.childTypes("moov/trak"), (Types{"tkhd", "mdia", "edts"}));
  EXPECT_EQ(walk.childTypes("moov/trak/mdia"), (Types{"mdhd", "hdlr", "minf"}));
  EXPECT_EQ(walk.childTypes("moov/trak/mdia/minf"), (Types{"vmhd", "dinf", "stbl"}));
  EXPECT_EQ(walk.childTypes("moov/trak[2]/mdia/minf"), (Types{"smhd", "dinf", "stbl"}));
  EXPECT_EQ(walk.childTypes("moov/trak/mdia/minf/stbl"),
            (Types{"stsd", "stts", "stsc", "stsz", "co64", "ctts", "stss", "sdtp"}));
  EXPECT_EQ(walk.childTypes("moov/trak[2]/mdia/minf/stbl"),
            (Types{"stsd", "stts", "stsc", "stsz", "co64", "ctts", "stss"}));
}

TEST_F(OutputLayout, LeavesNoRoomInsideAnyBoxAndZerosInTheFreeOne) {
  // BoxWalk refuses a table that is larger than its entries; the room they did not need is here.
  const BoxWalk walk(converted(usualMovie()));
  const Bytes room = walk.payload("free");
  EXPECT_EQ(room, zeros(room.size()));
}

TEST_F(OutputLayout, WritesTheMovieHeaderOfTheInputInVersion1) {
  MovieBuilder movie = usualMovie();
  movie.rate = 0x18000;
  movie.volume = 0x80;
  const BoxWalk walk(converted(movie));
  EXPECT_EQ(walk.payload("moov/mvhd"),
            concat({versionAndFlags(1, 0), u64(3100000000), u64(3100000001), u32(600), u64(266),
                    u32(0x18000), u16(0x80), zeros(10), unityMatrix(), zeros(24), u32(3)}));
}

TEST_F(OutputLayout, WritesTheTrackHeadersInVersion1WithUnityMatrices) {
  MovieBuilder movie = usualMovie();
  movie.tracks[0].language = 0x15C7;  // "eng"
  const BoxWalk walk(converted(movie));
  EXPECT_EQ(walk.payload("moov/trak/tkhd"),
            concat({versionAndFlags(1, 1), u64(3000000000), u64(3000000001), u32(1), u32(0),
                    u64(221), zeros(8), u16(0), u16(0), u16(0), u16(0), unityMatrix(),
                    u32(320 << 16), u32(240 << 16)}));
  EXPECT_EQ(walk.payload("moov/trak/mdia/mdhd"),
            concat({versionAndFlags(1, 0), u64(3000000000), u64(3000000001), u32(30000), u64(11061),
                    u16(0x15C7), u16(0)}));
  EXPECT_EQ(walk.payload("moov/trak/mdia/hdlr"),
            concat({zeros(8), text("vide"), zeros(12), text("Video Handler"), u8(0)}));
  EXPECT_EQ(walk.payload("moov/trak/mdia/minf/vmhd").size(), 12u);
  EXPECT_EQ(walk.payload("moov/trak[2]/mdia/minf/smhd"), zeros(8));
  EXPECT_EQ(walk.payload("moov/trak/mdia/minf/dinf/dref"),
            concat({zeros(4), u32(1), fullBox("url ", 0, 1)}));
  EXPECT_EQ(walk.track(2).volume, 0x100);
}

TEST_F(OutputLayout, GivesOtherHandlersTheNullMediaHeader) {
  MovieBuilder movie = usualMovie();
  movie.tracks.push_back(otherTrack("text", genericEntry("text", zeros(40))));
  const BoxWalk walk(converted(movie));
  EXPECT_EQ(walk.childTypes("moov/trak[3]/mdia/minf"), (Types{"nmhd", "dinf", "stbl"}));
}

TEST_F(OutputLayout, NamesTheVideoCompressorAndKeepsTheConfiguration) {
  const BoxWalk walk(converted(usualMovie()));
  const Bytes entry = walk.track(1).entries.at(0);
  const Bytes made = avcEntry();
  constexpr std::ptrdiff_t kCompressor = 50;
  constexpr std::ptrdiff_t kDepth = 82;
  EXPECT_EQ(Bytes(entry.begin() + 4, entry.begin() + kCompressor),
            Bytes(made.begin() + 4, made.begin() + kCompressor));
  EXPECT_EQ(Bytes(entry.begin() + kCompressor, entry.begin() + kDepth),
            concat({u8(10), text("AVC Coding"), zeros(21)}));
  EXPECT_EQ(Bytes(entry.begin() + kDepth, entry.end()), Bytes(made.begin() + kDepth, made.end()));
}

TEST_F(OutputLayout, StartsAChunkWhereverTheTrackChanges) {
  const BoxWalk walk(converted(MovieBuilder(
      {videoTrack({.count = 4, .timescale = 1000, .duration = 100}),
       soundTrack({.count = 2, .timescale = 1000, .duration = 150}), captionTrack(1)})));
  // Read in the order of time: picture 1, sound 1, picture 2, sound 2, pictures 3 and 4.
  EXPECT_EQ(walk.track(1).chunkRuns,
            (std::vector<WalkedChunkRun>{{1, 1, 1}, {2, 1, 1}, {3, 2, 1}}));
  EXPECT_EQ(walk.track(2).chunkRuns, (std::vector<WalkedChunkRun>{{1, 1, 1}, {2, 1, 1}}));
}

TEST_F(OutputLayout, IsTheSameInEveryRun) {
  const Bytes movie = usualMovie().build();
  const Conversion first = convert(movie);
  const Conversion second = convert(movie);
  ASSERT_EQ(first.program.status, 0);
  ASSERT_EQ(second.program.status, 0);
  EXPECT_TRUE(*first.output == *second.output);
}

TEST_F(OutputLayout, LeavesNothingOfALongerFileOfThatName) {
  const Bytes clean = converted(usualMovie());
  writeFile(output(), Bytes(200000, 0xA5));
  EXPECT_TRUE(converted(usualMovie()) == clean);
}

struct InputForm {
  const char* name;
  void (*apply)(MovieBuilder& movie);
};

const std::string kVideoTables = "moov/trak[1]/mdia/minf/stbl/";

class InputForms : public ConversionTest, public testing::WithParamInterface<InputForm> {};

TEST_P(InputForms, MakeNoDifferenceToTheOutput) {
  const Bytes expected = converted(usualMovie());
  MovieBuilder movie = usualMovie();
  GetParam().apply(movie);
  EXPECT_TRUE(converted(movie) == expected);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, InputForms,
    testing::Values(
        InputForm{"MovieBoxFirst", [](MovieBuilder& m) { m.moovFirst(); }},
        InputForm{"OpenEndedData",
                  [](MovieBuilder& m) { m.moovFirst().change("mdat", runningToEnd); }},
        InputForm{"LargeData", [](MovieBuilder& m) { m.change("mdat", largeForm); }},
        InputForm{"DataThatClaimsMore",
                  [](MovieBuilder& m) {
                    m.moovFirst().change("mdat", [](const Bytes& mdat) {
                      return claimingSize(static_cast<std::uint32_t>(mdat.size() + 1000), mdat);
                    });
                  }},
        InputForm{"LargeContainers",
                  [](MovieBuilder& m) {
                    m.change("moov", largeForm).change("moov/trak[1]/mdia/minf", largeForm);
                  }},
        InputForm{"UuidContainers",
                  [](MovieBuilder& m) {
                    m.change("moov", uuidForm).change("moov/trak[1]/mdia/minf/stbl", uuidForm);
                  }},
        InputForm{"UuidTables",
                  [](MovieBuilder& m) {
                    m.change(kVideoTables + "stts", uuidForm)
                        .change(kVideoTables + "stsz", uuidForm)
                        .change("moov/mvhd", uuidForm);
                  }},
        InputForm{"Version1Headers",
                  [](MovieBuilder& m) {
                    m.headerVersion = 1;
                    for (MovieTrack& track : m.tracks) track.headerVersion = 1;
                  }},
        InputForm{"WideOffsets",
                  [](MovieBuilder& m) {
                    for (MovieTrack& track : m.tracks) track.wideOffsets = true;
                  }},
        InputForm{"OtherChunks",
                  [](MovieBuilder& m) {
                    m.tracks[0].samplesPerChunk = {3, 1, 4};
                    m.tracks[1].samplesPerChunk = {7};
                    m.tracks[2].samplesPerChunk = {6};
                    m.interleaved = false;
                    m.chunkGap = Bytes(5, 0xEE);
                  }},
        InputForm{"BoxesBetween",
                  [](MovieBuilder& m) {
                    m.order = {"ftyp", "free", "wide", "mdat", "skip", "xmp", "moov", "free"};
                    m.extras = {{"free", box("free", zeros(20))},
                                {"skip", box("skip", zeros(9))},
                                {"xmp", uuidBox(kXmpUuid, text("<x:xmpmeta/>"))}};
                  }},
        InputForm{"UserData",
                  [](MovieBuilder& m) {
                    const Bytes userData = box("udta", box("name", text("abc")), u32(0));
                    m.addInside("moov", userData).addInside("moov/trak[1]", userData);
                  }},
        InputForm{"HandlerInTheMediaInformation",
                  [](MovieBuilder& m) {
                    m.addBehind(
                        "moov/trak[1]/mdia/minf/vmhd",
                        fullBox("hdlr", 0, 0, text("dhlralisappl"), zeros(8), text("DataHandler")));
                  }},
        InputForm{"BareDataEntry",
                  [](MovieBuilder& m) {
                    m.replace("moov/trak[2]/mdia/minf/dinf/dref", fullBox("url ", 0, 1));
                  }},
        InputForm{"AnEdtsWithoutEdits",
                  [](MovieBuilder& m) { m.addBehind("moov/trak[2]/tkhd", box("edts")); }},
        InputForm{"AFreeBoxAmongDescriptions",
                  [](MovieBuilder& m) {
                    m.replace("moov/trak[2]/mdia/minf/stbl/stsd",
                              fullBox("stsd", 0, 0, u32(1), box("free", zeros(4)), mp4aEntry()));
                  }},
        InputForm{"StrayBytesAtTheEnd",
                  [](MovieBuilder& m) {
                    m.tail = {1, 2, 3};
                  }},
        InputForm{"AnOverrunningLastChild",
                  [](MovieBuilder& m) {
                    m.addInside("moov", claimingSize(4000, box("udta", zeros(30))));
                    m.order = {"ftyp", "mdat", "moov", "free"};
                    m.extras = {{"free", box("free", zeros(8000))}};
                  }}),
    [](const auto& param) { return param.param.name; });

}  // namespace
}  // namespace quarrypack::test
