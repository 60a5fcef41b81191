#include "kav/movie.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "tests/support/box_builders.h"
#include "tests/support/expect_code.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

namespace norvik::kav {
namespace {

using namespace quarrypack::test;

using Times = std::vector<std::uint64_t>;

// A track whose samples are 10 thousandths long and of 1, 2, 3, ... bytes.
MovieTrack countingTrack(std::size_t count) {
  MovieTrack track = otherTrack("text", genericEntry("text"), count);
  track.timescale = 1000;
  for (std::size_t i = 0; i < count; ++i) {
    track.samples[i].bytes = Bytes(i + 1, static_cast<std::uint8_t>(0xA0 + i));
    track.samples[i].duration = 10;
  }
  return track;
}

// A movie that counts in hundredths.
MovieBuilder countingMovie(const std::vector<MovieTrack>& tracks) {
  MovieBuilder movie(tracks);
  movie.timescale = 100;
  return movie;
}

Movie opened(const MovieBuilder& movie) { return Movie(MemoryStream::create(movie.build())); }

Times timesOf(SampleRange range) {
  Times times;
  for (const Sample& sample : range) times.push_back(sample.info.decodingTime);
  return times;
}

Times timesOf(const MovieBuilder& movie, const SampleOptions& options) {
  return timesOf(opened(movie).samples(options));
}

TEST(Movie, DeliversTheSamplesOfAllTracksByTheirTimes) {
  const MovieBuilder builder = countingMovie({countingTrack(2), countingTrack(2)});
  Movie movie = opened(builder);
  std::vector<std::uint32_t> tracks;
  Bytes bytes;
  for (const Sample& sample : movie.samples()) {
    tracks.push_back(sample.track->index);
    bytes.resize(sample.info.size);
    movie.read(sample, bytes);
    const auto place = static_cast<std::size_t>(sample.info.decodingTime / 10);
    EXPECT_EQ(bytes, builder.tracks[sample.track->index].samples[place].bytes);
    EXPECT_EQ(sample.description, &sample.track->descriptions[0]);
  }
  EXPECT_EQ(tracks, (std::vector<std::uint32_t>{0, 1, 0, 1}));
}

TEST(Movie, ReportsTheFieldsOfItsHeaderAndOfThoseOfItsTracks) {
  MovieBuilder builder({videoTrack({.count = 2}), captionTrack(2)});
  builder.timescale = 1234;
  builder.tracks[0].syncTable = true;
  const Movie movie = opened(builder);
  EXPECT_EQ(movie.info().timescale, 1234u);
  EXPECT_FALSE(movie.info().isFragmented);
  ASSERT_EQ(movie.tracks().size(), 2u);
  const Track& video = movie.tracks()[0];
  EXPECT_EQ(video.handlerType, fourCc("vide"));
  EXPECT_EQ(video.name, "Video Handler");
  EXPECT_EQ(video.index, 0u);
  EXPECT_TRUE(video.hasSyncTable);
  EXPECT_EQ(video.info.trackId, 1u);
  EXPECT_EQ(movie.tracks()[1].index, 1u);
  EXPECT_FALSE(movie.tracks()[1].hasSyncTable);
}

TEST(Movie, NeedsAStreamWithAMovie) {
  EXPECT_CODE(missingArgument, Movie(nullptr));
  const MemoryStreamPtr empty = MemoryStream::create({});
  EXPECT_CODE(noMovie, Movie(empty));
  EXPECT_EQ(empty->references(), 1u);
}

TEST(Movie, HoldsAShareOfItsStream) {
  const MemoryStreamPtr stream = MemoryStream::create(countingMovie({countingTrack(2)}).build());
  {
    const Movie movie(stream);
    EXPECT_EQ(stream->references(), 2u);
  }
  EXPECT_EQ(stream->references(), 1u);
}

TEST(Movie, KeepsTracksSamplesAndRangesValidWhenItMoves) {
  Movie first = opened(countingMovie({countingTrack(3)}));
  const Track* const track = first.tracks().data();
  SampleRange begun = first.samples();
  const Sample sample = *begun.next();
  SampleRange range = std::move(begun);
  Movie second = std::move(first);
  EXPECT_EQ(second.tracks().data(), track);
  EXPECT_EQ(sample.track, track);
  EXPECT_EQ(sample.description->codecType(), fourCc("text"));
  Bytes bytes(1);
  second.read(sample, bytes);
  EXPECT_EQ(bytes, Bytes{0xA0});
  EXPECT_EQ(timesOf(std::move(range)), (Times{10, 20}));
}

TEST(Movie, TakesThePlaceOfAnother) {
  Movie movie = opened(countingMovie({countingTrack(1), countingTrack(1)}));
  SampleRange range = movie.samples();
  Movie other = opened(countingMovie({countingTrack(3)}));
  range = other.samples();
  movie = std::move(other);
  EXPECT_EQ(movie.tracks().size(), 1u);
  EXPECT_EQ(timesOf(std::move(range)), (Times{0, 10, 20}));
}

TEST(Movie, HandsOutDescriptionsThatOutliveIt) {
  MovieTrack track = countingTrack(1);
  track.entries = {genericEntry("text", text("header bytes"))};
  std::optional<SampleDescription> kept;
  {
    Movie movie = opened(countingMovie({track}));
    kept = *movie.samples().next()->description;
  }
  EXPECT_EQ(Bytes(kept->headerBytes().begin(), kept->headerBytes().end()), text("header bytes"));
}

TEST(Movie, ReadsBytesOfTheFile) {
  const Bytes file = countingMovie({countingTrack(2)}).build();
  Movie movie(MemoryStream::create(file));
  EXPECT_EQ(movie.fileLength(), file.size());
  EXPECT_TRUE(movie.holds(0, file.size()));
  EXPECT_TRUE(movie.holds(file.size(), 0));
  EXPECT_FALSE(movie.holds(1, file.size()));
  EXPECT_FALSE(movie.holds(1, ~std::uint64_t{0}));
  Bytes type(4);
  movie.readAt(4, type);
  EXPECT_EQ(type, text("ftyp"));
  movie.peekAt(4, type);
  EXPECT_EQ(type, text("ftyp"));
  EXPECT_CODE(shortRead, movie.readAt(file.size() - 3, type));
  EXPECT_CODE(shortRead, movie.peekAt(file.size() - 3, type));
}

TEST(Movie, ReadsASampleIntoBytesOfItsLengthOnly) {
  Movie movie = opened(countingMovie({countingTrack(2)}));
  SampleRange samples = movie.samples();
  const Sample sample = *samples.next();
  Bytes tooLong(2);
  EXPECT_CODE(missingArgument, movie.read(sample, tooLong));
  EXPECT_CODE(missingArgument, movie.read(sample, {}));
}

TEST(Movie, ReadsNothingOfAGap) {
  MovieBuilder builder = countingMovie({countingTrack(1)});
  builder.tracks[0].edits = {{5, kEmptyEdit}, {1, 0}};
  Movie movie = opened(builder);
  SampleRange samples = movie.samples();
  const Sample gap = *samples.next();
  EXPECT_TRUE(gap.isGap());
  EXPECT_FALSE(gap.isSync());
  EXPECT_EQ(gap.description, nullptr);
  movie.read(gap, {});
  EXPECT_FALSE(samples.next()->isGap());
}

TEST(Movie, ListsAndReadsItsTopLevelBoxes) {
  MovieBuilder builder = countingMovie({countingTrack(2)});
  builder.tail = concat({box("free", zeros(5)), zeros(3)});
  const Bytes file = builder.build();
  Movie movie(MemoryStream::create(file));
  const std::vector<BoxPlace> boxes = movie.topLevelBoxes();
  std::uint64_t end = 0;
  for (const BoxPlace& place : boxes) {
    EXPECT_EQ(place.start, end);
    end += place.size;
  }
  EXPECT_EQ(end, file.size() - 3);
  EXPECT_EQ(boxes.back().type, fourCc("free"));
  EXPECT_EQ(movie.readBox(boxes.back(), 13), box("free", zeros(5)));
  EXPECT_CODE(implausibleCount, movie.readBox(boxes.back(), 12));
  EXPECT_CODE(shortRead, movie.readBox({0, file.size(), 1}, 12));
}

TEST(Movie, ListsTheBoxesOfAFileThatWasCutOff) {
  MovieBuilder builder = countingMovie({countingTrack(2)});
  builder.moovFirst().tail = claimingSize(400, box("mdat", zeros(9)));
  Movie movie = opened(builder);
  const std::vector<BoxPlace> boxes = movie.topLevelBoxes();
  EXPECT_EQ(boxes.back().size, 17u);
  EXPECT_EQ(timesOf(movie.samples()), (Times{0, 10})) << "listing changes nothing about a walk";
}

TEST(Movie, FindsItsMetadata) {
  MovieBuilder builder = countingMovie({countingTrack(2)});
  EXPECT_TRUE(opened(builder).xmp().empty());
  builder.tail = uuidBox(kXmpUuid, text("<x:xmpmeta/>"));
  Movie movie = opened(builder);
  EXPECT_EQ(movie.xmpLength(), 12u);
  EXPECT_EQ(Bytes(movie.xmp().begin(), movie.xmp().end()), text("<x:xmpmeta/>"));
}

TEST(Movie, ReportsHowMuchLaterThePicturesOfATrackAre) {
  MovieBuilder builder({soundTrack(), videoTrack({.count = 4, .betweenAnchors = 1})});
  builder.tracks[1].edits = {{80, 1001}};
  const Movie movie = opened(builder);
  EXPECT_EQ(movie.editShift(movie.tracks()[0]), 0u);
  EXPECT_EQ(movie.editShift(movie.tracks()[1]), 1001u);
  Track unknown;
  unknown.index = 2;
  EXPECT_CODE(missingArgument, movie.editShift(unknown));
}

TEST(Movie, CountsWhatItWouldDeliver) {
  MovieBuilder builder = countingMovie({countingTrack(3), countingTrack(4)});
  builder.tracks[1].edits = {{3, kEmptyEdit}, {2, 0}};
  Movie movie = opened(builder);
  const std::uint64_t noLimit = ~std::uint64_t{0};
  const auto all = movie.countSamples(noLimit);
  EXPECT_EQ(all[0].sampleCount, 3u);
  EXPECT_EQ(all[1].sampleCount, 2u);
  EXPECT_EQ(all[1].gapCount, 1u);
  const auto second = movie.countSamples(noLimit, {.trackIndex = 1, .applyEdits = false});
  EXPECT_EQ(second[0].sampleCount, 0u);
  EXPECT_EQ(second[1].sampleCount, 4u);
  EXPECT_EQ(second[1].gapCount, 0u);
  EXPECT_EQ(movie.countSamples(noLimit, {.from = {1, 100}, .to = {2, 100}})[0].sampleCount, 1u);
  EXPECT_EQ(movie.countSamples(kSmallestSampleCost)[0].sampleCount, 1u);
}

TEST(Movie, MayCostSixteenTimesItsLengthAndEightMebibytes) {
  const Bytes file = countingMovie({countingTrack(2)}).build();
  EXPECT_EQ(Movie(MemoryStream::create(file)).plausibleCost(),
            std::uint64_t{16} * file.size() + (8u << 20));
}

TEST(Samples, AreThoseOfOneTrackWhereOneIsAskedFor) {
  const MovieBuilder builder = countingMovie({countingTrack(2), countingTrack(3)});
  Movie movie = opened(builder);
  for (const Sample& sample : movie.samples({.trackIndex = 1, .context = 77})) {
    EXPECT_EQ(sample.track, &movie.tracks()[1]);
    EXPECT_EQ(sample.context, 77u);
  }
  EXPECT_EQ(timesOf(movie.samples({.trackIndex = 1})), (Times{0, 10, 20}));
  EXPECT_CODE(missingArgument, movie.samples({.trackIndex = 2}));
  EXPECT_CODE(missingArgument, movie.countSamples(1, {.trackIndex = 2}));
}

TEST(Samples, AreThoseOfTheMediaWhereEditsAreNotApplied) {
  MovieBuilder builder = countingMovie({countingTrack(3)});
  builder.tracks[0].edits = {{5, kEmptyEdit}, {2, 10}};
  EXPECT_EQ(timesOf(builder, {}), (Times{0, 50, 60}));
  EXPECT_EQ(timesOf(builder, {.applyEdits = false}), (Times{0, 10, 20}));
}

TEST(Samples, KeepToARange) {
  const MovieBuilder builder = countingMovie({countingTrack(5)});
  EXPECT_EQ(timesOf(builder, {.from = {2, 100}}), (Times{20, 30, 40}));
  EXPECT_EQ(timesOf(builder, {.from = {21, 1000}, .to = {4, 100}}), (Times{30}));
  EXPECT_EQ(timesOf(builder, {.to = {2, 100}}), (Times{0, 10}));
  EXPECT_EQ(timesOf(builder, {.from = {2, 100}, .to = {2, 100}}), Times());
  EXPECT_EQ(timesOf(builder, {.from = {~std::uint64_t{0}, 1}}), Times());
  EXPECT_EQ(timesOf(builder, {.to = {~std::uint64_t{0}, 1}}).size(), 5u);
}

TEST(Samples, KeepToARangeOfWhatTheEditListShows) {
  MovieBuilder builder = countingMovie({countingTrack(6)});
  // Shown: a gap at 0, media 10 to 30 at 50, a gap at 70, media 0 to 40 at 80.
  builder.tracks[0].edits = {{5, kEmptyEdit}, {2, 10}, {1, kEmptyEdit}, {4, 0}};
  EXPECT_EQ(timesOf(builder, {}), (Times{0, 50, 60, 70, 80, 90, 100, 110}));
  EXPECT_EQ(timesOf(builder, {.from = {1, 1000}}), (Times{50, 60, 70, 80, 90, 100, 110}));
  EXPECT_EQ(timesOf(builder, {.from = {6, 100}, .to = {10, 100}}), (Times{60, 70, 80, 90}));
  EXPECT_EQ(timesOf(builder, {.from = {95, 1000}}), (Times{100, 110}));
  EXPECT_EQ(timesOf(builder, {.from = {12, 100}}), Times());
  EXPECT_EQ(timesOf(builder, {.from = {~std::uint64_t{0}, 1}}), Times());
  builder.splitIntoFragments({3});
  EXPECT_EQ(timesOf(builder, {.from = {6, 100}, .to = {10, 100}}), (Times{60, 70, 80, 90}));
}

TEST(Samples, OfARangeAreTheSameAsInAWholeWalk) {
  MovieBuilder builder = countingMovie({countingTrack(6)});
  builder.tracks[0].edits = {{5, kEmptyEdit}, {2, 10}, {1, kEmptyEdit}, {4, 0}};
  Movie movie = opened(builder);
  std::vector<Sample> all;
  for (const Sample& sample : movie.samples()) all.push_back(sample);
  for (std::uint64_t from = 0; from <= 120; from += 5) {
    SampleRange range = movie.samples({.from = {from, 1000}});
    for (const Sample& sample : all) {
      if (sample.info.decodingTime < from) continue;
      const Sample* const found = range.next();
      ASSERT_NE(found, nullptr) << from;
      EXPECT_EQ(found->info.decodingTime, sample.info.decodingTime) << from;
      EXPECT_EQ(found->fileOffset, sample.fileOffset) << from;
      EXPECT_EQ(found->info.flags, sample.info.flags) << from;
    }
    EXPECT_EQ(range.next(), nullptr) << from;
  }
}

TEST(Samples, ArePromisedBeforeTheyAreDelivered) {
  Movie movie = opened(countingMovie({countingTrack(2)}));
  SampleRange samples = movie.samples();
  EXPECT_TRUE(samples.hasNext());
  samples.next();
  samples.next();
  EXPECT_FALSE(samples.hasNext());
  EXPECT_EQ(samples.next(), nullptr);
  EXPECT_EQ(samples.begin(), samples.end());
}

TEST(Samples, ContinueWithTheOtherTracksAfterAFailure) {
  MovieBuilder builder = countingMovie({countingTrack(5), countingTrack(4)});
  builder.replace("moov/trak[1]/mdia/minf/stbl/stsc",
                  fullBox("stsc", 0, 0, u32(2), u32(1), u32(2), u32(1), u32(2), u32(0), u32(1)));
  Movie movie = opened(builder);
  SampleRange samples = movie.samples();
  EXPECT_CODE(badChunkRun, samples.next());
  EXPECT_EQ(timesOf(std::move(samples)), (Times{0, 10, 20, 30}));
}

TEST(Samples, AreShownLaterByTheirCompositionOffsetOrEarlier) {
  Sample sample;
  sample.info.decodingTime = 100;
  sample.info.compositionOffset = 20;
  EXPECT_EQ(sample.presentationTime(), 120);
  sample.info.compositionOffset = 0xFFFFFFFF - 119;
  EXPECT_EQ(sample.presentationTime(), -20);
}

}  // namespace
}  // namespace norvik::kav
