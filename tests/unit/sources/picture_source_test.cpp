#include "sources/picture_source.h"

#include <gtest/gtest.h>

#include <chrono>
#include <vector>

#include "captions/sei.h"
#include "kav/exception.h"
#include "tests/support/box_builders.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

namespace quarrypack::sources {
namespace {

using captions::BytePair;
using captions::CcTriplet;
using captions::CcType;
using captions::Field;
using captions::FieldPairs;
using captions::kPairTime;
using captions::Time;
using test::Bytes;
using test::concat;
using test::MemoryStream;
using test::MovieBuilder;
using test::MovieTrack;
using test::videoTrack;

constexpr Time kQuarter = std::chrono::milliseconds(250);

FilmFile filmOf(const MovieBuilder& movie) { return FilmFile(MemoryStream::create(movie.build())); }

CaptionPairs read(const MovieBuilder& movie) {
  FilmFile film = filmOf(movie);
  return readPicturePairs(film);
}

CcTriplet one(unsigned first, unsigned second) {
  return {true, CcType::field1, static_cast<std::uint8_t>(first),
          static_cast<std::uint8_t>(second)};
}
CcTriplet two(unsigned first, unsigned second) {
  return {true, CcType::field2, static_cast<std::uint8_t>(first),
          static_cast<std::uint8_t>(second)};
}

Bytes unit(const std::vector<CcTriplet>& triplets, captions::CaptionUnitForm form = {}) {
  Bytes bytes;
  captions::buildCaptionUnit(bytes, form, triplets);
  return bytes;
}

Bytes slice(std::size_t size = 40, unsigned lengthSize = 4) {
  return test::lengthPrefixed(test::nal(test::kSlice, Bytes(size, 0x55)), lengthSize);
}

// A picture each quarter of a second.
MovieTrack pictures(const std::vector<Bytes>& samples) {
  MovieTrack track = videoTrack({.count = samples.size(), .timescale = 1000, .duration = 250});
  for (std::size_t i = 0; i < samples.size(); ++i) track.samples[i].bytes = samples[i];
  return track;
}

FieldPairs field(const std::vector<std::pair<Time, BytePair>>& pairs) {
  FieldPairs result;
  for (const auto& [time, bytes] : pairs) result.push_back({time, bytes});
  return result;
}

TEST(PictureSource, GivesThePairsOfEachPictureAtItsTime) {
  CaptionPairs pairs =
      read(MovieBuilder({pictures({concat({unit({one(0x94, 0x20), two(0x15, 0x2C)}), slice()}),
                                   slice(), concat({unit({one(0x94, 0x2F)}), slice()})})}));
  EXPECT_EQ(pairs.source, "pictures");
  EXPECT_EQ(pairs.of(Field::one), field({{Time{0}, {0x94, 0x20}}, {2 * kQuarter, {0x94, 0x2F}}}));
  EXPECT_EQ(pairs.of(Field::two), field({{Time{0}, {0x15, 0x2C}}}));
  EXPECT_EQ(pairs.end, 3 * kQuarter);
  EXPECT_TRUE(pairs.findings.empty());
}

TEST(PictureSource, GoesByTheOrderOfPresentation) {
  MovieTrack track =
      pictures({concat({unit({one(1, 1)}), slice()}), concat({unit({one(3, 3)}), slice()}),
                concat({unit({one(2, 2)}), slice()})});
  track.samples[1].compositionOffset = 250;
  track.samples[2].compositionOffset = static_cast<std::uint32_t>(-250);
  EXPECT_EQ(read(MovieBuilder({track})).of(Field::one),
            field({{Time{0}, {1, 1}}, {kQuarter, {2, 2}}, {2 * kQuarter, {3, 3}}}));
}

TEST(PictureSource, TakesSeveralUnitsOfAPictureInByteOrder) {
  const Bytes other = test::lengthPrefixed(concat({Bytes{6, 5, 3, 1, 2, 3, 0x80}}));
  CaptionPairs pairs = read(MovieBuilder({pictures({concat(
      {unit({one(1, 1)}), other, unit({one(2, 2)}), slice(), unit({one(3, 3)}), slice()})})}));
  EXPECT_EQ(pairs.of(Field::one), field({{Time{0}, {1, 1}}, {Time{0}, {2, 2}}, {Time{0}, {3, 3}}}));
}

TEST(PictureSource, LeavesOutInvalidTripletsAndThoseOfCea708) {
  CcTriplet invalid = one(1, 1);
  invalid.valid = false;
  CcTriplet packet = one(2, 2);
  packet.type = CcType::packetStart;
  CaptionPairs pairs =
      read(MovieBuilder({pictures({concat({unit({invalid, packet, one(3, 3)}), slice()})})}));
  EXPECT_EQ(pairs.of(Field::one), field({{Time{0}, {3, 3}}}));
}

TEST(PictureSource, FindsUnitsBeyondTheFirstBytesOfAPicture) {
  const std::vector<CcTriplet> many(31, one(1, 1));
  const Bytes filler = test::lengthPrefixed(test::nal(test::kFiller, Bytes(5000, 0xFF)));
  CaptionPairs pairs =
      read(MovieBuilder({pictures({concat({unit(many), unit(many), unit(many), filler, slice(9000),
                                           unit({one(2, 2)}), slice()}),
                                   concat({slice(251 - 8), unit({one(3, 3)})}),
                                   concat({slice(255 - 5), unit({one(4, 4)})})})}));
  ASSERT_EQ(pairs.of(Field::one).size(), 96u);
  EXPECT_EQ(pairs.of(Field::one)[93].bytes, (BytePair{2, 2}));
  EXPECT_EQ(pairs.of(Field::one)[94].bytes, (BytePair{3, 3}));
  EXPECT_EQ(pairs.of(Field::one)[95].bytes, (BytePair{4, 4}));
}

TEST(PictureSource, FindsAUnitAtAnyPlace) {
  for (std::size_t before = 200; before < 300; ++before) {
    CaptionPairs pairs =
        read(MovieBuilder({pictures({concat({slice(before), unit({one(1, 1)}), slice()})})}));
    EXPECT_EQ(pairs.of(Field::one), field({{Time{0}, {1, 1}}})) << before;
  }
}

TEST(PictureSource, ReadsHevcPicturesAndShortLengths) {
  const captions::CaptionUnitForm form{&captions::kHevcRules, 2, 0};
  const Bytes picture = test::lengthPrefixed(concat({Bytes{2, 1}, Bytes(40, 0x55)}), 2);
  MovieTrack track = pictures({concat({unit({one(1, 1)}, form), picture})});
  Bytes record(23);
  record[0] = 1;
  record[21] = 1;  // two bytes for each length
  track.entries = {test::videoEntry("hvc1", test::boxAround("hvcC", record))};
  EXPECT_EQ(read(MovieBuilder({track})).of(Field::one), field({{Time{0}, {1, 1}}}));
}

TEST(PictureSource, GoesByTheDescriptionOfEachSample) {
  const captions::CaptionUnitForm form{&captions::kH264Rules, 2, 0};
  MovieTrack track = pictures(
      {concat({unit({one(1, 1)}), slice()}), concat({unit({one(2, 2)}, form), slice(40, 2)})});
  track.entries.push_back(test::avcEntry(2));
  track.samples[1].description = 2;
  EXPECT_EQ(read(MovieBuilder({track})).of(Field::one),
            field({{Time{0}, {1, 1}}, {kQuarter, {2, 2}}}));
}

TEST(PictureSource, AppliesTheEditList) {
  MovieTrack track =
      pictures({concat({unit({one(1, 1)}), slice()}), concat({unit({one(2, 2)}), slice()}),
                concat({unit({one(3, 3)}), slice()})});
  track.edits = {{1000, test::kEmptyEdit}, {500, 250}};
  MovieBuilder movie({track});
  movie.timescale = 1000;
  CaptionPairs pairs = read(movie);
  EXPECT_EQ(pairs.of(Field::one), field({{4 * kQuarter, {2, 2}}, {5 * kQuarter, {3, 3}}}));
  EXPECT_EQ(pairs.end, 6 * kQuarter);
}

TEST(PictureSource, ReadsFragments) {
  MovieBuilder movie(
      {pictures({concat({unit({one(1, 1)}), slice()}), concat({unit({one(2, 2)}), slice()}),
                 concat({unit({one(3, 3)}), slice()})})});
  movie.splitIntoFragments({2});
  EXPECT_EQ(read(movie).of(Field::one),
            field({{Time{0}, {1, 1}}, {kQuarter, {2, 2}}, {2 * kQuarter, {3, 3}}}));
}

TEST(PictureSource, PassesACoverPictureTrackOver) {
  MovieTrack cover = pictures({concat({unit({one(1, 1)}), slice()})});
  cover.entries = {test::videoEntry("jpeg", {})};
  MovieTrack disabled = pictures({concat({unit({one(2, 2)}), slice()})});
  disabled.flags = 0xE;
  const MovieTrack film = pictures({concat({unit({one(3, 3)}), slice()})});
  EXPECT_EQ(read(MovieBuilder({cover, disabled, film})).of(Field::one), field({{Time{0}, {3, 3}}}));
  EXPECT_EQ(read(MovieBuilder({cover, disabled})).of(Field::one), field({{Time{0}, {2, 2}}}));
  EXPECT_FALSE(hasCaptionPictures(filmOf(MovieBuilder({cover}))));
}

TEST(PictureSource, PassesACoverOfOnePictureOver) {
  const MovieTrack cover = pictures({concat({unit({one(1, 1)}), slice()})});
  const MovieTrack film = pictures({concat({unit({one(2, 2)}), slice()}), slice()});
  EXPECT_EQ(read(MovieBuilder({cover, film})).of(Field::one), field({{Time{0}, {2, 2}}}));
  EXPECT_EQ(read(MovieBuilder({cover})).of(Field::one), field({{Time{0}, {1, 1}}}));
}

TEST(PictureSource, ReadsWhatItCanOfDamagedPictures) {
  Bytes cut = slice();
  cut.resize(20);
  CaptionPairs pairs =
      read(MovieBuilder({pictures({concat({unit({one(1, 1)}), cut}), slice(), Bytes{0, 0}})}));
  EXPECT_EQ(pairs.of(Field::one), field({{Time{0}, {1, 1}}}));
  ASSERT_EQ(pairs.findings.size(), 1u);
  EXPECT_EQ(pairs.findings[0], "track 1: 2 of 3 pictures are damaged and were read in part");
}

TEST(PictureSource, FailsWhereNoPictureCanBeRead) {
  FilmFile film = filmOf(MovieBuilder({pictures({Bytes(40, 0x77), Bytes(30, 0x66)})}));
  EXPECT_THROW(readPicturePairs(film), SourceError);
}

TEST(PictureSource, FailsForAPictureThatIsNotInTheFile) {
  MovieBuilder movie({pictures({slice()})});
  Bytes bytes = movie.moovFirst().build();
  bytes.pop_back();
  FilmFile film(MemoryStream::create(bytes));
  EXPECT_THROW(readPicturePairs(film), norvik::kav::Exception);
}

}  // namespace
}  // namespace quarrypack::sources
