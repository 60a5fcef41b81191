#include "src/input_movie.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "tests/support/bytes.h"
#include "tests/support/expect_code.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

namespace quarrypack {
namespace {

using namespace test;

class InputMovieTest : public testing::Test {
 protected:
  const Bytes file = MovieBuilder({videoTrack(), soundTrack(), captionTrack(3)}).build();
  const MemoryStreamPtr stream = MemoryStream::create(file);
  InputMovie movie{*stream};
};

TEST_F(InputMovieTest, TellsItsTracks) {
  const std::vector<InputTrack> tracks = movie.readTracks();
  ASSERT_EQ(tracks.size(), movie.info().trackCount);
  ASSERT_EQ(tracks.size(), 3u);
  EXPECT_EQ(tracks[0].handlerType, 0x76696465u);
  EXPECT_EQ(tracks[2].handlerType, 0x636c6370u);
  for (const InputTrack& track : tracks) {
    EXPECT_EQ(track.name.find('\0'), std::string::npos) << "its closing zero was taken off";
  }
}

TEST_F(InputMovieTest, HandsOutDescriptionsFrom1On) {
  ASSERT_EQ(movie.descriptionCount(0), 1u);
  const InputDescription description = movie.description(0, 1);
  EXPECT_NE(description.handle, nullptr);
  EXPECT_FALSE(description.header.empty());
  EXPECT_EQ(description.header.size(), movie.descriptionLength(0, 1));
  EXPECT_CODE(missingArgument, movie.description(0, 0));
  EXPECT_CODE(missingArgument, movie.description(0, 2));
  EXPECT_CODE(missingArgument, movie.descriptionCount(3));
}

TEST_F(InputMovieTest, WalksAsManySamplesAsItCounts) {
  std::uint64_t counted = 0;
  for (const auto& totals : movie.countSamples(3)) counted += totals.sampleCount;
  SampleWalk samples = movie.samples();
  InputSample sample;
  std::uint64_t walked = 0;
  bool wasAtLast = false;
  while (samples.next(sample)) {
    EXPECT_FALSE(wasAtLast);
    wasAtLast = samples.isAtLast();
    Bytes bytes(sample.info.size);
    movie.readAt(sample.location.fileOffset, bytes);
    EXPECT_EQ(bytes, Bytes(file.begin() + static_cast<std::ptrdiff_t>(sample.location.fileOffset),
                           file.begin() + static_cast<std::ptrdiff_t>(sample.location.fileOffset +
                                                                      sample.info.size)));
    ++walked;
  }
  EXPECT_TRUE(wasAtLast);
  EXPECT_GT(walked, 0u);
  EXPECT_EQ(walked, counted);
}

TEST(InputMovie, TellsByWhatATrackComesLaterThanItsEditListSays) {
  MovieBuilder builder({captionTrack(3), videoTrack({.count = 4, .betweenAnchors = 1})});
  builder.tracks[1].edits = {{80, 1001}};
  const MemoryStreamPtr stream = MemoryStream::create(builder.build());
  const InputMovie movie(*stream);
  EXPECT_EQ(movie.editShift(0), 0u);
  EXPECT_EQ(movie.editShift(1), 1001u);
  EXPECT_CODE(missingArgument, movie.editShift(2));
}

TEST_F(InputMovieTest, LimitsTheCostOfItsSamples) {
  EXPECT_EQ(movie.costLimit(), 16 * file.size() + (8u << 20));
}

TEST_F(InputMovieTest, NeedsItsBytesInTheFile) {
  InputSample sample;
  sample.location.fileOffset = file.size() - 2;
  sample.info.size = 2;
  EXPECT_CODE(success, movie.requireBytes(sample));
  sample.info.size = 3;
  EXPECT_CODE(shortRead, movie.requireBytes(sample));
  sample.location.fileOffset = ~std::uint64_t{0};
  EXPECT_CODE(shortRead, movie.requireBytes(sample));
  sample.info.size = 0;
  EXPECT_CODE(success, movie.requireBytes(sample)) << "nothing is nowhere";

  Bytes two(2);
  EXPECT_CODE(shortRead, movie.readAt(file.size() - 1, two));
  EXPECT_CODE(shortRead, movie.peekAt(file.size() - 1, two));
  EXPECT_CODE(success, movie.readAt(file.size() + 9, {}));
  EXPECT_CODE(success, movie.peekAt(file.size() + 9, {}));
}

TEST(InputMovie, RefusesWhatIsNoMovie) {
  const MemoryStreamPtr stream = MemoryStream::create();
  EXPECT_CODE(noMovie, InputMovie(*stream));
}

}  // namespace
}  // namespace quarrypack
