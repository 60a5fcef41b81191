#include "kav/impl/reading/reader.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kav/impl/boxes/description_boxes.h"
#include "kav/impl/boxes/file_boxes.h"
#include "kav/impl/boxes/movie_boxes.h"
#include "tests/unit/kav/impl/sample_columns.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};

TEST(Reader, OpensAMovieWhoseMovieBoxFollowsItsMediaData) {
  MovieBuilder movie({countingTrack(3)});
  Film behind(movie, ReaderOptions{});
  EXPECT_EQ(behind.reader().tracks().size(), 1u);
  ASSERT_NE(behind.reader().mediaData(), nullptr);
  EXPECT_EQ(behind.reader().mediaData()->type(), fourCc("mdat"));
  // Nothing after the movie box is read before it is requested.
  Film before(movie.moovFirst(), ReaderOptions{});
  EXPECT_EQ(before.reader().tracks().size(), 1u);
  EXPECT_EQ(before.reader().mediaData(), nullptr);
}

TEST(Reader, FailsWithoutAMovieBox) {
  EXPECT_CODE(noMovie, Film().reader());
  EXPECT_CODE(noMovie,
              Film(concat({box("ftyp", text("qt  "), u32(0)), box("mdat", zeros(9))})).reader());
}

TEST(Reader, ReadsNothingAheadOfNeed) {
  const MovieBuilder movie = MovieBuilder({countingTrack(3)}).moovFirst();
  const Bytes file = movie.build();
  const Bytes second = concat({file, box("moov")});
  Film opened(second, ReaderOptions{});
  EXPECT_EQ(drain(*opened.reader().createDocIterator()).size(), 3u);
  EXPECT_CODE(secondMovie, opened.reader().metadata());
}

TEST(Reader, FindsTheFirstMediaDataBeforeTheMovieBox) {
  MovieBuilder movie({countingTrack(2)});
  movie.order = {"ftyp", "mdat", "more", "moov"};
  movie.extras["more"] = box("mdat", zeros(5));
  const Film opened(movie, ReaderOptions{});
  const RootBox& root = *opened.track().root;
  EXPECT_EQ(opened.reader().mediaData(), root.children()[1].get());
}

TEST(Reader, ListsTheTracksInTheOrderOfTheFile) {
  MovieBuilder movie({countingTrack(1), countingTrack(1), countingTrack(1)});
  movie.tracks[0].id = 30;
  movie.tracks[1].id = 10;
  movie.tracks[2].id = 20;
  const Film opened(movie, ReaderOptions{});
  ASSERT_EQ(opened.reader().tracks().size(), 3u);
  for (std::uint32_t i = 0; i < 3; ++i) {
    const TrackRecord& track = opened.reader().records()[i];
    EXPECT_EQ(track.info().trackId, movie.tracks[i].id);
    EXPECT_EQ(track.track, &opened.reader().tracks()[i]);
    EXPECT_EQ(track.track->index, i);
    EXPECT_EQ(track.trak, opened.track().root->movie()->tracks()[i]);
    EXPECT_EQ(track.root, opened.track().root);
  }
}

TEST(Reader, ReportsTheFieldsOfTheHeadersOfATrack) {
  MovieBuilder movie({countingTrack(3, 48000, 1000)});
  movie.timescale = 600;
  MovieTrack& track = movie.tracks[0];
  track.id = 12;
  track.flags = 0x00ABCDEF;
  track.creationTime = 3665824496;  // 2020-02-29 12:34:56
  track.modificationTime = 3665824497;
  track.width = 0x01408000;
  track.height = 0x00F04000;
  track.volume = 0x0180;
  track.language = 0x15C7;  // "eng"
  track.name = text("Words");
  track.edits = {{601, 0}};  // the duration of the header
  const Film opened(movie, ReaderOptions{});
  const Track& record = opened.reader().tracks()[0];
  EXPECT_EQ(record.info.structSize, 72u);
  EXPECT_EQ(record.info.trackId, 12u);
  EXPECT_EQ(record.info.tkhdFlags, 0xABCDEFu);
  EXPECT_EQ(record.info.mediaTimescale, 48000u);
  EXPECT_EQ(record.info.creationTime, (NorvikKavDateTime{2020, 2, 29, 12, 34, 56, 0}));
  EXPECT_EQ(record.info.modificationTime, (NorvikKavDateTime{2020, 2, 29, 12, 34, 57, 0}));
  EXPECT_EQ(record.info.duration, 48080u);
  EXPECT_EQ(record.info.width, 320.5f);
  EXPECT_EQ(record.info.height, 240.25f);
  EXPECT_EQ(record.info.volume, 1.5f);
  EXPECT_EQ(record.info.language, (std::array<char, 4>{'e', 'n', 'g', '\0'}));
  EXPECT_EQ(record.info.handlerNameLength, 6u);
  EXPECT_EQ(record.name, "Words");
  EXPECT_EQ(record.info.flags, 0u);
  EXPECT_EQ(record.handlerType, fourCc("text"));
  EXPECT_FALSE(record.hasSyncTable);
  EXPECT_EQ(record.descriptions.size(), 1u);
  EXPECT_NE(opened.track().stbl, nullptr);
}

TEST(Reader, ConvertsTheDurationOfTheHeaderIntoTheTimescaleOfTheMedia) {
  struct Case {
    std::uint32_t movie, media;
    std::uint64_t duration, expected;
  };
  for (const Case& c : {Case{2, 3, 3, 4}, Case{2, 3, 1, 1}, Case{600, 600, 7, 7}}) {
    MovieBuilder movie({countingTrack(1, c.media)});
    movie.timescale = c.movie;
    movie.tracks[0].edits = {{c.duration, 0}};
    EXPECT_EQ(Film(movie, ReaderOptions{}).track().info().duration, c.expected);
  }
}

TEST(Reader, ReportsThatATrackHasDependencies) {
  MovieBuilder movie({countingTrack(2)});
  movie.tracks[0].dependencyTable = true;
  EXPECT_EQ(Film(movie, ReaderOptions{}).track().info().flags, 1u);
}

TEST(Reader, ReportsTheFieldsOfTheMovieHeader) {
  MovieBuilder movie({countingTrack(2)});
  movie.timescale = 1234;
  Film regular(movie, ReaderOptions{});
  EXPECT_EQ(regular.reader().info().timescale, 1234u);
  EXPECT_FALSE(regular.reader().info().isFragmented);
  EXPECT_TRUE(Film(movie.splitIntoFragments({1}), ReaderOptions{}).reader().info().isFragmented);
}

TEST(Reader, IteratesOverTenYears) {
  MovieBuilder movie({countingTrack(3, 1, 1)});
  movie.tracks[0].samples[0].duration = 315359999;
  Film opened(movie, ReaderOptions{});
  EXPECT_EQ(timesOf(drain(*opened.reader().createDocIterator())), (Column{0, 315359999}));
}

TEST(Reader, AppliesEditListsUnlessToldNotTo) {
  MovieBuilder movie({countingTrack(2)});
  movie.timescale = 100;
  movie.tracks[0].edits = {{3, kEmptyEdit}, {2, 0}};
  Film applied(movie, ReaderOptions{});
  EXPECT_EQ(timesOf(drain(*applied.reader().createDocIterator())), (Column{0, 30, 40}));
  Film ignored(movie, ReaderOptions{true, {}});
  EXPECT_EQ(timesOf(drain(*ignored.reader().createDocIterator())), (Column{0, 10}));
}

Column countsOf(Film& movie, std::uint64_t limit = kNoLimit) {
  Column counts;
  for (const TrackTotals& totals : movie.reader().countSamples(limit)) {
    counts.push_back(totals.sampleCount);
    counts.push_back(totals.gapCount);
  }
  return counts;
}

TEST(Reader, CountsSamplesAndGaps) {
  MovieBuilder movie({countingTrack(3), countingTrack(4), countingTrack(0)});
  movie.timescale = 100;
  movie.tracks[1].edits = {{3, kEmptyEdit}, {2, 0}, {1, kEmptyEdit}, {9, 20}};
  Film opened(movie, ReaderOptions{});
  opened.memory->resetCalls();
  EXPECT_EQ(countsOf(opened), (Column{3, 0, 4, 2, 0, 0}));
  EXPECT_EQ(opened.memory->calls().read, 0u);  // times and sizes only
}

TEST(Reader, CountsUntilTheSamplesLeaveTheFile) {
  MovieBuilder movie({countingTrack(4)});
  movie.moovFirst();
  Bytes file = movie.build();
  file.pop_back();
  Film cut(file, ReaderOptions{});
  EXPECT_EQ(countsOf(cut), (Column{3, 0}));
}

TEST(Reader, CountsUntilASampleFails) {
  MovieBuilder movie({countingTrack(5), countingTrack(2)});
  movie.replace(kTables + "stsc",
                fullBox("stsc", 0, 0, u32(2), u32(1), u32(2), u32(1), u32(2), u32(0), u32(1)));
  Film opened(movie, ReaderOptions{});
  EXPECT_EQ(countsOf(opened), (Column{1, 0, 2, 0}));
}

TEST(Reader, CountsNothingWhereNothingCanBeIterated) {
  MovieBuilder movie({countingTrack(2), countingTrack(2)});
  movie.splitIntoFragments({1, 1});
  movie.tracks[1].extends.reset();
  Film opened(movie, ReaderOptions{});
  EXPECT_EQ(countsOf(opened), (Column{0, 0, 0, 0}));
  EXPECT_CODE(noTrackDefaults, opened.reader().createDocIterator());
}

TEST(Reader, CountsUpToALimitOfBytesAndSixteenForASmallSample) {
  MovieBuilder movie({countingTrack(4), countingTrack(4)});
  movie.tracks[0].samples[0].bytes.resize(17);
  Film opened(movie, ReaderOptions{});
  EXPECT_EQ(countsOf(opened, 17 + 7 * 16), (Column{4, 0, 4, 0}));
  EXPECT_EQ(countsOf(opened, 17 + 7 * 16 - 1), (Column{4, 0, 3, 0}));
  EXPECT_EQ(countsOf(opened, 17 + 2 * 16), (Column{3, 0, 0, 0}));
  EXPECT_EQ(countsOf(opened, 16), (Column{0, 0, 0, 0}));
  EXPECT_EQ(countsOf(opened, 0), (Column{0, 0, 0, 0}));
}

TEST(Reader, ReadsBytesOfTheFile) {
  const Bytes file = MovieBuilder({countingTrack(2)}).build();
  Film opened(file, ReaderOptions{});
  Bytes head(8);
  opened.reader().readBytes(0, head);
  EXPECT_EQ(head, Bytes(file.begin(), file.begin() + 8));
  Bytes whole(file.size());
  opened.reader().readBytes(0, whole);
  EXPECT_EQ(whole, file);
  opened.reader().checkBytes(0, file.size());
  opened.reader().checkBytes(file.size(), 0);
}

TEST(Reader, FailsForBytesPastTheEnd) {
  const Bytes file = MovieBuilder({countingTrack(2)}).build();
  Film opened(file, ReaderOptions{});
  Bytes two(2);
  for (const std::uint64_t offset : {file.size() - 1, file.size(), file.size() + 1}) {
    EXPECT_CODE(shortRead, opened.reader().readBytes(offset, two)) << offset;
    EXPECT_CODE(shortRead, opened.reader().checkBytes(offset, 2)) << offset;
  }
  EXPECT_CODE(shortRead, opened.reader().readBytes(~std::uint64_t{0}, two));
  EXPECT_CODE(shortRead, opened.reader().checkBytes(1, ~std::uint64_t{0}));
  EXPECT_CODE(shortRead, opened.reader().checkBytes(file.size() + 1, 0));
}

TEST(Reader, PeeksThroughTheBlocksOfTheBoxes) {
  MovieBuilder movie({countingTrack(2)});
  movie.moovFirst().tail = box("free", zeros(10'000));
  const Bytes file = movie.build();
  Film opened(file, ReaderOptions{});
  Bytes type(4);
  opened.reader().peekBytes(4, type);
  EXPECT_EQ(type, text("ftyp"));
  opened.memory->resetCalls();
  opened.reader().peekBytes(4, type);
  EXPECT_EQ(opened.memory->calls().read, 0u);
  opened.reader().readBytes(4, type);
  EXPECT_EQ(opened.memory->calls().read, 1u) << "the blocks of the samples hold nothing of a peek";
  EXPECT_CODE(shortRead, opened.reader().peekBytes(file.size() - 3, type));
  EXPECT_CODE(shortRead, opened.reader().peekBytes(~std::uint64_t{0}, type));
  opened.memory->bytes().resize(file.size() - 1);
  EXPECT_CODE(shortRead, opened.reader().peekBytes(file.size() - 4, type));
}

TEST(Reader, ReadsNoBlockAgainForASampleThatCrossesIntoIt) {
  constexpr std::size_t kBlock = 64 * 1024;
  MovieBuilder movie({countingTrack(2)});
  movie.moovFirst().tail = box("free", zeros(3 * kBlock));
  Bytes file = movie.build();
  for (std::uint8_t i = 0; i < 20; ++i) file[kBlock - 10 + i] = i;
  Film opened(file, ReaderOptions{});
  Bytes bytes(20);
  opened.memory->resetCalls();
  opened.reader().readBytes(kBlock, bytes);
  opened.reader().readBytes(kBlock - 10, bytes);
  EXPECT_EQ(opened.memory->calls().read, 2u) << "one for each block";
  EXPECT_EQ(bytes, Bytes(file.begin() + kBlock - 10, file.begin() + kBlock + 10));
  Bytes longer(kBlock + 1);
  opened.reader().readBytes(kBlock - 10, longer);
  EXPECT_EQ(opened.memory->calls().read, 3u) << "longer than a block: read at once";
  EXPECT_EQ(longer, Bytes(file.begin() + kBlock - 10, file.begin() + 2 * kBlock - 9));
}

TEST(Reader, FailsForBytesThatHaveGoneMeanwhile) {
  Film opened(MovieBuilder({countingTrack(2)}), ReaderOptions{});
  auto& bytes = opened.memory->bytes();
  bytes.erase(bytes.end() - 4, bytes.end());
  Bytes last(8);
  EXPECT_CODE(shortRead, opened.reader().readBytes(opened.memory->bytes().size() - 4, last));
}

TEST(Reader, FindsTheMetadataWhereverItIs) {
  MovieBuilder movie({countingTrack(2)});
  movie.extras["xmp"] = uuidBox(kXmpUuid, text("<x:xmpmeta/>"));
  for (const std::vector<std::string>& order :
       {std::vector<std::string>{"ftyp", "xmp", "mdat", "moov"},
        std::vector<std::string>{"ftyp", "moov", "mdat", "xmp"}}) {
    movie.order = order;
    Film opened(movie, ReaderOptions{});
    const auto metadata = opened.reader().metadata();
    EXPECT_EQ(Bytes(metadata.begin(), metadata.end()), text("<x:xmpmeta/>"));
    Bytes copy(metadata.size());
    opened.reader().getMetadata(copy.data());
    EXPECT_EQ(copy, text("<x:xmpmeta/>"));
  }
}

TEST(Reader, RemembersThatThereIsNoMetadata) {
  const Uuid other = {1, 2, 3};
  MovieBuilder movie({countingTrack(2)});
  movie.moovFirst().tail = uuidBox(other, text("other"));
  Film opened(movie, ReaderOptions{});
  EXPECT_TRUE(opened.reader().metadata().empty());
  opened.memory->resetCalls();
  EXPECT_TRUE(opened.reader().metadata().empty());
  Bytes untouched = text("abc");
  opened.reader().getMetadata(untouched.data());
  EXPECT_EQ(untouched, text("abc"));
  EXPECT_EQ(opened.memory->calls().all(), 0u);
}

TEST(Reader, CopiesTheHeaderBytesOfADescription) {
  MovieTrack track = countingTrack(1);
  track.entries = {genericEntry("text", text("header bytes"))};
  const Film opened(MovieBuilder({track}), ReaderOptions{});
  const SampleDescription* description = opened.reader().tracks()[0].description(1);
  ASSERT_EQ(description->headerBytes().size(), 12u);
  Bytes bytes(12);
  Reader::getSampleDescription(*description, bytes.data());
  EXPECT_EQ(bytes, text("header bytes"));
}

TEST(Reader, AsksTheProblemHandler) {
  std::vector<Problem> asked;
  const ProblemHandler refusing{[](void* context, Problem problem) {
                                  static_cast<std::vector<Problem>*>(context)->push_back(problem);
                                  return 0;
                                },
                                &asked};
  MovieBuilder movie({countingTrack(2)});
  movie.order = {"ftyp", "moov"};
  movie.tail = zeros(3);
  Film opened(movie, ReaderOptions{false, refusing});
  EXPECT_TRUE(asked.empty());
  EXPECT_CODE(stoppedByHandler, opened.reader().metadata());
  EXPECT_EQ(asked, (std::vector<Problem>{Problem::trailingBytes}));
}

TEST(Reader, PassesFailuresOfTheStreamOn) {
  const Bytes file = MovieBuilder({countingTrack(2)}).build();
  MemoryStreamPtr counted = MemoryStream::create(file);
  { Reader reader(counted, {}); }
  for (std::size_t call = 1; call <= counted->calls().all(); ++call) {
    MemoryStreamPtr stream = MemoryStream::create(file);
    stream->injectFault(call, MemoryStream::Fault::fails);
    EXPECT_CODE(ioFailed, Reader(stream, {})) << call;
    EXPECT_EQ(stream->references(), 1u) << call;
  }
}

}  // namespace
}  // namespace norvik::kav::impl
