#include "kav/reader.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/box_builders.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

namespace norvik::kav {
namespace {

using namespace quarrypack::test;

constexpr std::uint32_t kMissing = 20;
constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};

MovieBuilder smallMovie() {
  MovieBuilder movie({videoTrack({.count = 4}), soundTrack({.count = 3}), captionTrack(2)});
  movie.tracks[0].id = 11;
  movie.tracks[1].id = 22;
  movie.tracks[2].id = 33;
  movie.creationTime = 3665824496;  // 2020-02-29 12:34:56
  movie.modificationTime = 3665824497;
  movie.rate = 0x8000;
  movie.volume = 0x40;
  return movie;
}

struct Opened {
  explicit Opened(const Bytes& file, const NorvikKavReaderOptions& options = {})
      : stream(MemoryStream::create(file)), code(openReader(stream.get(), options, &reader)) {}
  explicit Opened(const MovieBuilder& movie, const NorvikKavReaderOptions& options = {})
      : Opened(movie.build(), options) {}
  ~Opened() {
    if (reader != nullptr) closeReader(reader);
  }

  MemoryStreamPtr stream;
  NorvikKavReader* reader = nullptr;
  std::uint32_t code;
};

struct Iterator {
  explicit Iterator(NorvikKavReader* reader) { code = createSampleIterator(reader, &iterator); }
  ~Iterator() {
    if (iterator != nullptr) closeSampleIterator(iterator);
  }
  NorvikKavSample* next() {
    NorvikKavSample* sample = nullptr;
    code = nextSample(iterator, &sample);
    return sample;
  }

  NorvikKavSampleIterator* iterator = nullptr;
  std::uint32_t code = 0;
};

const NorvikKavSampleDescription* descriptionOf(NorvikKavReader* reader, std::uint32_t track,
                                                std::uint32_t index = 1) {
  const NorvikKavSampleDescription* description = nullptr;
  EXPECT_EQ(getSampleDescriptionHandle(reader, track, index, &description), 0u);
  return description;
}

TEST(ReaderFunctions, NeedTheirHandlesAndOutputs) {
  Opened opened(smallMovie());
  ASSERT_EQ(opened.code, 0u);
  NorvikKavReader* const reader = opened.reader;
  Iterator iterator(reader);
  NorvikKavSample* const sample = iterator.next();
  const NorvikKavSampleDescription* const description = descriptionOf(reader, 0);

  NorvikKavReader* newReader = nullptr;
  NorvikKavMovieInfo movie;
  NorvikKavTrackInfo track;
  std::uint32_t number = 0;
  std::array<std::uint8_t, 1000> buffer{};
  char* const name = reinterpret_cast<char*>(buffer.data());
  const NorvikKavSampleDescription* newDescription = nullptr;
  NorvikKavSampleDescInfo descInfo;
  NorvikKavVideoSampleDescInfo videoInfo;
  NorvikKavAudioSampleDescInfo audioInfo;
  NorvikKavSampleDescription* copy = nullptr;
  std::array<NorvikKavTrackTotals, 3> totals;
  std::uint64_t ticks = 0;
  NorvikKavSampleIterator* newIterator = nullptr;
  NorvikKavSample* newSample = nullptr;
  NorvikKavSampleInfo info;
  NorvikKavSampleLocation location;
  std::size_t length = 0;

  EXPECT_EQ(openReader(nullptr, {}, &newReader), kMissing);
  EXPECT_EQ(openReader(opened.stream.get(), {}, nullptr), kMissing);
  EXPECT_EQ(closeReader(nullptr), kMissing);
  EXPECT_EQ(getMovieInfo(nullptr, &movie), kMissing);
  EXPECT_EQ(getMovieInfo(reader, nullptr), kMissing);
  EXPECT_EQ(getTrackInfo(nullptr, 0, &track), kMissing);
  EXPECT_EQ(getTrackInfo(reader, 0, nullptr), kMissing);
  EXPECT_EQ(getTrackHandler(nullptr, 0, &number), kMissing);
  EXPECT_EQ(getTrackHandler(reader, 0, nullptr), kMissing);
  EXPECT_EQ(getTrackName(nullptr, 0, name), kMissing);
  EXPECT_EQ(getTrackName(reader, 0, nullptr), kMissing);
  EXPECT_EQ(getSampleDescriptionCount(nullptr, 0, &number), kMissing);
  EXPECT_EQ(getSampleDescriptionCount(reader, 0, nullptr), kMissing);
  EXPECT_EQ(getSampleDescriptionHandle(nullptr, 0, 1, &newDescription), kMissing);
  EXPECT_EQ(getSampleDescriptionHandle(reader, 0, 1, nullptr), kMissing);
  EXPECT_EQ(getSampleDescriptionInfo(nullptr, &descInfo), kMissing);
  EXPECT_EQ(getSampleDescriptionInfo(description, nullptr), kMissing);
  EXPECT_EQ(getVideoSampleDescriptionInfo(nullptr, &videoInfo), kMissing);
  EXPECT_EQ(getVideoSampleDescriptionInfo(description, nullptr), kMissing);
  EXPECT_EQ(getAudioSampleDescriptionInfo(nullptr, &audioInfo), kMissing);
  EXPECT_EQ(getAudioSampleDescriptionInfo(description, nullptr), kMissing);
  EXPECT_EQ(copySampleDescription(nullptr, &copy), kMissing);
  EXPECT_EQ(copySampleDescription(description, nullptr), kMissing);
  EXPECT_EQ(getSampleDescription(nullptr, buffer.data()), kMissing);
  EXPECT_EQ(getSampleDescription(description, nullptr), kMissing);
  EXPECT_EQ(getEditShift(nullptr, 0, &ticks), kMissing);
  EXPECT_EQ(getEditShift(reader, 0, nullptr), kMissing);
  EXPECT_EQ(getEditShift(reader, 3, &ticks), kMissing);
  EXPECT_EQ(countSamples(nullptr, kNoLimit, totals.data()), kMissing);
  EXPECT_EQ(countSamples(reader, kNoLimit, nullptr), kMissing);
  EXPECT_EQ(createSampleIterator(nullptr, &newIterator), kMissing);
  EXPECT_EQ(createSampleIterator(reader, nullptr), kMissing);
  EXPECT_EQ(closeSampleIterator(nullptr), kMissing);
  EXPECT_EQ(hasNextSample(nullptr, &number), kMissing);
  EXPECT_EQ(hasNextSample(iterator.iterator, nullptr), kMissing);
  EXPECT_EQ(nextSample(nullptr, &newSample), kMissing);
  EXPECT_EQ(nextSample(iterator.iterator, nullptr), kMissing);
  EXPECT_EQ(closeSample(nullptr), kMissing);
  EXPECT_EQ(getSampleInfo(nullptr, &info), kMissing);
  EXPECT_EQ(getSampleInfo(sample, nullptr), kMissing);
  EXPECT_EQ(getSampleLocation(nullptr, &location), kMissing);
  EXPECT_EQ(getSampleLocation(sample, nullptr), kMissing);
  EXPECT_EQ(readBytes(nullptr, 0, buffer.data(), 1), kMissing);
  EXPECT_EQ(readBytes(reader, 0, nullptr, 1), kMissing);
  EXPECT_EQ(peekBytes(nullptr, 0, buffer.data(), 1), kMissing);
  EXPECT_EQ(peekBytes(reader, 0, nullptr, 1), kMissing);
  EXPECT_EQ(checkBytes(nullptr, 0, 1), kMissing);
  EXPECT_EQ(getHintedTrackCount(nullptr, 0, &number), kMissing);
  EXPECT_EQ(getHintedTrackCount(reader, 0, nullptr), kMissing);
  EXPECT_EQ(getHintedTracks(nullptr, 0, &number), kMissing);
  EXPECT_EQ(getHintedTracks(reader, 0, nullptr), kMissing);
  EXPECT_EQ(getMetadataLength(nullptr, &length), kMissing);
  EXPECT_EQ(getMetadataLength(reader, nullptr), kMissing);
  EXPECT_EQ(getMetadata(nullptr, buffer.data()), kMissing);
  EXPECT_EQ(getMetadata(reader, nullptr), kMissing);
  EXPECT_EQ(closeSample(sample), 0u);
}

TEST(ReaderFunctions, NeedATrackAndADescriptionThatExist) {
  Opened opened(smallMovie());
  NorvikKavTrackInfo track;
  std::uint32_t number = 7;
  char name = 'x';
  const NorvikKavSampleDescription* description = nullptr;
  for (const std::uint32_t index : {3u, 0xFFFFFFFFu}) {
    EXPECT_EQ(getTrackInfo(opened.reader, index, &track), kMissing);
    EXPECT_EQ(getTrackHandler(opened.reader, index, &number), kMissing);
    EXPECT_EQ(getTrackName(opened.reader, index, &name), kMissing);
    EXPECT_EQ(getSampleDescriptionCount(opened.reader, index, &number), kMissing);
    EXPECT_EQ(getSampleDescriptionHandle(opened.reader, index, 1, &description), kMissing);
  }
  for (const std::uint32_t index : {0u, 2u, 0xFFFFFFFFu}) {
    EXPECT_EQ(getSampleDescriptionHandle(opened.reader, 0, index, &description), kMissing);
  }
  EXPECT_EQ(number, 7u);
  EXPECT_EQ(name, 'x');
  EXPECT_EQ(description, nullptr);
}

TEST(OpenReader, HoldsAShareOfTheStreamUntilItIsClosed) {
  Opened opened(smallMovie());
  EXPECT_EQ(opened.stream->references(), 2u);
  EXPECT_EQ(closeReader(opened.reader), 0u);
  opened.reader = nullptr;
  EXPECT_EQ(opened.stream->references(), 1u);
}

TEST(OpenReader, AnswersWithTheCodeOfTheFailureAndLeavesTheHandleAlone) {
  const Opened none{Bytes()};
  EXPECT_EQ(none.code, 6u);
  EXPECT_EQ(none.reader, nullptr);
  EXPECT_EQ(none.stream->references(), 1u);
  MovieBuilder movie = smallMovie();
  movie.drop("moov/mvhd");
  EXPECT_EQ(Opened(movie).code, 14u);
}

TEST(OpenReader, AnswersWithTheCodeOfEveryKindOfBrokenTable) {
  constexpr std::uint32_t kTooMany = 100'000'001;
  const struct {
    const char* table;
    Bytes replacement;
    std::uint32_t code;
  } cases[] = {
      {"stts", fullBox("stts", 0, 0, u32(kTooMany)), 9},
      {"stts", fullBox("stts", 0, 0, u32(99)), 27},
      {"stsc", fullBox("stsc", 0, 0, u32(1), u32List({2, 1, 1})), 23},
      {"stss", fullBox("ctts", 0, 0, u32(2), u32List({0xFFFFFFF0, 0, 0x20, 0})), 30},
      {"stss", fullBox("ctts", 0, 0, u32(kTooMany)), 9},
      {"stss", fullBox("stss", 0, 0, u32(kTooMany)), 31},
      {"stsz", fullBox("stsz", 0, 0, u32(7), u32(kTooMany)), 31},
      {"stco", fullBox("stco", 0, 0, u32(kTooMany)), 31},
      {"stco", fullBox("co64", 0, 0, u32(kTooMany)), 31},
      {"stsd", fullBox("stsd", 0, 0, u32(kTooMany)), 31},
  };
  for (const auto& [table, replacement, code] : cases) {
    MovieBuilder movie = smallMovie();
    movie.replace(std::string("moov/trak[1]/mdia/minf/stbl/") + table, replacement);
    const Opened opened(movie);
    EXPECT_EQ(opened.code, code) << table;
    EXPECT_EQ(opened.reader, nullptr) << table;
  }
}

TEST(OpenReader, AnswersWithTheCodeOfAFailingStream) {
  const Bytes file = smallMovie().build();
  const Opened counted(file);
  for (std::size_t call = 1; call <= counted.stream->calls().all(); ++call) {
    const MemoryStreamPtr stream = MemoryStream::create(file);
    stream->injectFault(call, MemoryStream::Fault::fails);
    NorvikKavReader* reader = nullptr;
    EXPECT_EQ(openReader(stream.get(), {}, &reader), 1u) << call;
    EXPECT_EQ(reader, nullptr);
  }
}

// A stream that fails in ways that the library does not know.
class WildStream final : public NorvikIStream {
 public:
  explicit WildStream(std::function<void()> failure) : failure_(std::move(failure)) {}

  void addRef() override { ++references; }
  void release() override { --references; }
  void open() override { failure_(); }
  void close() override {}
  std::size_t read(void*, std::size_t) override { return 0; }
  void seek(std::int64_t, int) override {}
  std::uint64_t tell() override { return 0; }

  int references = 0;

 private:
  std::function<void()> failure_;
};

TEST(OpenReader, LetsNoExceptionOut) {
  const std::vector<std::pair<std::function<void()>, std::uint32_t>> failures = {
      {[] { throw std::runtime_error("unexpected"); }, 1},
      {[] { throw std::bad_alloc(); }, 7},
      {[] { throw 42; }, 1}};
  for (const auto& [failure, code] : failures) {
    WildStream stream(failure);
    NorvikKavReader* reader = nullptr;
    EXPECT_EQ(openReader(&stream, {}, &reader), code);
    EXPECT_EQ(reader, nullptr);
    EXPECT_EQ(stream.references, 0);
  }
}

TEST(OpenReader, HandsTheProblemHandlerOn) {
  NorvikKavReaderOptions options;
  options.problemHandler.function = [](void*, Problem) { return 0; };
  MovieBuilder movie = smallMovie();
  movie.addInside("moov", claimingSize(400, box("free", zeros(4))));
  EXPECT_EQ(Opened(movie).code, 0u);
  EXPECT_EQ(Opened(movie, options).code, 1028u);
}

TEST(MovieInfo, TellsWhatTheHeaderSays) {
  Opened opened(smallMovie());
  NorvikKavMovieInfo info;
  ASSERT_EQ(getMovieInfo(opened.reader, &info), 0u);
  EXPECT_EQ(info.structSize, 56u);
  EXPECT_EQ(info.timescale, 600u);
  EXPECT_EQ(info.duration, 80u);  // two captions of 2002 in 30000
  EXPECT_EQ(info.creationTime, (NorvikKavDateTime{2020, 2, 29, 12, 34, 56, 0}));
  EXPECT_EQ(info.modificationTime, (NorvikKavDateTime{2020, 2, 29, 12, 34, 57, 0}));
  EXPECT_EQ(info.rate, 0.5f);
  EXPECT_EQ(info.volume, 0.25f);
  EXPECT_EQ(info.trackCount, 3u);
  EXPECT_EQ(info.isFragmented, 0u);
  Opened fragmented(smallMovie().splitIntoFragments({2, 2, 2}));
  ASSERT_EQ(getMovieInfo(fragmented.reader, &info), 0u);
  EXPECT_EQ(info.isFragmented, 1u);
}

TEST(TrackInfo, TellsWhatTheHeadersSay) {
  Opened opened(smallMovie());
  NorvikKavTrackInfo info;
  std::uint32_t handler = 0;
  ASSERT_EQ(getTrackInfo(opened.reader, 0, &info), 0u);
  EXPECT_EQ(info.structSize, 72u);
  EXPECT_EQ(info.trackId, 11u);
  EXPECT_EQ(info.mediaTimescale, 30000u);
  EXPECT_EQ(info.width, 320.0f);
  ASSERT_EQ(getTrackHandler(opened.reader, 0, &handler), 0u);
  EXPECT_EQ(handler, 0x76696465u);
  std::string name(info.handlerNameLength, '?');
  ASSERT_EQ(getTrackName(opened.reader, 0, name.data()), 0u);
  EXPECT_EQ(name, std::string("Video Handler\0", 14));
  ASSERT_EQ(getTrackHandler(opened.reader, 2, &handler), 0u);
  EXPECT_EQ(handler, 0x636c6370u);
}

TEST(SampleDescriptions, AreToldByTrack) {
  MovieBuilder movie = smallMovie();
  movie.tracks[2].entries = {genericEntry("c608", text("some")), genericEntry("c708")};
  Opened opened(movie);
  std::uint32_t count = 0;
  ASSERT_EQ(getSampleDescriptionCount(opened.reader, 2, &count), 0u);
  EXPECT_EQ(count, 2u);
  NorvikKavSampleDescInfo info;
  ASSERT_EQ(getSampleDescriptionInfo(descriptionOf(opened.reader, 2), &info), 0u);
  EXPECT_EQ(info.codecType, 0x63363038u);
  EXPECT_EQ(info.handlerType, 0x636c6370u);
  EXPECT_EQ(info.dataReferenceIndex, 1u);
  ASSERT_EQ(info.headerLength, 4u);
  Bytes bytes(4);
  ASSERT_EQ(getSampleDescription(descriptionOf(opened.reader, 2), bytes.data()), 0u);
  EXPECT_EQ(bytes, text("some"));
  ASSERT_EQ(getSampleDescriptionInfo(descriptionOf(opened.reader, 2, 2), &info), 0u);
  EXPECT_EQ(info.headerLength, 0u);
  EXPECT_EQ(info.codecType, 0x63373038u);
}

TEST(GetEditShift, TellsByWhatThePicturesOfATrackComeLater) {
  MovieBuilder movie({soundTrack(), videoTrack({.count = 4, .betweenAnchors = 1})});
  movie.tracks[1].edits = {{80, 1001}};
  std::uint64_t ticks = 7;
  ASSERT_EQ(getEditShift(Opened(movie).reader, 0, &ticks), 0u);
  EXPECT_EQ(ticks, 0u);
  ASSERT_EQ(getEditShift(Opened(movie).reader, 1, &ticks), 0u);
  EXPECT_EQ(ticks, 1001u);
  NorvikKavReaderOptions options;
  options.ignoreEditLists = true;
  ASSERT_EQ(getEditShift(Opened(movie, options).reader, 1, &ticks), 0u);
  EXPECT_EQ(ticks, 0u);
}

TEST(GetEditShift, FailsForATrackThatCannotBeWalked) {
  MovieBuilder movie({videoTrack({.count = 4, .betweenAnchors = 1})});
  movie.tracks[0].edits = {{80, 1001}};
  movie.tracks[0].extends.reset();
  movie.splitIntoFragments({2});
  std::uint64_t ticks = 7;
  EXPECT_EQ(getEditShift(Opened(movie).reader, 0, &ticks), 25u);
  EXPECT_EQ(ticks, 7u);
}

TEST(CountSamples, GivesARecordForEveryTrack) {
  MovieBuilder movie = smallMovie();
  movie.tracks[1].edits = {{60, kEmptyEdit}, {0, 0}};
  Opened opened(movie);
  std::array<NorvikKavTrackTotals, 3> totals;
  ASSERT_EQ(countSamples(opened.reader, kNoLimit, totals.data()), 0u);
  EXPECT_EQ(totals[0].sampleCount, 4u);
  EXPECT_EQ(totals[0].gapCount, 0u);
  EXPECT_EQ(totals[1].sampleCount, 3u);
  EXPECT_EQ(totals[1].gapCount, 1u);
  EXPECT_EQ(totals[2].sampleCount, 2u);
  ASSERT_EQ(countSamples(opened.reader, 0, totals.data()), 0u);
  EXPECT_EQ(totals[0].sampleCount + totals[1].sampleCount + totals[2].sampleCount, 0u);
}

TEST(SampleIterator, DeliversEverySampleWithItsPlace) {
  const MovieBuilder movie = smallMovie();
  Opened opened(movie);
  Iterator iterator(opened.reader);
  ASSERT_EQ(iterator.code, 0u);
  std::vector<std::vector<Bytes>> delivered(3);
  std::uint32_t hasNext = 0;
  while (hasNextSample(iterator.iterator, &hasNext) == 0 && hasNext == 1) {
    NorvikKavSample* sample = iterator.next();
    ASSERT_NE(sample, nullptr);
    NorvikKavSampleInfo info;
    NorvikKavSampleLocation location;
    ASSERT_EQ(getSampleInfo(sample, &info), 0u);
    ASSERT_EQ(getSampleLocation(sample, &location), 0u);
    EXPECT_EQ(closeSample(sample), 0u);
    EXPECT_EQ(info.structSize, 32u);
    EXPECT_EQ(info.trackId, 11 * (location.trackIndex + 1));
    EXPECT_EQ(location.descriptionIndex, 1u);
    EXPECT_EQ(location.fragmentSequence, 0u);
    Bytes bytes(info.size);
    ASSERT_EQ(readBytes(opened.reader, location.fileOffset, bytes.data(), bytes.size()), 0u);
    EXPECT_EQ(checkBytes(opened.reader, location.fileOffset, info.size), 0u);
    delivered.at(location.trackIndex).push_back(bytes);
  }
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(delivered[i], movie.tracks[i].sampleBytes());
  EXPECT_EQ(hasNext, 0u);
  EXPECT_EQ(iterator.next(), nullptr);
  EXPECT_EQ(iterator.code, 0u);
}

TEST(SampleIterator, TellsTheFragmentOfASample) {
  Opened opened(smallMovie().splitIntoFragments({3, 3, 3}));
  Iterator iterator(opened.reader);
  NorvikKavSampleLocation location;
  std::uint32_t last = 0;
  while (NorvikKavSample* sample = iterator.next()) {
    ASSERT_EQ(getSampleLocation(sample, &location), 0u);
    closeSample(sample);
    EXPECT_TRUE(location.fragmentSequence == 1 || location.fragmentSequence == 2);
    last = std::max(last, location.fragmentSequence);
  }
  EXPECT_EQ(last, 2u);
}

TEST(SampleIterator, FollowsTheEditListsUnlessToldNotTo) {
  MovieBuilder movie({soundTrack({.count = 2})});
  movie.tracks[0].edits = {{60, kEmptyEdit}, {0, 0}};
  NorvikKavReaderOptions ignoring;
  ignoring.ignoreEditLists = true;
  NorvikKavSampleInfo info;
  Opened applied(movie);
  Iterator edited(applied.reader);
  NorvikKavSample* sample = edited.next();
  ASSERT_EQ(getSampleInfo(sample, &info), 0u);
  EXPECT_EQ(info.flags, 2u);
  NorvikKavSampleLocation location;
  ASSERT_EQ(getSampleLocation(sample, &location), 0u);
  EXPECT_EQ(location.descriptionIndex, 0u);
  closeSample(sample);
  Opened ignored(movie, ignoring);
  Iterator stored(ignored.reader);
  sample = stored.next();
  ASSERT_EQ(getSampleInfo(sample, &info), 0u);
  EXPECT_EQ(info.flags, 0u);
  closeSample(sample);
}

TEST(SampleIterator, AnswersWithTheCodeOfABrokenTable) {
  MovieBuilder movie({soundTrack({.count = 4})});
  movie.replace("moov/trak[1]/mdia/minf/stbl/stsc",
                fullBox("stsc", 0, 0, u32(2), u32(1), u32(2), u32(1), u32(2), u32(0), u32(1)));
  Opened opened(movie);
  Iterator iterator(opened.reader);
  NorvikKavSample* untouched = reinterpret_cast<NorvikKavSample*>(&movie);
  EXPECT_EQ(nextSample(iterator.iterator, &untouched), 23u);
  EXPECT_EQ(untouched, reinterpret_cast<NorvikKavSample*>(&movie));
}

TEST(SampleIterator, AnswersWithTheCodeOfMissingDefaults) {
  MovieBuilder movie({soundTrack({.count = 4})});
  movie.splitIntoFragments({2});
  movie.tracks[0].extends.reset();
  Opened opened(movie);
  Iterator iterator(opened.reader);
  EXPECT_EQ(iterator.code, 25u);
  EXPECT_EQ(iterator.iterator, nullptr);
}

TEST(ReadBytes, FailsPastTheEndOfTheFile) {
  const Bytes file = smallMovie().build();
  Opened opened(file);
  Bytes two(2);
  EXPECT_EQ(readBytes(opened.reader, file.size() - 2, two.data(), 2), 0u);
  EXPECT_EQ(two, Bytes(file.end() - 2, file.end()));
  EXPECT_EQ(readBytes(opened.reader, file.size() - 1, two.data(), 2), 5u);
  EXPECT_EQ(readBytes(opened.reader, ~std::uint64_t{0}, two.data(), 2), 5u);
  EXPECT_EQ(checkBytes(opened.reader, file.size() - 2, 2), 0u);
  EXPECT_EQ(checkBytes(opened.reader, file.size() - 1, 2), 5u);
  EXPECT_EQ(checkBytes(opened.reader, file.size(), 0), 0u);
}

TEST(ReadBytes, AnswersWithTheCodeOfAFailingStream) {
  Opened opened(smallMovie());
  Bytes two(2);
  opened.stream->injectFault(1, MemoryStream::Fault::fails);
  EXPECT_EQ(readBytes(opened.reader, 0, two.data(), 2), 1u);
  EXPECT_EQ(readBytes(opened.reader, 4, two.data(), 2), 0u);
  EXPECT_EQ(two, text("ft"));
}

TEST(Metadata, TellsItsLengthAndItsBytes) {
  MovieBuilder movie = smallMovie();
  movie.tail = uuidBox(kXmpUuid, text("<x/>"));
  Opened opened(movie);
  std::size_t length = 99;
  ASSERT_EQ(getMetadataLength(opened.reader, &length), 0u);
  ASSERT_EQ(length, 4u);
  Bytes bytes(length);
  ASSERT_EQ(getMetadata(opened.reader, bytes.data()), 0u);
  EXPECT_EQ(bytes, text("<x/>"));
  Opened none(smallMovie());
  ASSERT_EQ(getMetadataLength(none.reader, &length), 0u);
  EXPECT_EQ(length, 0u);
  ASSERT_EQ(getMetadata(none.reader, bytes.data()), 0u);
  EXPECT_EQ(bytes, text("<x/>"));
}

}  // namespace
}  // namespace norvik::kav
