#include "src/conversion_pass.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "kav/error_code.h"
#include "src/caption_sei.h"
#include "tests/support/box_builders.h"
#include "tests/support/box_walk.h"
#include "tests/support/console.h"
#include "tests/support/expect_code.h"
#include "tests/support/media_samples.h"
#include "tests/support/movie_builder.h"

namespace quarrypack {
namespace {

using namespace test;
using norvik::kav::ErrorCode;

// The result of one conversion.
struct Outcome {
  std::optional<int> status;            // nothing after an exception
  ErrorCode code = ErrorCode::success;  // of the exception
  std::string out;
  std::string err;
  std::optional<Bytes> output;
};

std::size_t openDescriptors() {
  using Entries = std::filesystem::directory_iterator;
  return static_cast<std::size_t>(std::distance(Entries("/proc/self/fd"), Entries()));
}

class ConversionPassTest : public testing::Test {
 protected:
  ConversionPassTest() { nalLengthSize = 4; }
  ~ConversionPassTest() override { nalLengthSize = 4; }

  Outcome convert(const Bytes& movie) {
    writeFile(paths.inputPath, movie);
    Outcome outcome;
    const std::size_t descriptors = openDescriptors();
    {
      const CapturedConsole console;
      outcome.code = thrownCode([&] { outcome.status = runConversion("tool", paths); });
      outcome.out = console.out();
      outcome.err = console.err();
    }
    EXPECT_EQ(openDescriptors(), descriptors) << "a file was left open";
    EXPECT_EQ(readFile(paths.inputPath), movie) << "the input was changed";
    if (std::filesystem::exists(paths.outputPath)) outcome.output = readFile(paths.outputPath);
    return outcome;
  }
  Outcome convert(const MovieBuilder& movie) { return convert(movie.build()); }

  std::string progressLine() const {
    return "Converting clcp(v608) data in file " + paths.inputPath + " to file " +
           paths.outputPath + "...\n";
  }

  TemporaryFolder folder;
  ConversionPaths paths{(folder.path() / "clip.mov").string(),
                        (folder.path() / "clip.mp4").string()};
};

MovieBuilder smallMovie() { return MovieBuilder({videoTrack(), soundTrack(), captionTrack(3)}); }

TEST_F(ConversionPassTest, ConvertsAMovie) {
  const MovieBuilder movie = smallMovie();
  const Outcome outcome = convert(movie);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, progressLine());
  EXPECT_EQ(outcome.err, "");
  const BoxWalk walk(outcome.output.value());
  ASSERT_EQ(walk.tracks().size(), 2u);
  EXPECT_EQ(walk.track(1).samples.size(), movie.tracks[0].samples.size());
  EXPECT_EQ(walk.track(2).sampleBytes(), movie.tracks[1].sampleBytes());
}

TEST_F(ConversionPassTest, ReportsAMovieWithoutCaptionsUnderTheNameOfTheProgram) {
  const Outcome outcome = convert(MovieBuilder({videoTrack(), soundTrack()}));
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "tool failed! \n");
  EXPECT_EQ(outcome.err, "Error: No valid clcp data found in the file...\n");
  EXPECT_FALSE(outcome.output);
}

TEST_F(ConversionPassTest, LetsFailuresOut) {
  EXPECT_EQ(convert(Bytes()).code, ErrorCode::noMovie);
  MovieBuilder broken = smallMovie();
  broken.drop("moov/trak[1]/mdia/minf/stbl/stsz");
  const Outcome outcome = convert(broken);
  EXPECT_EQ(outcome.code, ErrorCode::childRuleBroken);
  EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST_F(ConversionPassTest, ReportsAMissingInputAndAnOutputThatCannotBeMade) {
  const CapturedConsole console;
  EXPECT_CODE(fileNotFound, runConversion("tool", {folder.path() / "none.mov", paths.outputPath}));
  writeFile(paths.inputPath, smallMovie().build());
  EXPECT_CODE(fileNotFound,
              runConversion("tool", {paths.inputPath, folder.path() / "none" / "clip.mp4"}));
  EXPECT_CODE(accessDenied, runConversion("tool", {paths.inputPath, paths.inputPath}));
}

TEST_F(ConversionPassTest, TakesTheLengthOfNalLengthsFromTheFirstVideoTrack) {
  EXPECT_EQ(convert(MovieBuilder({captionTrack(1), videoTrack({.nalLengthSize = 2}),
                                  videoTrack({.nalLengthSize = 1})}))
                .status,
            0);
  EXPECT_EQ(nalLengthSize, 2u);
}

TEST_F(ConversionPassTest, KeepsTheLengthOfNalLengthsOfAVideoWithoutConfiguration) {
  nalLengthSize = 3;
  MovieBuilder movie = smallMovie();
  movie.tracks[0].entries = {videoEntry("avc1", box("xxxx", zeros(20)))};
  convert(movie);
  EXPECT_EQ(nalLengthSize, 3u);
}

TEST_F(ConversionPassTest, GivesASampleWithoutDescriptionTheFirstOfItsTrack) {
  MovieBuilder movie = smallMovie();
  for (std::size_t i = 3; i < 20; ++i) movie.tracks[1].samples[i].description = 7;
  const Outcome outcome = convert(movie);
  EXPECT_EQ(outcome.status, 0);
  const BoxWalk walk(outcome.output.value());
  const auto& samples = walk.track(2).samples;
  ASSERT_EQ(samples.size(), 4u);  // the track ends with it
  EXPECT_EQ(samples[3].descriptionIndex, 1u);
}

TEST_F(ConversionPassTest, FailsWhereASampleLiesPastTheEndOfTheFile) {
  MovieBuilder movie = smallMovie();
  movie.moovFirst();
  Bytes file = movie.build();
  file.pop_back();
  const Outcome outcome = convert(file);
  EXPECT_EQ(outcome.code, ErrorCode::shortRead);
  EXPECT_EQ(outcome.out, progressLine());
  EXPECT_TRUE(outcome.output);  // as far as it was written
}

// A movie whose sound has this number of samples of 100000 bytes, all of them the same bytes.
MovieBuilder movieOfOverlaps(std::uint32_t count) {
  MovieBuilder movie = smallMovie();
  movie.tracks[1].samples.resize(count);
  movie.replace("moov/trak[2]/mdia/minf/stbl/stsz",
                fullBox("stsz", 0, 0, u32(100'000), u32(count)));
  movie.replace("moov/trak[2]/mdia/minf/stbl/stco",
                fullBox("stco", 0, 0, u32(count), u32List(std::vector<std::uint32_t>(count, 8))));
  movie.extras["room"] = box("free", zeros(100'000));
  movie.order = {"ftyp", "room", "mdat", "moov"};
  return movie;
}

TEST_F(ConversionPassTest, TakesSamplesThatComeToManyTimesTheFile) {
  const Outcome outcome = convert(movieOfOverlaps(90));
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(BoxWalk(outcome.output.value()).track(2).samples.size(), 90u);
}

// Overlapping samples could make a small file fill a disk.
TEST_F(ConversionPassTest, FailsWhenTheSamplesComeToFarMoreThanTheFile) {
  EXPECT_EQ(convert(movieOfOverlaps(200)).code, ErrorCode::implausibleCount);
}

TEST_F(ConversionPassTest, SaysSoForEveryDroppedCaption) {
  const Outcome outcome = convert(MovieBuilder({videoTrack(), captionTrack(2), captionTrack(1)}));
  const std::string dropped =
      "assert in file ..\\..\\src\\main.cpp, line 397\nError: Bad clcp Sample. \n";
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, progressLine() + dropped + dropped);
}

TEST_F(ConversionPassTest, ConvertsCaptionsThatAreEmptyOrFarAhead) {
  MovieBuilder movie = smallMovie();
  movie.tracks[2] = captionTrack({.samples = {{}, cdat(captionPairs(2)), {}}, .duration = 900000});
  const Outcome outcome = convert(movie);
  EXPECT_EQ(outcome.status, 0);
  // The sample without bytes is due at 0 and gives a unit without pairs; the others come too late.
  const BoxWalk walk(outcome.output.value());
  EXPECT_GT(walk.track(1).samples[0].size, movie.tracks[0].samples[0].bytes.size());
  for (std::size_t i = 1; i < walk.track(1).samples.size(); ++i) {
    EXPECT_EQ(walk.track(1).samples[i].bytes, movie.tracks[0].samples[i].bytes);
  }
}

}  // namespace
}  // namespace quarrypack
