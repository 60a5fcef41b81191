#include "kav/impl/writing/writer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "kav/impl/boxes/description_boxes.h"
#include "tests/support/box_walk.h"
#include "tests/support/expect_code.h"
#include "tests/support/film.h"
#include "tests/unit/kav/impl/sample_columns.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint32_t kGap = 2;

MovieParameters movieOf(std::uint32_t timescale) {
  MovieParameters movie;
  movie.timescale = timescale;
  return movie;
}

TrackParameters trackOf(std::uint32_t timescale, std::uint32_t samples = 10,
                        std::uint32_t gaps = 0) {
  TrackParameters track;
  track.handlerType = fourCc("text");
  track.handlerName = {'T', 0};
  track.timescale = timescale;
  track.sampleCapacity = samples;
  track.editCapacity = gaps;
  track.descriptionCount = 1;
  return track;
}

// The bytes are read before addSample returns.
SampleToWrite sampleOf(std::uint32_t track, std::uint64_t time, const Bytes& bytes,
                       std::uint32_t flags = 0, std::uint32_t offset = 0,
                       std::uint32_t description = 1) {
  return {.trackNumber = track,
          .descriptionIndex = description,
          .decodingTime = time,
          .compositionOffset = offset,
          .flags = flags,
          .size = static_cast<std::uint32_t>(bytes.size()),
          .data = bytes.data()};
}

// A movie being written.
struct WrittenMovie {
  explicit WrittenMovie(std::uint32_t timescale = 600)
      : memory(MemoryStream::create()), writer(memory, movieOf(timescale)) {}

  std::uint32_t addTrack(const TrackParameters& parameters) {
    const std::uint32_t number = writer.addTrack(parameters);
    for (std::uint32_t i = 0; i < parameters.descriptionCount; ++i) {
      writer.addSampleDescription(number, source.reader().tracks()[0].descriptions[i].descriptor());
    }
    return number;
  }
  void addSample(std::uint32_t track, std::uint64_t time, const Bytes& bytes = text("sample"),
                 std::uint32_t flags = 0, std::uint32_t offset = 0, std::uint32_t description = 1) {
    writer.addSample(sampleOf(track, time, bytes, flags, offset, description));
  }
  void addGap(std::uint32_t track, std::uint64_t time) { addSample(track, time, {}, kGap); }
  BoxWalk finished() {
    writer.finish();
    return BoxWalk(memory->bytes());
  }

  static MovieBuilder sourceMovie() {
    MovieTrack track = countingTrack(1);
    track.entries.push_back(genericEntry("tx3g", text("second")));
    return MovieBuilder({track});
  }

  Film source{sourceMovie()};
  MemoryStreamPtr memory;
  Writer writer;
};

const Bytes kFileType = box("ftyp", text("kav "), u32(1), text("isom"), text("mp42"), text("m4v "));

TEST(Writer, WritesFileTypeAndMovieBoxForAMovieWithoutSamples) {
  WrittenMovie movie;
  movie.addTrack(trackOf(600));
  const BoxWalk walk = movie.finished();
  EXPECT_EQ(walk.topLevelTypes(), (std::vector<std::string>{"ftyp", "moov"}));
  EXPECT_EQ(Bytes(walk.bytes().begin(), walk.bytes().begin() + 28), kFileType);
  EXPECT_EQ(walk.track(1).samples.size(), 0u);
  EXPECT_EQ(walk.track(1).edits, (std::vector<WalkedEdit>{{0, 0, 0x10000}}));
}

TEST(Writer, WritesTheHeadOfTheFileAtOnce) {
  MemoryStreamPtr memory = MemoryStream::create();
  MovieParameters parameters = movieOf(600);
  parameters.creationTime = {2020, 2, 29, 12, 34, 56, 0};
  parameters.modificationTime = {2020, 2, 29, 12, 34, 57, 0};
  parameters.rate = 0.5;
  parameters.volume = 0.25;
  Writer writer(memory, parameters);
  EXPECT_TRUE(memory->isOpen());
  const Bytes mvhd = fullBox(
      "mvhd", 1, 0, u64(3665824496), u64(3665824497), u32(600), u64(0), u32(0x8000), u16(0x40),
      zeros(10), u32List({0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000}), zeros(24), u32(1));
  EXPECT_EQ(memory->bytes(), concat({kFileType, box("moov", mvhd)}));
  writer.finish();
  EXPECT_EQ(memory->bytes(), concat({kFileType, box("moov", mvhd)}));
}

TEST(Writer, NumbersTracksInTheOrderOfTheirAdding) {
  WrittenMovie movie;
  EXPECT_EQ(movie.addTrack(trackOf(600)), 1u);
  EXPECT_EQ(movie.addTrack(trackOf(700)), 2u);
  EXPECT_EQ(movie.addTrack(trackOf(800)), 3u);
  const BoxWalk walk = movie.finished();
  ASSERT_EQ(walk.tracks().size(), 3u);
  for (std::size_t i = 1; i <= 3; ++i) {
    EXPECT_EQ(walk.track(i).id, i);
    EXPECT_EQ(walk.track(i).timescale, 500 + 100 * i);
  }
  EXPECT_EQ(walk.movie().nextTrackId, 4u);
}

TEST(Writer, LeavesAReadableMovieAfterEveryTrack) {
  WrittenMovie movie;
  for (std::uint32_t track = 1; track <= 3; ++track) {
    movie.writer.addTrack(trackOf(600));
    const Bytes& file = movie.memory->bytes();
    // The size of the movie box, and the number of the next track in its header.
    EXPECT_LE(file.size() - 28, (std::size_t{file[28]} << 24 | std::size_t{file[29]} << 16 |
                                 std::size_t{file[30]} << 8 | file[31]));
    EXPECT_EQ(file[28 + 8 + 119], track + 1);
  }
}

TEST(Writer, WritesTheMovieBoxOfAFragmentedMovieAgainWithEveryTrack) {
  WrittenMovie descriptions;
  const MemoryStreamPtr memory = MemoryStream::create();
  Writer writer(memory, movieOf(600), FragmentParameters{.duration = 1234});
  for (std::uint32_t track = 1; track <= 3; ++track) {
    writer.addTrack(trackOf(1000 + track, 10, track));
    Film written(memory->bytes());
    const MoovBox& movie = *written.reader().records()[0].root->movie();
    EXPECT_EQ(movie.start(), 28u);
    EXPECT_EQ(movie.end(), memory->bytes().size());
    EXPECT_EQ(movie.mvhd()->record().nextTrackId, track + 1);
    EXPECT_EQ(movie.mvex()->mehd()->record().fragmentDuration, 1234u);
    ASSERT_EQ(written.reader().tracks().size(), track);
    for (std::uint32_t id = 1; id <= track; ++id) {
      EXPECT_NE(movie.mvex()->lookUpTrex(id), nullptr);
      EXPECT_EQ(written.reader().tracks()[id - 1].info.trackId, id);
      EXPECT_EQ(written.reader().tracks()[id - 1].info.mediaTimescale, 1000 + id);
      EXPECT_EQ(written.reader().tracks()[id - 1].descriptions.size(), id < track ? 1u : 0u);
    }
    writer.addSampleDescription(
        track, descriptions.source.reader().tracks()[0].descriptions[0].descriptor());
  }
}

// Not every one of many tracks moves all others, and none of them is lost.
TEST(Writer, KeepsTheMovieBoxOfFragmentsWholeOverManyTracks) {
  const MemoryStreamPtr memory = MemoryStream::create();
  Writer writer(memory, movieOf(600), FragmentParameters{});
  for (std::uint32_t track = 1; track <= 70; ++track) {
    writer.addTrack(trackOf(1000 + track));
    Film written(memory->bytes());
    const MoovBox& movie = *written.reader().records()[0].root->movie();
    EXPECT_EQ(movie.end(), memory->bytes().size());
    EXPECT_EQ(movie.mvhd()->record().nextTrackId, track + 1);
    ASSERT_EQ(written.reader().tracks().size(), track);
    for (std::uint32_t id = 1; id <= track; ++id) {
      EXPECT_NE(movie.mvex()->lookUpTrex(id), nullptr);
      EXPECT_EQ(written.reader().tracks()[id - 1].info.mediaTimescale, 1000 + id);
    }
  }
  const Bytes sample = text("sample");
  writer.addSample(sampleOf(70, 0, sample, 1));
  writer.finish();
  const BoxWalk walk(memory->bytes());
  EXPECT_EQ(walk.topLevelTypes(),
            (std::vector<std::string>{"ftyp", "moov", "free", "moof", "mdat"}));
  std::vector<std::string> expected(70, "trex");
  expected.insert(expected.begin(), "mehd");
  EXPECT_EQ(walk.childTypes("moov/mvex"), expected);
  EXPECT_EQ(walk.track(70).sampleBytes(), (std::vector<Bytes>{sample}));
}

TEST(Writer, PutsSamplesIntoOneLargeMediaDataBoxAfterTheMovie) {
  WrittenMovie movie;
  movie.addTrack(trackOf(600));
  movie.addTrack(trackOf(600));
  movie.addSample(1, 0, text("one"), 1);
  movie.addSample(1, 10, text("two"));
  movie.addSample(2, 5, text("three"), 0x2001, 7);
  movie.addSample(1, 30, text("four"), 1);
  const BoxWalk walk = movie.finished();
  EXPECT_EQ(walk.topLevelTypes(), (std::vector<std::string>{"ftyp", "moov", "free", "mdat"}));
  EXPECT_EQ(walk.at("mdat").headerSize, 16u);
  EXPECT_EQ(walk.payload("mdat"), text("onetwothreefour"));
  const WalkedTrack& first = walk.track(1);
  EXPECT_EQ(first.sampleBytes(), (std::vector<Bytes>{text("one"), text("two"), text("four")}));
  EXPECT_EQ(first.samples[1].decodingTime, 10u);
  EXPECT_EQ(first.samples[2].decodingTime, 30u);
  EXPECT_EQ(first.syncNumbers, (std::vector<std::uint32_t>{1, 3}));
  EXPECT_EQ(first.chunkRuns, (std::vector<WalkedChunkRun>{{1, 2, 1}, {2, 1, 1}}));
  const WalkedTrack& second = walk.track(2);
  EXPECT_EQ(second.sampleBytes(), (std::vector<Bytes>{text("three")}));
  EXPECT_EQ(second.samples[0].compositionOffset, 7u);
  EXPECT_EQ(second.syncNumbers, (std::vector<std::uint32_t>{1}));
}

TEST(Writer, RecordsOnlySamplesOfKindOneAsSync) {
  WrittenMovie movie;
  movie.addTrack(trackOf(600));
  std::uint64_t time = 0;
  for (const std::uint32_t flags : {1u, 0u, 3u, 0x101u, 0x100u, 0xFFu}) {
    movie.addSample(1, time++, text("x"), flags);
  }
  EXPECT_EQ(movie.finished().track(1).syncNumbers, (std::vector<std::uint32_t>{1, 4}));
}

TEST(Writer, KeepsTheDependenciesOfATrackThatHasThem) {
  WrittenMovie movie;
  TrackParameters parameters = trackOf(600);
  parameters.hasSampleDependencies = true;
  movie.addTrack(parameters);
  movie.addTrack(trackOf(600));
  movie.addSample(1, 0, text("x"), 0x2001);
  movie.addSample(1, 1, text("x"), 0x1000);
  movie.addSample(2, 1, text("x"), 0x1000);
  const BoxWalk walk = movie.finished();
  EXPECT_EQ(walk.track(1).dependencies, (Bytes{0x20, 0x10}));
  EXPECT_EQ(walk.track(2).dependencies, std::nullopt);
}

TEST(Writer, StartsAChunkWhereTheDescriptionChanges) {
  WrittenMovie movie;
  TrackParameters parameters = trackOf(600);
  parameters.descriptionCount = 2;
  parameters.descriptionLength = 6;
  movie.addTrack(parameters);
  movie.addSample(1, 0);
  movie.addSample(1, 1);
  movie.addSample(1, 2, text("x"), 0, 0, 2);
  const BoxWalk walk = movie.finished();
  EXPECT_EQ(walk.track(1).chunkRuns, (std::vector<WalkedChunkRun>{{1, 2, 1}, {2, 1, 2}}));
  EXPECT_EQ(walk.track(1).entries,
            (std::vector<Bytes>{genericEntry("text"), genericEntry("tx3g", text("second"))}));
}

TEST(Writer, RecordsSamplesWithoutBytes) {
  WrittenMovie movie;
  movie.addTrack(trackOf(600));
  movie.addSample(1, 0, {});
  movie.addSample(1, 5, text("x"));
  const BoxWalk walk = movie.finished();
  EXPECT_EQ(walk.track(1).sampleBytes(), (std::vector<Bytes>{{}, text("x")}));
}

TEST(Writer, DropsTheHalfWhenItConvertsTrackTimesToMovieTimes) {
  const auto firstEdit = [](std::uint64_t gapStart) {
    WrittenMovie movie(1000);
    movie.addTrack(trackOf(90000, 2, 1));
    movie.addSample(1, 0);
    movie.addGap(1, gapStart);
    movie.addSample(1, 90000);
    return movie.finished().track(1).edits.at(0).duration;
  };
  EXPECT_EQ(firstEdit(45), 0u);
  EXPECT_EQ(firstEdit(46), 1u);
}

TEST(Writer, MakesAGapAnEmptyEditAndWritesNothingForIt) {
  WrittenMovie movie(600);
  movie.addTrack(trackOf(3000, 2, 1));
  movie.addSample(1, 0, text("a"));
  movie.addGap(1, 3000);
  movie.addGap(1, 3500);
  movie.addSample(1, 6000, text("b"));
  const BoxWalk walk = movie.finished();
  EXPECT_EQ(walk.track(1).edits,
            (std::vector<WalkedEdit>{{600, 0, 0x10000}, {600, -1, 0x10000}, {0, 3000, 0x10000}}));
  EXPECT_EQ(walk.track(1).samples.at(1).decodingTime, 3000u);
  EXPECT_EQ(walk.payload("mdat"), text("ab"));
}

TEST(Writer, WritesATrackOfNothingButAGap) {
  WrittenMovie movie(600);
  movie.addTrack(trackOf(3000, 0, 1));
  movie.addGap(1, 0);
  const BoxWalk walk = movie.finished();
  EXPECT_EQ(walk.topLevelTypes(), (std::vector<std::string>{"ftyp", "moov"}));
  EXPECT_EQ(walk.track(1).edits, (std::vector<WalkedEdit>{{0, 0, 0x10000}}));
}

TEST(Writer, SetsDurationsFromTheSamplesAndTheMovieToTheLongestTrack) {
  WrittenMovie movie(600);
  movie.addTrack(trackOf(3000, 10, 1));
  movie.addTrack(trackOf(600));
  movie.addSample(1, 0);
  movie.addSample(1, 3000);
  movie.addGap(1, 6000);
  movie.addSample(1, 9000);
  movie.addSample(1, 12000);
  movie.addSample(2, 0);
  movie.addSample(2, 900);
  const BoxWalk walk = movie.finished();
  // A tick of the movie is 5 of the track; the gap of 3000 does not count.
  EXPECT_EQ(walk.track(1).mediaDuration, 9005u);
  EXPECT_EQ(walk.track(1).duration, 1801u);
  EXPECT_EQ(walk.track(1).samples.back().duration, 5u);
  EXPECT_EQ(walk.track(2).mediaDuration, 901u);
  EXPECT_EQ(walk.track(2).duration, 901u);
  EXPECT_EQ(walk.movie().duration, 1801u);
}

TEST(Writer, CoversTheRoomThatWasNotUsed) {
  const auto write = [](std::uint32_t announced) {
    WrittenMovie movie;
    movie.addTrack(trackOf(600, announced, announced));
    for (std::uint32_t i = 0; i < 3; ++i) movie.addSample(1, i * 10, recognisable("T", i, 20), 1);
    return movie.finished();
  };
  const BoxWalk exact = write(3);
  for (const std::uint32_t announced : {4u, 100u, 10000u}) {
    const BoxWalk roomy = write(announced);
    EXPECT_EQ(roomy.topLevelTypes(), exact.topLevelTypes());
    EXPECT_EQ(roomy.at("moov").size(), exact.at("moov").size());
    EXPECT_EQ(roomy.track(1).sampleBytes(), exact.track(1).sampleBytes());
    EXPECT_GT(roomy.at("free").size(), announced);
    const Bytes padding = roomy.payload("free");
    EXPECT_EQ(padding, Bytes(padding.size()));
  }
}

TEST(Writer, ReleasesTheStream) {
  WrittenMovie movie;
  movie.addTrack(trackOf(600));
  EXPECT_EQ(movie.memory->references(), 2u);
  movie.writer.finish();
  EXPECT_EQ(movie.memory->references(), 1u);
  MemoryStreamPtr abandoned = MemoryStream::create();
  { Writer writer(abandoned, movieOf(600)); }
  EXPECT_EQ(abandoned->references(), 1u);
}

TEST(Writer, NeedsAStreamAndTimescales) {
  EXPECT_CODE(missingArgument, Writer(nullptr, movieOf(600)));
  EXPECT_CODE(zeroTimescale, Writer(MemoryStream::create(), movieOf(0)));
  WrittenMovie movie;
  EXPECT_CODE(zeroTimescale, movie.writer.addTrack(trackOf(0)));
}

TEST(Writer, TakesNothingOnceItIsFinished) {
  WrittenMovie movie;
  movie.addTrack(trackOf(600));
  movie.writer.finish();
  const Bytes file = movie.memory->bytes();
  const SampleDescriptor& description =
      movie.source.reader().tracks()[0].descriptions[0].descriptor();
  EXPECT_CODE(addTrackAfterFinish, movie.writer.addTrack(trackOf(600)));
  EXPECT_CODE(writerNotOpen, movie.writer.addSampleDescription(1, description));
  EXPECT_CODE(writerNotOpen, movie.addSample(1, 0));
  EXPECT_CODE(writerNotOpen, movie.addGap(1, 0));
  EXPECT_CODE(writerNotOpen, movie.writer.setXMPMetadata(text("x")));
  EXPECT_CODE(writerNotOpen, movie.writer.finish());
  EXPECT_EQ(movie.memory->bytes(), file);
}

TEST(Writer, TakesNoTrackAfterSamplesOrMetadata) {
  WrittenMovie samples;
  samples.addTrack(trackOf(600));
  samples.addSample(1, 0);
  const SampleDescriptor& description =
      samples.source.reader().tracks()[0].descriptions[0].descriptor();
  EXPECT_CODE(tracksClosedBySamples, samples.writer.addTrack(trackOf(600)));
  EXPECT_CODE(tracksClosedBySamples, samples.writer.addSampleDescription(1, description));
  WrittenMovie metadata;
  metadata.addTrack(trackOf(600));
  metadata.writer.setXMPMetadata(text("<x/>"));
  EXPECT_CODE(tracksClosedByMetadata, metadata.writer.addTrack(trackOf(600)));
}

TEST(Writer, TakesNothingForATrackThatItDoesNotHave) {
  WrittenMovie movie;
  movie.addTrack(trackOf(600));
  const SampleDescriptor& description =
      movie.source.reader().tracks()[0].descriptions[0].descriptor();
  for (const std::uint32_t number : {0u, 2u, 0xFFFFFFFFu}) {
    EXPECT_CODE(unknownTrack, movie.addSample(number, 0));
    EXPECT_CODE(unknownTrack, movie.writer.addSampleDescription(number, description));
  }
}

TEST(Writer, TakesNoMoreThanWasAnnounced) {
  WrittenMovie movie;
  movie.addTrack(trackOf(600, 1));
  movie.addSample(1, 0);
  EXPECT_CODE(sampleTableFull, movie.addSample(1, 1));
  WrittenMovie gaps;
  gaps.addTrack(trackOf(600, 9));
  gaps.addGap(1, 0);
  EXPECT_CODE(editListFull, gaps.addSample(1, 1));
}

// Each gap but an open last one ends an edit and makes an empty one; one more shows what is left.
TEST(Writer, WritesNoMoreThan255Edits) {
  const auto write = [](std::uint32_t gaps) {
    WrittenMovie movie;
    movie.addTrack(trackOf(600, 1000, 1000));
    for (std::uint32_t i = 0; i < gaps; ++i) {
      movie.addSample(1, 20 * i);
      movie.addGap(1, 20 * i + 10);
    }
    movie.addSample(1, 20 * gaps);
    return movie.finished().track(1).edits.size();
  };
  EXPECT_EQ(write(127), 255u);
  EXPECT_CODE(editListFull, write(128));
}

TEST(Writer, RefusesTracksThatNoFileCanHold) {
  WrittenMovie movie;
  EXPECT_NE(thrownCode([&] { movie.writer.addTrack(trackOf(600, 0xFFFFFFFF)); }),
            ErrorCode::success);
}

TEST(Writer, PutsTheMetadataWhereItIsGiven) {
  const Bytes metadata = uuidBox(kXmpUuid, text("<x/>"));
  WrittenMovie before;
  before.addTrack(trackOf(600));
  before.writer.setXMPMetadata(text("<x/>"));
  before.addSample(1, 0, text("a"));
  const BoxWalk first = before.finished();
  EXPECT_EQ(first.topLevelTypes(),
            (std::vector<std::string>{"ftyp", "moov", "free", "uuid", "mdat"}));
  EXPECT_EQ(first.at("uuid").size(), metadata.size());
  const auto at = first.bytes().begin() + static_cast<std::ptrdiff_t>(first.at("uuid").start);
  EXPECT_EQ(Bytes(at, at + static_cast<std::ptrdiff_t>(metadata.size())), metadata);

  WrittenMovie between;
  between.addTrack(trackOf(600));
  between.addSample(1, 0, text("a"));
  between.writer.setXMPMetadata(text("<x/>"));
  between.addSample(1, 1, text("b"));
  const BoxWalk second = between.finished();
  EXPECT_EQ(second.topLevelTypes(),
            (std::vector<std::string>{"ftyp", "moov", "free", "mdat", "uuid", "mdat"}));
  EXPECT_EQ(second.track(1).sampleBytes(), (std::vector<Bytes>{text("a"), text("b")}));
}

TEST(Writer, KeepsMetadataThatComesBeforeTheFirstTrack) {
  WrittenMovie movie;
  movie.writer.setXMPMetadata(text("<x/>"));
  movie.writer.setXMPMetadata(text("<second/>"));
  EXPECT_EQ(movie.addTrack(trackOf(600)), 1u);
  EXPECT_EQ(movie.addTrack(trackOf(600)), 2u);
  movie.addSample(2, 0, text("a"));
  EXPECT_CODE(tracksClosedByMetadata, movie.writer.addTrack(trackOf(600)));
  const BoxWalk walk = movie.finished();
  EXPECT_EQ(walk.topLevelTypes(),
            (std::vector<std::string>{"ftyp", "moov", "free", "uuid", "uuid", "mdat"}));
  EXPECT_EQ(walk.payload("uuid"), text("<x/>"));
  EXPECT_EQ(walk.payload("uuid[2]"), text("<second/>"));
  EXPECT_EQ(walk.track(2).sampleBytes(), (std::vector<Bytes>{text("a")}));
}

TEST(Writer, WritesMetadataOfAMovieWithoutTracks) {
  WrittenMovie movie;
  movie.writer.setXMPMetadata(text("<x/>"));
  EXPECT_EQ(movie.finished().topLevelTypes(),
            (std::vector<std::string>{"ftyp", "moov", "free", "uuid"}));
}

void writeSmallMovie(const MemoryStreamPtr& memory, const SampleDescriptor& description) {
  Writer writer(memory, movieOf(600));
  TrackParameters parameters = trackOf(600, 9, 2);
  writer.addTrack(parameters);
  writer.addSampleDescription(1, description);
  const Bytes bytes = text("bytes");
  writer.addSample(sampleOf(1, 0, bytes, 1));
  writer.addSample(sampleOf(1, 10, {}, kGap));
  writer.addSample(sampleOf(1, 20, bytes, 0, 5));
  writer.setXMPMetadata(text("<x/>"));
  writer.addSample(sampleOf(1, 30, bytes, 0, 5));
  writer.finish();
}

TEST(Writer, PassesFailuresOfTheStreamOn) {
  Film source(WrittenMovie::sourceMovie());
  const SampleDescriptor& description = source.reader().tracks()[0].descriptions[0].descriptor();
  MemoryStreamPtr counted = MemoryStream::create();
  writeSmallMovie(counted, description);
  const std::size_t calls = counted->calls().all();
  for (std::size_t call = 1; call <= calls; ++call) {
    MemoryStreamPtr stream = MemoryStream::create();
    stream->injectFault(call, MemoryStream::Fault::fails);
    EXPECT_CODE(ioFailed, writeSmallMovie(stream, description)) << call << "/" << calls;
    EXPECT_EQ(stream->references(), 1u) << call;
  }
}

TEST(Writer, TakesAPartialWriteForAFailure) {
  Film source(WrittenMovie::sourceMovie());
  const SampleDescriptor& description = source.reader().tracks()[0].descriptions[0].descriptor();
  MemoryStreamPtr whole = MemoryStream::create();
  writeSmallMovie(whole, description);
  for (std::size_t call = 1; call <= whole->calls().all(); ++call) {
    MemoryStreamPtr stream = MemoryStream::create();
    stream->injectFault(call, MemoryStream::Fault::isShort);
    const ErrorCode code = thrownCode([&] { writeSmallMovie(stream, description); });
    if (code == ErrorCode::success) {
      EXPECT_EQ(stream->bytes(), whole->bytes()) << call;
    } else {
      EXPECT_TRUE(code == ErrorCode::ioFailed || code == ErrorCode::shortRead)
          << testing::PrintToString(code);
    }
  }
}

}  // namespace
}  // namespace norvik::kav::impl
