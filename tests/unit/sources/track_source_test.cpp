#include "sources/track_source.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "kav/exception.h"
#include "tests/support/box_builders.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

namespace quarrypack::sources {
namespace {

using captions::BytePair;
using captions::Field;
using captions::FieldPairs;
using captions::kPairTime;
using captions::Time;
using test::Bytes;
using test::captionTrack;
using test::cdat;
using test::cdt2;
using test::concat;
using test::MemoryStream;
using test::MovieBuilder;
using test::MovieTrack;
using test::videoTrack;

constexpr Time kFrame = kPairTime;

CaptionPairs read(const MovieBuilder& movie) {
  FilmFile film(MemoryStream::create(movie.build()));
  return readTrackPairs(film);
}

// Samples of 1001/30000 s times their numbers of frames.
MovieTrack track(const std::vector<std::pair<Bytes, std::uint32_t>>& samples) {
  MovieTrack result = captionTrack({.samples = {}, .timescale = 30000});
  for (const auto& [bytes, frames] : samples) {
    test::MovieSample sample;
    sample.bytes = bytes;
    sample.duration = frames * 1001;
    sample.sync = true;
    result.samples.push_back(sample);
  }
  return result;
}

const Bytes kLoad = {0x94, 0x20};
const Bytes kShow = {0x94, 0x2F};
const Bytes kErase = {0x94, 0x2C};

FieldPairs field(const std::vector<std::pair<Time, Bytes>>& pairs) {
  FieldPairs result;
  for (const auto& [time, bytes] : pairs) result.push_back({time, {bytes[0], bytes[1]}});
  return result;
}

TEST(TrackSource, GivesThePairsOfBothFieldsAtTheTimesOfTheirSamples) {
  CaptionPairs pairs = read(MovieBuilder(
      {videoTrack(), track({{cdat(kLoad), 1}, {concat({cdat(kShow), cdt2({0x15, 0x2C})}), 1}})}));
  EXPECT_EQ(pairs.source, "track");
  EXPECT_EQ(pairs.of(Field::one), field({{Time{0}, kLoad}, {kFrame, kShow}}));
  EXPECT_EQ(pairs.of(Field::two), field({{kFrame, {0x15, 0x2C}}}));
  EXPECT_TRUE(pairs.findings.empty());
}

TEST(TrackSource, SpreadsThePairsOfALongSampleOverItsFrames) {
  const Bytes three = concat({kLoad, kErase, kShow});
  CaptionPairs pairs = read(MovieBuilder({track({{cdat(three), 30}})}));
  EXPECT_EQ(pairs.of(Field::one), field({{Time{0}, kLoad}, {kFrame, kErase}, {2 * kFrame, kShow}}));
}

TEST(TrackSource, PutsTheEndOfCaptionOfAShortSampleAtItsStart) {
  const Bytes three = concat({kLoad, kErase, kShow});
  CaptionPairs pairs =
      read(MovieBuilder({track({{cdat({0x80, 0x80}), 10}, {cdat(three), 1}, {cdat(kErase), 1}})}));
  EXPECT_EQ(pairs.of(Field::one), field({{Time{0}, {0x80, 0x80}},
                                         {8 * kFrame, kLoad},
                                         {9 * kFrame, kErase},
                                         {10 * kFrame, kShow},
                                         {11 * kFrame, kErase}}));
}

TEST(TrackSource, AppliesTheEditList) {
  MovieBuilder movie({track({{cdat(kLoad), 30}, {cdat(kShow), 30}})});
  movie.timescale = 30000;
  movie.tracks[0].edits = {{60 * 1001, test::kEmptyEdit}, {60 * 1001, 0}};
  EXPECT_EQ(read(movie).of(Field::one), field({{60 * kFrame, kLoad}, {90 * kFrame, kShow}}));
}

TEST(TrackSource, ShowsSamplesAgainForEachEditInTheOrderOfTheMovie) {
  MovieBuilder movie({track({{cdat(kShow), 30}, {cdat(kErase), 30}})});
  movie.timescale = 30000;
  movie.tracks[0].edits = {{60 * 1001, 0}, {60 * 1001, 0}};
  EXPECT_EQ(
      read(movie).of(Field::one),
      field(
          {{Time{0}, kShow}, {30 * kFrame, kErase}, {60 * kFrame, kShow}, {90 * kFrame, kErase}}));
}

TEST(TrackSource, ALastSampleWithoutLengthIsAsLongAsItsPairsNeed) {
  const Bytes three = concat({kLoad, kErase, kShow});
  CaptionPairs pairs = read(MovieBuilder({track({{cdat({0x80, 0x80}), 1}, {cdat(three), 0}})}));
  EXPECT_EQ(
      pairs.of(Field::one),
      field({{Time{0}, {0x80, 0x80}}, {kFrame, kLoad}, {2 * kFrame, kErase}, {3 * kFrame, kShow}}));
}

TEST(TrackSource, ALastSampleLastsAsItsTableSays) {
  const Bytes three = concat({kLoad, kErase, kShow});
  CaptionPairs pairs = read(MovieBuilder({track({{cdat({0x80, 0x80}), 10}, {cdat(three), 1}})}));
  EXPECT_EQ(pairs.of(Field::one), field({{Time{0}, {0x80, 0x80}},
                                         {8 * kFrame, kLoad},
                                         {9 * kFrame, kErase},
                                         {10 * kFrame, kShow}}));
}

TEST(TrackSource, KeepsWhatIsOnTheScreenWhenTheMovieBegins) {
  MovieBuilder movie({track({{cdat(kLoad), 1},
                             {cdat({0xC1, 0x80}), 1},
                             {cdat(kShow), 1},
                             {cdat(kErase), 7},
                             {cdat(kLoad), 1},
                             {cdat({0xC1, 0x80}), 1},
                             {cdat(kShow), 30},
                             {cdat(kErase), 30}})});
  movie.timescale = 30000;
  movie.tracks[0].edits = {{60 * 1001, 20 * 1001}};
  EXPECT_EQ(read(movie).of(Field::one), field({{-10 * kFrame, kLoad},
                                               {-9 * kFrame, {0xC1, 0x80}},
                                               {-8 * kFrame, kShow},
                                               {22 * kFrame, kErase}}));
}

TEST(TrackSource, ReadsFragments) {
  MovieBuilder movie({videoTrack(), track({{cdat(kLoad), 30}, {cdat(kShow), 30}})});
  movie.splitIntoFragments({1, 1});
  EXPECT_EQ(read(movie).of(Field::one), field({{Time{0}, kLoad}, {30 * kFrame, kShow}}));
}

TEST(TrackSource, TakesEachFieldFromTheFirstEnabledTrackThatHasIt) {
  MovieBuilder movie({track({{cdat(kErase), 1}}), track({{cdat(kLoad), 1}}),
                      track({{concat({cdat(kShow), cdt2({0x15, 0x2C})}), 1}})});
  movie.tracks[0].flags = 0xE;
  CaptionPairs pairs = read(movie);
  EXPECT_EQ(pairs.of(Field::one), field({{Time{0}, kLoad}}));
  EXPECT_EQ(pairs.of(Field::two), field({{Time{0}, {0x15, 0x2C}}}));
  ASSERT_EQ(pairs.findings.size(), 2u);
  EXPECT_EQ(pairs.findings[0], "track 3 has captions of field 1 too, which are left out");
  EXPECT_EQ(pairs.findings[1], "track 1 has captions of field 1 too, which are left out");
}

TEST(TrackSource, LeavesOutTheLastByteOfAnOddAtomAndOtherAtoms) {
  CaptionPairs pairs = read(MovieBuilder(
      {track({{concat({cdat({0x94, 0x20, 0x94}), test::box("ccdp", Bytes{1, 2, 3, 4})}), 9}})}));
  EXPECT_EQ(pairs.of(Field::one), field({{Time{0}, kLoad}}));
  ASSERT_EQ(pairs.findings.size(), 2u);
  EXPECT_NE(pairs.findings[0].find("1 atom has an odd number of bytes"), std::string::npos);
  EXPECT_NE(pairs.findings[1].find("1 atom is for neither field"), std::string::npos);
}

TEST(TrackSource, LastsAsLongAsTheMovie) {
  CaptionPairs pairs =
      read(MovieBuilder({videoTrack({.count = 300, .duration = 3000}), track({{cdat(kShow), 1}})}));
  EXPECT_EQ(pairs.end, std::chrono::seconds(30));
}

TEST(TrackSource, FailsForASampleThatIsNotInTheFile) {
  MovieBuilder movie({track({{cdat(kLoad), 1}})});
  Bytes bytes = movie.moovFirst().build();
  bytes.pop_back();
  FilmFile film(MemoryStream::create(bytes));
  EXPECT_THROW(readTrackPairs(film), norvik::kav::Exception);
}

TEST(TrackSource, FindsCaptionTracks) {
  EXPECT_TRUE(hasCaptionTrack(
      FilmFile(MemoryStream::create(MovieBuilder({videoTrack(), captionTrack(1)}).build()))));
  EXPECT_FALSE(
      hasCaptionTrack(FilmFile(MemoryStream::create(MovieBuilder({videoTrack()}).build()))));
}

TEST(TrackSource, FailsForASampleOfMoreThan64Mebibytes) {
  const auto errorOf = [](std::uint32_t size) {
    MovieBuilder movie({track({{cdat(kLoad), 1}})});
    movie.replace("moov/trak[1]/mdia/minf/stbl/stsz",
                  test::fullBox("stsz", 0, 0, test::u32(size), test::u32(1)));
    // A file that is large enough to make the size credible.
    movie.tail = test::box("free", Bytes(std::size_t{9} << 20));
    try {
      read(movie);
    } catch (const SourceError& error) {
      return std::string(error.what());
    } catch (const norvik::kav::Exception&) {
      return std::string("it is not in the file");
    }
    return std::string("none");
  };
  EXPECT_EQ(errorOf((64u << 20) + 1), "a sample of captions has more than 64 MiB");
  EXPECT_EQ(errorOf(64u << 20), "it is not in the file");
}

TEST(TrackSource, NamesTheFieldOfCaptionsThatAreLeftOut) {
  CaptionPairs pairs =
      read(MovieBuilder({track({{cdt2({0x15, 0x2C}), 9}}), track({{cdt2({0x15, 0x2F}), 9}})}));
  EXPECT_EQ(pairs.of(Field::two), field({{Time{0}, {0x15, 0x2C}}}));
  EXPECT_EQ(pairs.findings,
            std::vector<std::string>{"track 2 has captions of field 2 too, which are left out"});
}

}  // namespace
}  // namespace quarrypack::sources
