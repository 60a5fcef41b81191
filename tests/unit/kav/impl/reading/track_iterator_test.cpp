#include "kav/impl/reading/track_iterator.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "kav/impl/boxes/stbl_box.h"
#include "kav/impl/model/box_headers.h"
#include "tests/unit/kav/impl/sample_columns.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint64_t kEnd = 1'000'000;

Samples samplesOf(const Film& movie, std::uint64_t start = 0, std::uint64_t end = kEnd) {
  TrackIterator iterator(movie.track(), 0, start, end);
  return drain(iterator);
}

TEST(TrackIterator, DeliversEverySampleOfTheTables) {
  MovieBuilder movie({countingTrack(7, 90000, 3000)});
  movie.tracks[0].id = 5;
  movie.chunkGap = zeros(11);
  Film opened(movie, ReaderOptions{});
  TrackIterator iterator(opened.track(), 77, 0, kEnd);
  const auto samples = drain(iterator);
  EXPECT_EQ(timesOf(samples), (Column{0, 3000, 6000, 9000, 12000, 15000, 18000}));
  EXPECT_EQ(sizesOf(samples), (Column{1, 2, 3, 4, 5, 6, 7}));
  for (std::size_t i = 0; i < samples.size(); ++i) {
    EXPECT_EQ(opened.bytesOf(samples[i]), movie.tracks[0].samples[i].bytes);
    EXPECT_EQ(samples[i].info.structSize, 32u);
    EXPECT_EQ(samples[i].info.timescale, 90000u);
    EXPECT_EQ(samples[i].info.trackId, 5u);
    EXPECT_EQ(samples[i].count, 1u);
    EXPECT_EQ(samples[i].fragmentSequence, 0u);
    EXPECT_EQ(samples[i].description, opened.track().track->description(1));
    EXPECT_EQ(samples[i].track, opened.track().track);
    EXPECT_EQ(samples[i].context, 77u);
  }
}

TEST(TrackIterator, BeginsAtTheFirstSampleAtOrAfterTheStart) {
  const Film opened(MovieBuilder({countingTrack(7)}), ReaderOptions{});
  const Column all = offsetsOf(samplesOf(opened));
  for (std::uint64_t start = 0; start <= 70; ++start) {
    const auto samples = samplesOf(opened, start);
    Column times;
    Column offsets;
    for (std::size_t i = 0; i < 7; ++i) {
      if (i * 10 < start) continue;
      times.push_back(i * 10);
      offsets.push_back(all[i]);
    }
    EXPECT_EQ(timesOf(samples), times) << start;
    EXPECT_EQ(offsetsOf(samples), offsets) << start;
  }
}

TEST(TrackIterator, EndsBeforeTheFirstSampleAtOrAfterTheEnd) {
  const Film opened(MovieBuilder({countingTrack(5)}), ReaderOptions{});
  EXPECT_EQ(timesOf(samplesOf(opened, 10, 30)), (Column{10, 20}));
  EXPECT_EQ(timesOf(samplesOf(opened, 10, 31)), (Column{10, 20, 30}));
  EXPECT_EQ(timesOf(samplesOf(opened, 0, 1)), (Column{0}));
  EXPECT_EQ(timesOf(samplesOf(opened, 0, 0)), Column());
  EXPECT_EQ(timesOf(samplesOf(opened, 30, 10)), Column());
  EXPECT_EQ(timesOf(samplesOf(opened, 11, 19)), Column());
}

TEST(TrackIterator, MarksNoSampleSyncWithoutAnStss) {
  MovieBuilder movie({countingTrack(4)});
  for (MovieSample& sample : movie.tracks[0].samples) sample.sync = true;
  EXPECT_EQ(flagsOf(samplesOf(Film(movie, ReaderOptions{}))), (Column{0, 0, 0, 0}));
}

TEST(TrackIterator, MarksTheSamplesThatStssListsFromAnyStart) {
  MovieBuilder movie({countingTrack(6)});
  movie.tracks[0].syncTable = true;
  for (const std::size_t i : {0u, 3u, 5u}) movie.tracks[0].samples[i].sync = true;
  const Film opened(movie, ReaderOptions{});
  EXPECT_EQ(flagsOf(samplesOf(opened)), (Column{1, 0, 0, 1, 0, 1}));
  EXPECT_EQ(flagsOf(samplesOf(opened, 20)), (Column{0, 1, 0, 1}));
}

TEST(TrackIterator, DeliversTheDependencyBytesFromTheFirstOnWhateverTheStart) {
  MovieBuilder movie({countingTrack(4)});
  movie.tracks[0].dependencyTable = true;
  movie.tracks[0].syncTable = true;
  movie.tracks[0].samples[0].sync = true;
  for (std::size_t i = 0; i < 4; ++i) {
    movie.tracks[0].samples[i].dependency = static_cast<std::uint8_t>(0x20 + i);
  }
  const Film opened(movie, ReaderOptions{});
  EXPECT_EQ(flagsOf(samplesOf(opened)), (Column{0x2001, 0x2100, 0x2200, 0x2300}));
  EXPECT_EQ(flagsOf(samplesOf(opened, 20)), (Column{0x2000, 0x2100}));
}

// A walk that starts past the table has the last offset for its first sample.
TEST(TrackIterator, DeliversCompositionOffsetsAndZeroOnceItLeavesThem) {
  MovieBuilder movie({countingTrack(4)});
  movie.addBehind(kTables + "stts",
                  fullBox("ctts", 0, 0, u32(2), u32(2), u32(5), u32(1), u32(0xFFFFFFFE)));
  const Film opened(movie, ReaderOptions{});
  EXPECT_EQ(compositionOffsetsOf(samplesOf(opened)), (Column{5, 5, 0xFFFFFFFE, 0}));
  EXPECT_EQ(compositionOffsetsOf(samplesOf(opened, 10)), (Column{5, 0xFFFFFFFE, 0}));
  EXPECT_EQ(compositionOffsetsOf(samplesOf(opened, 30)), (Column{0xFFFFFFFE}));
}

TEST(TrackIterator, PassesEntriesOfNoSamplesAndOfNoChunks) {
  MovieBuilder movie({countingTrack(4)});
  const Film plain(movie, ReaderOptions{});
  movie.replace(kTables + "stts",
                fullBox("stts", 0, 0, u32(4), u32List({0, 7, 3, 10, 0, 99, 1, 10})));
  movie.addBehind(kTables + "stts",
                  fullBox("ctts", 0, 0, u32(4), u32List({0, 9, 2, 5, 0, 8, 2, 6})));
  movie.replace(kTables + "stsc",
                fullBox("stsc", 0, 0, u32(4), u32List({1, 9, 1, 1, 2, 1, 2, 8, 1, 2, 1, 1})));
  Film opened(movie, ReaderOptions{});
  EXPECT_EQ(opened.track().stbl->stts()->table().runs().size(), 4u);
  EXPECT_EQ(opened.track().stbl->ctts()->table().runs().size(), 4u);
  EXPECT_EQ(timesOf(samplesOf(opened)), timesOf(samplesOf(plain)));
  EXPECT_EQ(compositionOffsetsOf(samplesOf(opened)), (Column{5, 5, 6, 6}));
  EXPECT_EQ(compositionOffsetsOf(samplesOf(opened, 20)), (Column{6, 6}));
  const auto samples = samplesOf(opened);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    EXPECT_EQ(opened.bytesOf(samples[i]), movie.tracks[0].samples[i].bytes);
  }
}

TEST(TrackIterator, EndsWithTheShorterOfTimesAndSizes) {
  MovieBuilder times({countingTrack(5)});
  times.replace(kTables + "stts", fullBox("stts", 0, 0, u32(1), u32(3), u32(10)));
  EXPECT_EQ(timesOf(samplesOf(Film(times, ReaderOptions{}))), (Column{0, 10, 20}));
  MovieBuilder sizes({countingTrack(5)});
  sizes.replace(kTables + "stsz", fullBox("stsz", 0, 0, u32(0), u32(2), u32(1), u32(2)));
  const Film opened(sizes, ReaderOptions{});
  EXPECT_EQ(sizesOf(samplesOf(opened)), (Column{1, 2}));
  EXPECT_EQ(sizesOf(samplesOf(opened, 20)), Column());
}

TEST(TrackIterator, HasNothingWhereNoChunkIs) {
  MovieBuilder movie({countingTrack(5)});
  movie.replace(kTables + "stco", fullBox("stco", 0, 0, u32(0)));
  EXPECT_EQ(sizesOf(samplesOf(Film(movie, ReaderOptions{}))), Column());
}

TEST(TrackIterator, KeepsAddingUpSizesAfterTheLastChunkOffset) {
  MovieBuilder movie({countingTrack(4)});  // chunks of 2, 1 and 1
  movie.replace(kTables + "stco", fullBox("stco", 0, 0, u32(1), u32(1000)));
  EXPECT_EQ(offsetsOf(samplesOf(Film(movie, ReaderOptions{}))), (Column{1000, 1001, 1003, 1006}));
}

TEST(TrackIterator, EndsTheTrackAfterASampleWithoutDescription) {
  for (const std::uint32_t index : {0u, 2u}) {
    MovieBuilder movie({countingTrack(5)});
    movie.replace(kTables + "stsc", fullBox("stsc", 0, 0, u32(2), u32(1), u32(2), u32(1), u32(2),
                                            u32(1), u32(index)));
    const auto samples = samplesOf(Film(movie, ReaderOptions{}));
    EXPECT_EQ(sizesOf(samples), (Column{1, 2, 3}));
    EXPECT_EQ(descriptionsOf(samples), (Column{1, 1, 0}));
  }
}

TEST(TrackIterator, GivesEachSampleTheDescriptionOfItsChunk) {
  MovieBuilder movie({countingTrack(5)});
  movie.tracks[0].entries.push_back(genericEntry("tx3g"));
  movie.tracks[0].samples[2].description = 2;
  const Film opened(movie, ReaderOptions{});
  const auto samples = samplesOf(opened);
  EXPECT_EQ(descriptionsOf(samples), (Column{1, 1, 2, 1, 1}));
  EXPECT_EQ(samples[2].description, opened.track().track->description(2));
}

TEST(TrackIterator, FailsInAChunkWithoutSamples) {
  MovieBuilder movie({countingTrack(5)});
  movie.replace(kTables + "stsc",
                fullBox("stsc", 0, 0, u32(2), u32(1), u32(2), u32(1), u32(2), u32(0), u32(1)));
  const Film opened(movie, ReaderOptions{});
  TrackIterator iterator(opened.track(), 0, 0, kEnd);
  Sample sample;
  EXPECT_TRUE(iterator.take(sample));
  EXPECT_CODE(badChunkRun, iterator.next());
}

// A track of hand-picked tables: a movie without one of them, or with two of a kind, is refused
// before it has a track.
class PickedTables {
 public:
  explicit PickedTables(const Bytes& tables)
      : memory_(MemoryStream::create(tables)), stream_(memory_) {
    stream_.computeSize();
    stbl_ = makeBox<StblBox>(BoxHeader{}, stream_);
    seen_.info.mediaTimescale = 1000;
    track.track = &seen_;
    track.stbl = stbl_.get();
  }

  // The table that comes next in the file.
  template <class T>
  T& take() {
    auto table = makeBox<T>(*readBoxHeader(stream_, nullptr), stream_);
    table->readContent();
    T& view = *table;
    const std::uint64_t next = table->end();
    stbl_->addChild(std::move(table));
    stream_.seekTo(next);
    return view;
  }

  void takeTimesChunksAndSizes() {
    take<SttsBox>();
    take<StscBox>();
    take<StszBox>();
  }

  TrackRecord track;

 private:
  MemoryStreamPtr memory_;
  NorvikKavIStream stream_;
  OwnedBox<StblBox> stbl_;
  Track seen_;
};

const Bytes kStts = fullBox("stts", 0, 0, u32(1), u32(2), u32(10));
const Bytes kStsc = fullBox("stsc", 0, 0, u32(1), u32(1), u32(2), u32(1));
const Bytes kStsz = fullBox("stsz", 0, 0, u32(4), u32(2));
const Bytes kStco = fullBox("stco", 0, 0, u32(1), u32(100));
const Bytes kCo64 = fullBox("co64", 0, 0, u32(1), u64(0x100000000));

TEST(TrackIterator, NeedsTimesChunksSizesAndOffsets) {
  const auto codeWithout = [](int missing) {
    PickedTables tables(concat({missing == 0 ? Bytes() : kStts, missing == 1 ? Bytes() : kStsc,
                                missing == 2 ? Bytes() : kStsz, kStco}));
    if (missing != 0) tables.take<SttsBox>();
    if (missing != 1) tables.take<StscBox>();
    if (missing != 2) tables.take<StszBox>();
    if (missing != 3) tables.take<StcoBox>();
    return thrownCode([&] { TrackIterator(tables.track, 0, 0, kEnd); });
  };
  for (int missing = 0; missing < 4; ++missing) {
    EXPECT_EQ(codeWithout(missing), ErrorCode::incompleteSampleTable) << missing;
  }
  EXPECT_EQ(codeWithout(4), ErrorCode::success);
  const Track seen;
  const TrackRecord none{.track = &seen};
  EXPECT_CODE(incompleteSampleTable, TrackIterator(none, 0, 0, kEnd));
}

TEST(TrackIterator, PrefersTheWideChunkOffsets) {
  PickedTables tables(concat({kStts, kStsc, kStsz, kStco, kCo64}));
  tables.takeTimesChunksAndSizes();
  tables.take<StcoBox>();
  tables.take<Co64Box>();
  TrackIterator iterator(tables.track, 0, 0, kEnd);
  Sample sample;
  ASSERT_TRUE(iterator.take(sample));
  EXPECT_EQ(sample.fileOffset, 0x100000000u);
}

TEST(TrackIterator, DeliversOneSampleOfATrackWithoutDescriptions) {
  PickedTables tables(concat({kStts, kStsc, kStsz, kStco}));
  tables.takeTimesChunksAndSizes();
  tables.take<StcoBox>();
  TrackIterator iterator(tables.track, 0, 0, kEnd);
  const auto samples = drain(iterator);
  ASSERT_EQ(offsetsOf(samples), (Column{100}));
  EXPECT_EQ(samples[0].description, nullptr);
  EXPECT_EQ(samples[0].descriptionIndex, 0u);
}

Samples segmentsOf(const Film& movie, std::vector<EditSegment> segments, std::uint64_t end = kEnd) {
  // The movie counts a tenth as fast as the track.
  TrackIterator iterator(movie.track(), 3, std::move(segments), 100, end);
  return drain(iterator);
}

TEST(TrackIterator, DeliversOneSegmentAfterAnother) {
  const Film opened(MovieBuilder({countingTrack(7)}), ReaderOptions{});
  // Durations and times count in hundredths, the samples in thousandths.
  const auto samples = segmentsOf(opened, {{2, 4, 0}, {3, 0, 2}});
  EXPECT_EQ(timesOf(samples), (Column{40, 50, 0, 10, 20}));
  EXPECT_EQ(sizesOf(samples), (Column{5, 6, 1, 2, 3}));
}

TEST(TrackIterator, DeliversOneEmptySampleForEverySegmentWithoutMedia) {
  const Film opened(MovieBuilder({countingTrack(7)}), ReaderOptions{});
  const auto samples =
      segmentsOf(opened, {{6, kNoMedia, 0}, {1, 1, 6}, {7, kNoMedia, 7}, {8, kNoMedia, 14}});
  EXPECT_EQ(timesOf(samples), (Column{60, 10, 70, 80}));
  EXPECT_EQ(sizesOf(samples), (Column{0, 2, 0, 0}));
  EXPECT_EQ(flagsOf(samples), (Column{2, 0, 2, 2}));
  EXPECT_EQ(samples[0].fragmentSequence, 0u);
  EXPECT_EQ(samples[0].context, 3u);
  EXPECT_EQ(samples[0].description, nullptr);
}

TEST(TrackIterator, PassesSegmentsThatSelectNoSample) {
  const Film opened(MovieBuilder({countingTrack(3)}), ReaderOptions{});
  EXPECT_EQ(timesOf(segmentsOf(opened, {{1, 50, 0}, {1, 2, 1}, {1, 60, 2}})), (Column{20}));
  EXPECT_EQ(timesOf(segmentsOf(opened, {})), Column());
}

TEST(TrackIterator, GoesOnWithTheNextSegmentWhereTheMediaRunsOut) {
  const Film opened(MovieBuilder({countingTrack(3)}), ReaderOptions{});
  EXPECT_EQ(timesOf(segmentsOf(opened, {{100, 1, 0}, {1, 0, 100}})), (Column{10, 20, 0}));
}

TEST(TrackIterator, EndsASegmentWithTheRequestedRange) {
  const Film opened(MovieBuilder({countingTrack(7)}), ReaderOptions{});
  EXPECT_EQ(timesOf(segmentsOf(opened, {{2, 0, 0}, {5, 0, 2}, {5, 0, 7}}, 40)),
            (Column{0, 10, 0, 10}));
}

TEST(TrackIterator, RunsToTheEndOfTheMediaInASegmentWithoutDuration) {
  const Film opened(MovieBuilder({countingTrack(4)}), ReaderOptions{});
  EXPECT_EQ(timesOf(segmentsOf(opened, {{0, 1, 0}})), (Column{10, 20, 30}));
  EXPECT_EQ(timesOf(segmentsOf(opened, {{0, 1, 0}}, 20)), (Column{10, 20}));
}

TEST(TrackIterator, SurvivesSegmentsAtTheEndOfTime) {
  const Film opened(MovieBuilder({countingTrack(4)}), ReaderOptions{});
  const std::uint64_t last = ~std::uint64_t{0};
  TrackIterator iterator(opened.track(), 0, {{last, last - 1, 0}, {last, 1, 0}}, 1000, last);
  EXPECT_EQ(timesOf(drain(iterator)), (Column{10, 20, 30}));
}

}  // namespace
}  // namespace norvik::kav::impl
