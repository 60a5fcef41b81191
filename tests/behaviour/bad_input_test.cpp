// Files that are not movies, broken movies, and paths that are not files: the right text and
// status, no crash, no hang, and an unchanged input.

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/behaviour/conversion_run.h"
#include "tests/support/box_builders.h"
#include "tests/support/media_samples.h"

namespace quarrypack::test {
namespace {

namespace fs = std::filesystem;

MovieBuilder usualMovie() {
  MovieBuilder movie({videoTrack({.count = 4}), soundTrack({.count = 4}), captionTrack(2)});
  movie.tracks[1].edits = {{600, 0}};
  return movie;
}

class BadInput : public ConversionTest {
 protected:
  ProgramResult run(const std::string& path) {
    ProgramOptions options;
    options.timeout = std::chrono::seconds(20);
    return runProgram({"--input-file", path, "--output-file", output().string()}, options);
  }

  // A failure before the conversion was announced.
  void expectFailure(const ProgramResult& result) {
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, kExceptionLines);
  }
};

TEST_F(BadInput, MayBeMissing) {
  const ProgramResult result = run((folder() / "none.mov").string());
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "Error while processing configuration. ErrorCode 10008:File not found\n");
  EXPECT_FALSE(fs::exists(output()));
}

TEST_F(BadInput, MayBeAFolder) {
  fs::create_directory(folder() / "folder.mov");
  expectFailure(run((folder() / "folder.mov").string()));
  EXPECT_TRUE(fs::is_directory(folder() / "folder.mov"));
}

TEST_F(BadInput, MayBeAPipeWithoutAWriter) {
  const fs::path pipe = folder() / "pipe.mov";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  expectFailure(run(pipe.string()));
  EXPECT_TRUE(fs::is_fifo(pipe));
}

TEST_F(BadInput, MayForbidReading) {
  if (::geteuid() == 0) GTEST_SKIP() << "nothing is forbidden to this user";
  writeFile(input(), usualMovie().build());
  fs::permissions(input(), fs::perms::none);
  expectFailure(run(input().string()));
}

TEST_F(BadInput, MayFailEveryRead) { expectFailure(run("/proc/self/mem")); }

TEST_F(BadInput, MayBeADevice) {
  expectFailure(run("/dev/null"));
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

struct BadFile {
  const char* name;
  Bytes file;
};

class BadFiles : public BadInput, public testing::WithParamInterface<BadFile> {};

TEST_P(BadFiles, AreNoMovies) { expectFailure(convert(GetParam().file).program); }

Bytes nested(const char* type, std::size_t depth) {
  Bytes file;
  for (std::size_t i = 0; i < depth; ++i) append(file, concat({u32(8 * (depth - i)), text(type)}));
  return file;
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, BadFiles,
    testing::Values(
        BadFile{"NoBytes", {}}, BadFile{"OneByte", {0}},
        BadFile{"Text", text("This is not a movie but a plain text file.\n")},
        BadFile{"Zeros", zeros(1000)}, BadFile{"Ones", Bytes(1000, 0xFF)},
        BadFile{"NoMovieBox", concat({box("ftyp", text("qt  "), u32(0)), box("mdat", zeros(9))})},
        BadFile{"AnEmptyMovieBox", box("moov")},
        BadFile{"SizeBelowTheHeader", concat({claimingSize(7, box("free")), zeros(100)})},
        BadFile{"LargeSizeOfZero", concat({claimingLargeSize(0, box("free")), zeros(100)})},
        BadFile{"LargeSizeOfAllOnes",
                concat({claimingLargeSize(UINT64_MAX, box("free")), zeros(100)})},
        BadFile{"LargeSizeThatWraps",
                concat({box("wide"), claimingLargeSize(UINT64_MAX - 7, box("mdat")), zeros(100)})},
        BadFile{"BoxPastTheEnd", claimingSize(5000, box("free", zeros(100)))},
        BadFile{"DeepTracks", nested("trak", 100000)},
        BadFile{"DeepMovies", nested("moov", 100000)},
        BadFile{"DeepFragments",
                concat({usualMovie().drop("moov").build(), nested("moof", 50000)})}),
    [](const auto& param) { return param.param.name; });

const std::string kTables = "moov/trak[2]/mdia/minf/stbl/";

struct BrokenTable {
  const char* name;
  const char* path;  // below the tables of the sound track when it has no slash
  Bytes replacement;
};

std::string pathOf(const BrokenTable& table) {
  const std::string path = table.path;
  return path.find('/') == std::string::npos ? kTables + path : path;
}

class TablesBrokenAtOpening : public BadInput, public testing::WithParamInterface<BrokenTable> {};

TEST_P(TablesBrokenAtOpening, FailBeforeTheConversionBegins) {
  expectFailure(convert(usualMovie().replace(pathOf(GetParam()), GetParam().replacement)).program);
}

Bytes counted(const char* type, std::uint32_t count, const Bytes& entries = {}) {
  return fullBox(type, 0, 0, u32(count), entries);
}

constexpr std::uint32_t kTooMany = 100000001;

INSTANTIATE_TEST_SUITE_P(
    Kinds, TablesBrokenAtOpening,
    testing::Values(
        BrokenTable{"TimesShort", "stts", counted("stts", 99)},
        BrokenTable{"TimesImplausible", "stts", counted("stts", kTooMany)},
        BrokenTable{"TimesMissing", "stts", {}},
        BrokenTable{"SizesShort", "stsz", fullBox("stsz", 0, 0, u32(0), u32(99))},
        BrokenTable{"SizesImplausible", "stsz", fullBox("stsz", 0, 0, u32(7), u32(kTooMany))},
        BrokenTable{"SizesEmpty", "stsz", fullBox("stsz", 0, 0)},
        BrokenTable{"SizesWithoutVersion", "stsz", box("stsz")},
        BrokenTable{"CompactSizes", "stsz", fullBox("stz2", 0, 0, u32(8), u32(0))},
        BrokenTable{"ChunksStartAtTwo", "stsc", counted("stsc", 1, u32List({2, 1, 1}))},
        BrokenTable{"ChunksGoBackwards", "stsc",
                    counted("stsc", 3, u32List({1, 1, 1, 3, 1, 1, 2, 1, 1}))},
        BrokenTable{"ChunksMissing", "stsc", {}},
        BrokenTable{"OffsetsShort", "stco", counted("stco", 4, zeros(15))},
        BrokenTable{"OffsetsImplausible", "stco", counted("stco", kTooMany)},
        BrokenTable{"OffsetsTwice", "stco", concat({counted("stco", 0), counted("co64", 0)})},
        BrokenTable{"OffsetsMissing", "stco", {}},
        BrokenTable{"SyncImplausible", "moov/trak[1]/mdia/minf/stbl/stss",
                    counted("stss", kTooMany)},
        BrokenTable{"CompositionOverflows", "moov/trak[1]/mdia/minf/stbl/stss",
                    counted("ctts", 2, u32List({0xFFFFFFF0, 0, 0x20, 0}))},
        BrokenTable{"DescriptionsMissing", "stsd", {}},
        BrokenTable{"DescriptionsImplausible", "stsd", counted("stsd", kTooMany)},
        BrokenTable{"ConfigurationPastTheEnd", "moov/trak[1]/mdia/minf/stbl/stsd",
                    counted("stsd", 1, videoEntry("avc1", claimingSize(200, avcConfiguration())))},
        BrokenTable{
            "ConfigurationWithoutItsSets", "moov/trak[1]/mdia/minf/stbl/stsd",
            counted("stsd", 1,
                    videoEntry("avc1", box("avcC", Bytes{1, 66, 0, 10, 0xFF, 0xE1, 0xFF, 0xFF})))},
        BrokenTable{"EditsImplausible", "moov/trak[2]/edts/elst", counted("elst", kTooMany)},
        BrokenTable{"MediaHeaderMissing", "moov/trak[2]/mdia/mdhd", {}},
        BrokenTable{"MediaHeaderOfVersion2", "moov/trak[2]/mdia/mdhd",
                    fullBox("mdhd", 2, 0, zeros(32))},
        BrokenTable{"MediaHeaderShort", "moov/trak[2]/mdia/mdhd", fullBox("mdhd", 0, 0, zeros(19))},
        BrokenTable{"TrackTimescaleOfZero", "moov/trak[2]/mdia/mdhd",
                    fullBox("mdhd", 0, 0, zeros(20))},
        BrokenTable{"MovieHeaderMissing", "moov/mvhd", {}},
        BrokenTable{"MovieHeaderShort", "moov/mvhd", fullBox("mvhd", 0, 0, zeros(95))},
        BrokenTable{"MovieTimescaleOfZero", "moov/mvhd", fullBox("mvhd", 0, 0, zeros(96))},
        BrokenTable{"HandlerShort", "moov/trak[2]/mdia/hdlr", fullBox("hdlr", 0, 0, zeros(19))},
        BrokenTable{"MediaMissing", "moov/trak[2]/mdia", {}},
        BrokenTable{"TablesMissing", "moov/trak[2]/mdia/minf/stbl", {}},
        BrokenTable{"DataInformationMissing", "moov/trak[2]/mdia/minf/dinf", {}}),
    [](const auto& param) { return param.param.name; });

// A sample that really exists and is larger than the memory.
TEST_F(BadInput, MayBeTooLargeForTheMemory) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer takes more address space than the limit of this test leaves";
#endif
  constexpr std::uint32_t kLarge = 400u << 20;
  MovieBuilder movie = usualMovie();
  movie.tracks[1].samples.resize(1);
  movie.replace(kTables + "stsz", fullBox("stsz", 0, 0, u32(kLarge), u32(1)));
  writeFile(input(), movie.build());
  fs::resize_file(input(), fs::file_size(input()) + kLarge);
  ProgramOptions options;
  options.program = "/bin/sh";
  const ProgramResult result =
      runProgram({"-c", "ulimit -v 262144 && exec \"$0\" \"$@\"", builtProgram().string(),
                  "--input-file", input().string(), "--output-file", output().string()},
                 options);
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, progressLine());
  EXPECT_EQ(result.err, "Caught an error : There is not enough memory\n");
}

// 200 edits show the same 100000 bytes: far more than the file's limit.
TEST_F(BadInput, MayBeSmallAndAskForADiskFull) {
  MovieBuilder movie = usualMovie();
  movie.tracks[1].samples[0].bytes.resize(100'000, 0x55);
  movie.tracks[1].edits = std::vector<MovieEdit>(200, MovieEdit{600, 0});
  const ProgramResult result = convert(movie).program;
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, kExceptionLines);
  EXPECT_LT(fs::file_size(output()), 16u << 20);
}

class TablesBrokenLater : public BadInput, public testing::WithParamInterface<BrokenTable> {};

TEST_P(TablesBrokenLater, FailWhereTheSampleIsRead) {
  const ProgramResult result =
      convert(usualMovie().replace(pathOf(GetParam()), GetParam().replacement)).program;
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, progressLine());
  EXPECT_EQ(result.err, kExceptionLines);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, TablesBrokenLater,
    testing::Values(
        BrokenTable{"NoSamplesInAChunk", "stsc", counted("stsc", 1, u32List({1, 0, 1}))},
        BrokenTable{"NoChunkRun", "stsc", counted("stsc", 0)},
        BrokenTable{"SamplePastTheEnd", "stco",
                    counted("stco", 4, u32List({0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF}))},
        BrokenTable{"SampleOfFourGigabytes", "stsz",
                    fullBox("stsz", 0, 0, u32(0), u32(4), u32List({0xFFFFFFFF, 1, 1, 1}))}),
    [](const auto& param) { return param.param.name; });

TEST_F(BadInput, MayEndAnywhereBeforeTheEndOfItsMovieBox) {
  const Bytes movie = usualMovie().build();
  for (std::size_t length = 0; length < movie.size(); length += 13) {
    SCOPED_TRACE(length);
    const auto end = movie.begin() + static_cast<std::ptrdiff_t>(length);
    expectFailure(convert(Bytes(movie.begin(), end)).program);
    if (HasFailure()) return;
  }
}

TEST_F(BadInput, MayEndInsideItsSamples) {
  const Bytes movie = usualMovie().moovFirst().build();
  const std::size_t sampleBytes = 300;
  ASSERT_GT(movie.size(), sampleBytes + 8);
  for (std::size_t cut = 1; cut < sampleBytes; cut += 13) {
    SCOPED_TRACE(cut);
    const auto end = movie.end() - static_cast<std::ptrdiff_t>(cut);
    const ProgramResult result = convert(Bytes(movie.begin(), end)).program;
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, progressLine());
    EXPECT_EQ(result.err, kExceptionLines);
    if (HasFailure()) return;
  }
}

TEST_F(BadInput, MayHaveAnyByteChanged) {
  // The meaning of such a file is undefined, but the program must end by itself.
  const Bytes movie = usualMovie().moovFirst().build();
  for (std::size_t i = 0; i < movie.size(); i += 11) {
    SCOPED_TRACE(i);
    for (const std::uint8_t value : {std::uint8_t{0x00}, std::uint8_t{0xFF}}) {
      const ProgramResult result = convert(patched(movie, i, {value})).program;
      EXPECT_TRUE(result.status == 0 || result.status == 1) << result.status << result.err;
    }
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace quarrypack::test
