#include "tests/support/box_walk.h"

#include <gtest/gtest.h>

#include "tests/support/box_builders.h"
#include "tests/support/movie_builder.h"

namespace quarrypack::test {
namespace {

TEST(BoxWalk, FindsBoxesByPathAndNumber) {
  const BoxWalk walk(concat({box("ftyp", text("qt  ")), box("mfra", fullBox("tfra", 0, 0),
                                                            fullBox("tfra", 0, 1), box("mfro"))}));
  EXPECT_EQ(walk.topLevelTypes(), (std::vector<std::string>{"ftyp", "mfra"}));
  EXPECT_EQ(walk.payload("ftyp"), text("qt  "));
  EXPECT_EQ(walk.payload("mfra/tfra"), (Bytes{0, 0, 0, 0}));
  EXPECT_EQ(walk.payload("mfra/tfra[2]"), (Bytes{0, 0, 0, 1}));
  EXPECT_EQ(walk.at("mfra/mfro").start, 44u);
  EXPECT_EQ(walk.find("mfra/tfra[3]"), nullptr);
  EXPECT_EQ(walk.find("moov/trak"), nullptr);
  EXPECT_THROW(walk.at("moov"), MalformedFile);
}

TEST(BoxWalk, ReadsLargeOpenEndedAndUuidHeaders) {
  const BoxWalk walk(concat(
      {largeForm(box("free", u8(1))), uuidBox(kXmpUuid, u8(2)), runningToEnd(box("mdat", u8(3)))}));
  EXPECT_EQ(walk.payload("free"), Bytes{1});
  EXPECT_EQ(walk.payload("uuid"), Bytes{2});
  EXPECT_EQ(walk.payload("mdat"), Bytes{3});
}

struct BrokenFile {
  const char* name;
  Bytes file;
};

class BrokenFiles : public testing::TestWithParam<BrokenFile> {};

TEST_P(BrokenFiles, AreNotForgiven) { EXPECT_THROW(BoxWalk{GetParam().file}, MalformedFile); }

Bytes soundMovieWith(const std::string& path, const MovieBuilder::Change& change) {
  MovieBuilder movie({soundTrack({.count = 3})});
  movie.tracks[0].dependencyTable = true;
  movie.tracks[0].syncTable = true;
  movie.tracks[0].samples[0].sync = true;
  return movie.change(path, change).build();
}

Bytes withTable(const std::string& type, const Bytes& payload) {
  return soundMovieWith("moov/trak[1]/mdia/minf/stbl/" + type,
                        [&](const Bytes&) { return fullBox(type, 0, 0, payload); });
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, BrokenFiles,
    testing::Values(
        BrokenFile{"StrayBytesAtTheEnd", concat({box("free"), zeros(3)})},
        BrokenFile{"SizeBelowTheHeader", claimingSize(7, box("free"))},
        BrokenFile{"SizePastTheEnd", claimingSize(9, box("free"))},
        BrokenFile{"LargeSizeBelowTheHeader", claimingLargeSize(15, box("free"))},
        BrokenFile{"ChildPastItsParent", box("moov", claimingSize(9, box("trak")))},
        BrokenFile{"OpenEndedChild", box("moov", runningToEnd(box("trak")))},
        BrokenFile{"StrayBytesInAContainer", box("moov", zeros(4))},
        BrokenFile{"UnusedRoomInATable",
                   withTable("stts", concat({u32(1), u32(3), u32(1024), zeros(8)}))},
        BrokenFile{"TooFewTimes", withTable("stts", concat({u32(1), u32(2), u32(1024)}))},
        BrokenFile{
            "TooManyCompositionOffsets",
            soundMovieWith("moov/trak[1]/mdia/minf/stbl/stts",
                           [](const Bytes& stts) {
                             return concat({stts, fullBox("ctts", 0, 0, u32(1), u32(4), u32(1))});
                           })},
        BrokenFile{"TooFewSamplesInChunks",
                   withTable("stco", concat({u32(2), u32List({100, 200})}))},
        BrokenFile{"TooManySamplesInChunks",
                   withTable("stsc", concat({u32(1), u32List({1, 2, 1})}))},
        BrokenFile{"SamplesOutsideTheMediaData",
                   withTable("stco", concat({u32(3), u32List({0, 40, 80})}))},
        BrokenFile{"SyncNumberOutOfRange", withTable("stss", concat({u32(1), u32(4)}))},
        BrokenFile{"SyncNumbersOutOfOrder", withTable("stss", concat({u32(2), u32List({2, 1})}))},
        BrokenFile{"TooFewDependencies", withTable("sdtp", zeros(2))},
        BrokenFile{"TooManyDependencies", withTable("sdtp", zeros(4))},
        BrokenFile{"FalseEntryCount", withTable("stsd", concat({u32(2), box("mp4a")}))},
        BrokenFile{"NoMediaHeader",
                   soundMovieWith("moov/trak[1]/mdia/mdhd", [](const Bytes&) { return Bytes(); })},
        BrokenFile{"TwoMediaHeaders", soundMovieWith("moov/trak[1]/mdia/mdhd",
                                                     [](const Bytes& mdhd) {
                                                       return concat({mdhd, mdhd});
                                                     })},
        BrokenFile{
            "UnknownVersion",
            soundMovieWith("moov/mvhd", [](const Bytes& mvhd) { return withVersion(2, mvhd); })},
        BrokenFile{"SlackInTheEditList",
                   soundMovieWith("moov/trak[1]/tkhd",
                                  [](const Bytes& tkhd) {
                                    return concat({tkhd, box("edts", fullBox("elst", 0, 0, u32(0),
                                                                             zeros(12)))});
                                  })}),
    [](const auto& param) { return param.param.name; });

}  // namespace
}  // namespace quarrypack::test
