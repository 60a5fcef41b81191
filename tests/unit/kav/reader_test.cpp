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
#include "tests/support/expect_code.h"
#include "tests/support/media_samples.h"
#include "tests/support/memory_stream.h"
#include "tests/support/movie_builder.h"

namespace norvik::kav {
namespace {

using namespace quarrypack::test;

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
      : stream(MemoryStream::create(file)),
        code(static_cast<ErrorCode>(openReader(stream.get(), options, &reader))) {}
  explicit Opened(const MovieBuilder& movie, const NorvikKavReaderOptions& options = {})
      : Opened(movie.build(), options) {}
  ~Opened() {
    if (reader != nullptr) closeReader(reader);
  }

  MemoryStreamPtr stream;
  NorvikKavReader* reader = nullptr;
  ErrorCode code;
};

struct Iterator {
  explicit Iterator(NorvikKavReader* reader) {
    code = static_cast<ErrorCode>(createSampleIterator(reader, &iterator));
  }
  ~Iterator() {
    if (iterator != nullptr) closeSampleIterator(iterator);
  }
  NorvikKavSample* next() {
    NorvikKavSample* sample = nullptr;
    code = static_cast<ErrorCode>(nextSample(iterator, &sample));
    return sample;
  }

  NorvikKavSampleIterator* iterator = nullptr;
  ErrorCode code = ErrorCode::success;
};

const NorvikKavSampleDescription* descriptionOf(NorvikKavReader* reader, std::uint32_t track,
                                                std::uint32_t index = 1) {
  const NorvikKavSampleDescription* description = nullptr;
  EXPECT_RESULT(success, getSampleDescriptionHandle(reader, track, index, &description));
  return description;
}

TEST(ReaderFunctions, NeedTheirHandlesAndOutputs) {
  Opened opened(smallMovie());
  ASSERT_EQ(opened.code, ErrorCode::success);
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

  EXPECT_RESULT(missingArgument, openReader(nullptr, {}, &newReader));
  EXPECT_RESULT(missingArgument, openReader(opened.stream.get(), {}, nullptr));
  EXPECT_RESULT(missingArgument, closeReader(nullptr));
  EXPECT_RESULT(missingArgument, getMovieInfo(nullptr, &movie));
  EXPECT_RESULT(missingArgument, getMovieInfo(reader, nullptr));
  EXPECT_RESULT(missingArgument, getTrackInfo(nullptr, 0, &track));
  EXPECT_RESULT(missingArgument, getTrackInfo(reader, 0, nullptr));
  EXPECT_RESULT(missingArgument, getTrackHandler(nullptr, 0, &number));
  EXPECT_RESULT(missingArgument, getTrackHandler(reader, 0, nullptr));
  EXPECT_RESULT(missingArgument, getTrackName(nullptr, 0, name));
  EXPECT_RESULT(missingArgument, getTrackName(reader, 0, nullptr));
  EXPECT_RESULT(missingArgument, getSampleDescriptionCount(nullptr, 0, &number));
  EXPECT_RESULT(missingArgument, getSampleDescriptionCount(reader, 0, nullptr));
  EXPECT_RESULT(missingArgument, getSampleDescriptionHandle(nullptr, 0, 1, &newDescription));
  EXPECT_RESULT(missingArgument, getSampleDescriptionHandle(reader, 0, 1, nullptr));
  EXPECT_RESULT(missingArgument, getSampleDescriptionInfo(nullptr, &descInfo));
  EXPECT_RESULT(missingArgument, getSampleDescriptionInfo(description, nullptr));
  EXPECT_RESULT(missingArgument, getVideoSampleDescriptionInfo(nullptr, &videoInfo));
  EXPECT_RESULT(missingArgument, getVideoSampleDescriptionInfo(description, nullptr));
  EXPECT_RESULT(missingArgument, getAudioSampleDescriptionInfo(nullptr, &audioInfo));
  EXPECT_RESULT(missingArgument, getAudioSampleDescriptionInfo(description, nullptr));
  EXPECT_RESULT(missingArgument, copySampleDescription(nullptr, &copy));
  EXPECT_RESULT(missingArgument, copySampleDescription(description, nullptr));
  EXPECT_RESULT(missingArgument, getSampleDescription(nullptr, buffer.data()));
  EXPECT_RESULT(missingArgument, getSampleDescription(description, nullptr));
  EXPECT_RESULT(missingArgument, getEditShift(nullptr, 0, &ticks));
  EXPECT_RESULT(missingArgument, getEditShift(reader, 0, nullptr));
  EXPECT_RESULT(missingArgument, getEditShift(reader, 3, &ticks));
  EXPECT_RESULT(missingArgument, countSamples(nullptr, kNoLimit, totals.data()));
  EXPECT_RESULT(missingArgument, countSamples(reader, kNoLimit, nullptr));
  EXPECT_RESULT(missingArgument, createSampleIterator(nullptr, &newIterator));
  EXPECT_RESULT(missingArgument, createSampleIterator(reader, nullptr));
  EXPECT_RESULT(missingArgument, closeSampleIterator(nullptr));
  EXPECT_RESULT(missingArgument, hasNextSample(nullptr, &number));
  EXPECT_RESULT(missingArgument, hasNextSample(iterator.iterator, nullptr));
  EXPECT_RESULT(missingArgument, nextSample(nullptr, &newSample));
  EXPECT_RESULT(missingArgument, nextSample(iterator.iterator, nullptr));
  EXPECT_RESULT(missingArgument, closeSample(nullptr));
  EXPECT_RESULT(missingArgument, getSampleInfo(nullptr, &info));
  EXPECT_RESULT(missingArgument, getSampleInfo(sample, nullptr));
  EXPECT_RESULT(missingArgument, getSampleLocation(nullptr, &location));
  EXPECT_RESULT(missingArgument, getSampleLocation(sample, nullptr));
  EXPECT_RESULT(missingArgument, readBytes(nullptr, 0, buffer.data(), 1));
  EXPECT_RESULT(missingArgument, readBytes(reader, 0, nullptr, 1));
  EXPECT_RESULT(missingArgument, peekBytes(nullptr, 0, buffer.data(), 1));
  EXPECT_RESULT(missingArgument, peekBytes(reader, 0, nullptr, 1));
  EXPECT_RESULT(missingArgument, checkBytes(nullptr, 0, 1));
  EXPECT_RESULT(missingArgument, getHintedTrackCount(nullptr, 0, &number));
  EXPECT_RESULT(missingArgument, getHintedTrackCount(reader, 0, nullptr));
  EXPECT_RESULT(missingArgument, getHintedTracks(nullptr, 0, &number));
  EXPECT_RESULT(missingArgument, getHintedTracks(reader, 0, nullptr));
  EXPECT_RESULT(missingArgument, getMetadataLength(nullptr, &length));
  EXPECT_RESULT(missingArgument, getMetadataLength(reader, nullptr));
  EXPECT_RESULT(missingArgument, getMetadata(nullptr, buffer.data()));
  EXPECT_RESULT(missingArgument, getMetadata(reader, nullptr));
  EXPECT_RESULT(success, closeSample(sample));
}

TEST(ReaderFunctions, NeedATrackAndADescriptionThatExist) {
  Opened opened(smallMovie());
  NorvikKavTrackInfo track;
  std::uint32_t number = 7;
  char name = 'x';
  const NorvikKavSampleDescription* description = nullptr;
  for (const std::uint32_t index : {3u, 0xFFFFFFFFu}) {
    EXPECT_RESULT(missingArgument, getTrackInfo(opened.reader, index, &track));
    EXPECT_RESULT(missingArgument, getTrackHandler(opened.reader, index, &number));
    EXPECT_RESULT(missingArgument, getTrackName(opened.reader, index, &name));
    EXPECT_RESULT(missingArgument, getSampleDescriptionCount(opened.reader, index, &number));
    EXPECT_RESULT(missingArgument,
                  getSampleDescriptionHandle(opened.reader, index, 1, &description));
  }
  for (const std::uint32_t index : {0u, 2u, 0xFFFFFFFFu}) {
    EXPECT_RESULT(missingArgument,
                  getSampleDescriptionHandle(opened.reader, 0, index, &description));
  }
  EXPECT_EQ(number, 7u);
  EXPECT_EQ(name, 'x');
  EXPECT_EQ(description, nullptr);
}

TEST(OpenReader, HoldsAShareOfTheStreamUntilItIsClosed) {
  Opened opened(smallMovie());
  EXPECT_EQ(opened.stream->references(), 2u);
  EXPECT_RESULT(success, closeReader(opened.reader));
  opened.reader = nullptr;
  EXPECT_EQ(opened.stream->references(), 1u);
}

TEST(OpenReader, AnswersWithTheCodeOfTheFailureAndLeavesTheHandleAlone) {
  const Opened none{Bytes()};
  EXPECT_EQ(none.code, ErrorCode::noMovie);
  EXPECT_EQ(none.reader, nullptr);
  EXPECT_EQ(none.stream->references(), 1u);
  MovieBuilder movie = smallMovie();
  movie.drop("moov/mvhd");
  EXPECT_EQ(Opened(movie).code, ErrorCode::childRuleBroken);
}

TEST(OpenReader, AnswersWithTheCodeOfEveryKindOfBrokenTable) {
  constexpr std::uint32_t kTooMany = 100'000'001;
  const struct {
    const char* table;
    Bytes replacement;
    ErrorCode code;
  } cases[] = {
      {"stts", fullBox("stts", 0, 0, u32(kTooMany)), ErrorCode::implausibleCount},
      {"stts", fullBox("stts", 0, 0, u32(99)), ErrorCode::truncatedBox},
      {"stsc", fullBox("stsc", 0, 0, u32(1), u32List({2, 1, 1})), ErrorCode::badChunkRun},
      {"stss", fullBox("ctts", 0, 0, u32(2), u32List({0xFFFFFFF0, 0, 0x20, 0})),
       ErrorCode::sampleNumberOverflow},
      {"stss", fullBox("ctts", 0, 0, u32(kTooMany)), ErrorCode::implausibleCount},
      {"stss", fullBox("stss", 0, 0, u32(kTooMany)), ErrorCode::implausibleSampleCount},
      {"stsz", fullBox("stsz", 0, 0, u32(7), u32(kTooMany)), ErrorCode::implausibleSampleCount},
      {"stco", fullBox("stco", 0, 0, u32(kTooMany)), ErrorCode::implausibleSampleCount},
      {"stco", fullBox("co64", 0, 0, u32(kTooMany)), ErrorCode::implausibleSampleCount},
      {"stsd", fullBox("stsd", 0, 0, u32(kTooMany)), ErrorCode::implausibleSampleCount},
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
    EXPECT_RESULT(ioFailed, openReader(stream.get(), {}, &reader)) << call;
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
  const std::vector<std::pair<std::function<void()>, ErrorCode>> failures = {
      {[] { throw std::runtime_error("unexpected"); }, ErrorCode::ioFailed},
      {[] { throw std::bad_alloc(); }, ErrorCode::outOfMemory},
      {[] { throw std::length_error("vector"); }, ErrorCode::outOfMemory},
      {[] { throw 42; }, ErrorCode::ioFailed}};
  for (const auto& [failure, code] : failures) {
    WildStream stream(failure);
    NorvikKavReader* reader = nullptr;
    EXPECT_EQ(static_cast<ErrorCode>(openReader(&stream, {}, &reader)), code);
    EXPECT_EQ(reader, nullptr);
    EXPECT_EQ(stream.references, 0);
  }
}

TEST(MovieInfo, ReportsTheFieldsOfTheHeader) {
  Opened opened(smallMovie());
  NorvikKavMovieInfo info;
  ASSERT_RESULT(success, getMovieInfo(opened.reader, &info));
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
  ASSERT_RESULT(success, getMovieInfo(fragmented.reader, &info));
  EXPECT_EQ(info.isFragmented, 1u);
}

TEST(TrackInfo, ReportsTheFieldsOfTheHeaders) {
  Opened opened(smallMovie());
  NorvikKavTrackInfo info;
  std::uint32_t handler = 0;
  ASSERT_RESULT(success, getTrackInfo(opened.reader, 0, &info));
  EXPECT_EQ(info.structSize, 72u);
  EXPECT_EQ(info.trackId, 11u);
  EXPECT_EQ(info.mediaTimescale, 30000u);
  EXPECT_EQ(info.width, 320.0f);
  ASSERT_RESULT(success, getTrackHandler(opened.reader, 0, &handler));
  EXPECT_EQ(handler, 0x76696465u);
  std::string name(info.handlerNameLength, '?');
  ASSERT_RESULT(success, getTrackName(opened.reader, 0, name.data()));
  EXPECT_EQ(name, std::string("Video Handler\0", 14));
  ASSERT_RESULT(success, getTrackHandler(opened.reader, 2, &handler));
  EXPECT_EQ(handler, 0x636c6370u);
}

TEST(SampleDescriptions, AreToldByTrack) {
  MovieBuilder movie = smallMovie();
  movie.tracks[2].entries = {genericEntry("c608", text("some")), genericEntry("c708")};
  Opened opened(movie);
  std::uint32_t count = 0;
  ASSERT_RESULT(success, getSampleDescriptionCount(opened.reader, 2, &count));
  EXPECT_EQ(count, 2u);
  NorvikKavSampleDescInfo info;
  ASSERT_RESULT(success, getSampleDescriptionInfo(descriptionOf(opened.reader, 2), &info));
  EXPECT_EQ(info.codecType, 0x63363038u);
  EXPECT_EQ(info.handlerType, 0x636c6370u);
  EXPECT_EQ(info.dataReferenceIndex, 1u);
  ASSERT_EQ(info.headerLength, 4u);
  Bytes bytes(4);
  ASSERT_RESULT(success, getSampleDescription(descriptionOf(opened.reader, 2), bytes.data()));
  EXPECT_EQ(bytes, text("some"));
  ASSERT_RESULT(success, getSampleDescriptionInfo(descriptionOf(opened.reader, 2, 2), &info));
  EXPECT_EQ(info.headerLength, 0u);
  EXPECT_EQ(info.codecType, 0x63373038u);
}

TEST(GetEditShift, ReportsHowMuchLaterThePicturesOfATrackAre) {
  MovieBuilder movie({soundTrack(), videoTrack({.count = 4, .betweenAnchors = 1})});
  movie.tracks[1].edits = {{80, 1001}};
  std::uint64_t ticks = 7;
  ASSERT_RESULT(success, getEditShift(Opened(movie).reader, 0, &ticks));
  EXPECT_EQ(ticks, 0u);
  ASSERT_RESULT(success, getEditShift(Opened(movie).reader, 1, &ticks));
  EXPECT_EQ(ticks, 1001u);
  NorvikKavReaderOptions options;
  options.ignoreEditLists = true;
  ASSERT_RESULT(success, getEditShift(Opened(movie, options).reader, 1, &ticks));
  EXPECT_EQ(ticks, 0u);
}

TEST(GetEditShift, FailsForATrackThatCannotBeWalked) {
  MovieBuilder movie({videoTrack({.count = 4, .betweenAnchors = 1})});
  movie.tracks[0].edits = {{80, 1001}};
  movie.tracks[0].extends.reset();
  movie.splitIntoFragments({2});
  std::uint64_t ticks = 7;
  EXPECT_RESULT(noTrackDefaults, getEditShift(Opened(movie).reader, 0, &ticks));
  EXPECT_EQ(ticks, 7u);
}

TEST(CountSamples, GivesARecordForEveryTrack) {
  MovieBuilder movie = smallMovie();
  movie.tracks[1].edits = {{60, kEmptyEdit}, {0, 0}};
  Opened opened(movie);
  std::array<NorvikKavTrackTotals, 3> totals;
  ASSERT_RESULT(success, countSamples(opened.reader, kNoLimit, totals.data()));
  EXPECT_EQ(totals[0].sampleCount, 4u);
  EXPECT_EQ(totals[0].gapCount, 0u);
  EXPECT_EQ(totals[1].sampleCount, 3u);
  EXPECT_EQ(totals[1].gapCount, 1u);
  EXPECT_EQ(totals[2].sampleCount, 2u);
  ASSERT_RESULT(success, countSamples(opened.reader, 0, totals.data()));
  EXPECT_EQ(totals[0].sampleCount + totals[1].sampleCount + totals[2].sampleCount, 0u);
}

TEST(SampleIterator, DeliversEverySampleWithItsPlace) {
  const MovieBuilder movie = smallMovie();
  Opened opened(movie);
  Iterator iterator(opened.reader);
  ASSERT_EQ(iterator.code, ErrorCode::success);
  std::vector<std::vector<Bytes>> delivered(3);
  std::uint32_t hasNext = 0;
  while (hasNextSample(iterator.iterator, &hasNext) == 0 && hasNext == 1) {
    NorvikKavSample* sample = iterator.next();
    ASSERT_NE(sample, nullptr);
    NorvikKavSampleInfo info;
    NorvikKavSampleLocation location;
    ASSERT_RESULT(success, getSampleInfo(sample, &info));
    ASSERT_RESULT(success, getSampleLocation(sample, &location));
    EXPECT_RESULT(success, closeSample(sample));
    EXPECT_EQ(info.structSize, 32u);
    EXPECT_EQ(info.trackId, 11 * (location.trackIndex + 1));
    EXPECT_EQ(location.descriptionIndex, 1u);
    EXPECT_EQ(location.fragmentSequence, 0u);
    Bytes bytes(info.size);
    ASSERT_RESULT(success,
                  readBytes(opened.reader, location.fileOffset, bytes.data(), bytes.size()));
    EXPECT_RESULT(success, checkBytes(opened.reader, location.fileOffset, info.size));
    delivered.at(location.trackIndex).push_back(bytes);
  }
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(delivered[i], movie.tracks[i].sampleBytes());
  EXPECT_EQ(hasNext, 0u);
  EXPECT_EQ(iterator.next(), nullptr);
  EXPECT_EQ(iterator.code, ErrorCode::success);
}

TEST(SampleIterator, ReportsTheFragmentOfASample) {
  Opened opened(smallMovie().splitIntoFragments({3, 3, 3}));
  Iterator iterator(opened.reader);
  NorvikKavSampleLocation location;
  std::uint32_t last = 0;
  while (NorvikKavSample* sample = iterator.next()) {
    ASSERT_RESULT(success, getSampleLocation(sample, &location));
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
  ASSERT_RESULT(success, getSampleInfo(sample, &info));
  EXPECT_EQ(info.flags, 2u);
  NorvikKavSampleLocation location;
  ASSERT_RESULT(success, getSampleLocation(sample, &location));
  EXPECT_EQ(location.descriptionIndex, 0u);
  closeSample(sample);
  Opened ignored(movie, ignoring);
  Iterator stored(ignored.reader);
  sample = stored.next();
  ASSERT_RESULT(success, getSampleInfo(sample, &info));
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
  EXPECT_RESULT(badChunkRun, nextSample(iterator.iterator, &untouched));
  EXPECT_EQ(untouched, reinterpret_cast<NorvikKavSample*>(&movie));
}

TEST(SampleIterator, AnswersWithTheCodeOfMissingDefaults) {
  MovieBuilder movie({soundTrack({.count = 4})});
  movie.splitIntoFragments({2});
  movie.tracks[0].extends.reset();
  Opened opened(movie);
  Iterator iterator(opened.reader);
  EXPECT_EQ(iterator.code, ErrorCode::noTrackDefaults);
  EXPECT_EQ(iterator.iterator, nullptr);
}

TEST(ReadBytes, FailsPastTheEndOfTheFile) {
  const Bytes file = smallMovie().build();
  Opened opened(file);
  Bytes two(2);
  EXPECT_RESULT(success, readBytes(opened.reader, file.size() - 2, two.data(), 2));
  EXPECT_EQ(two, Bytes(file.end() - 2, file.end()));
  EXPECT_RESULT(shortRead, readBytes(opened.reader, file.size() - 1, two.data(), 2));
  EXPECT_RESULT(success, peekBytes(opened.reader, 4, two.data(), 2));
  EXPECT_EQ(two, text("ft"));
  EXPECT_RESULT(shortRead, peekBytes(opened.reader, file.size() - 1, two.data(), 2));
  EXPECT_RESULT(shortRead, readBytes(opened.reader, ~std::uint64_t{0}, two.data(), 2));
  EXPECT_RESULT(success, checkBytes(opened.reader, file.size() - 2, 2));
  EXPECT_RESULT(shortRead, checkBytes(opened.reader, file.size() - 1, 2));
  EXPECT_RESULT(success, checkBytes(opened.reader, file.size(), 0));
}

TEST(ReadBytes, AnswersWithTheCodeOfAFailingStream) {
  Opened opened(smallMovie());
  Bytes two(2);
  opened.stream->injectFault(1, MemoryStream::Fault::fails);
  EXPECT_RESULT(ioFailed, readBytes(opened.reader, 0, two.data(), 2));
  EXPECT_RESULT(success, readBytes(opened.reader, 4, two.data(), 2));
  EXPECT_EQ(two, text("ft"));
}

TEST(Metadata, ReportsItsLengthAndItsBytes) {
  MovieBuilder movie = smallMovie();
  movie.tail = uuidBox(kXmpUuid, text("<x/>"));
  Opened opened(movie);
  std::size_t length = 99;
  ASSERT_RESULT(success, getMetadataLength(opened.reader, &length));
  ASSERT_EQ(length, 4u);
  Bytes bytes(length);
  ASSERT_RESULT(success, getMetadata(opened.reader, bytes.data()));
  EXPECT_EQ(bytes, text("<x/>"));
  Opened none(smallMovie());
  ASSERT_RESULT(success, getMetadataLength(none.reader, &length));
  EXPECT_EQ(length, 0u);
  ASSERT_RESULT(success, getMetadata(none.reader, bytes.data()));
  EXPECT_EQ(bytes, text("<x/>"));
}

}  // namespace
}  // namespace norvik::kav
