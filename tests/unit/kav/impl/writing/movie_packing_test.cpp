#include "kav/impl/writing/movie_packing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

#include "kav/impl/boxes/description_boxes.h"
#include "kav/impl/boxes/movie_boxes.h"
#include "kav/impl/boxes/stbl_box.h"
#include "kav/impl/boxes/track_boxes.h"
#include "kav/memory_size.h"
#include "tests/support/box_builders.h"
#include "tests/support/box_walk.h"
#include "tests/support/expect_code.h"
#include "tests/support/film.h"

namespace norvik::kav::impl {
namespace {

using quarrypack::test::append;
using quarrypack::test::BoxWalk;
using quarrypack::test::Bytes;

// Samples lie somewhere after every movie box of these tests.
constexpr std::uint64_t kDataStart = 2'000'000;

// A written movie box with more room than is needed.
struct Movie {
  explicit Movie(std::uint32_t capacity, std::uint32_t gapRoom = 0, std::uint64_t start = 0)
      : moov(makeBox<MoovBox>(film.stream)) {
    moov->place(start);
    MovieParameters movie;
    movie.timescale = 600;
    addNewChild<MvhdBox>(*moov, movie, film.stream);
    for (std::uint32_t id = 1; id <= 2; ++id) {
      TrackParameters track;
      track.trackId = id;
      track.handlerType = fourCc("text");
      track.timescale = track.movieTimescale = 600;
      track.sampleCapacity = capacity;
      track.editCapacity = gapRoom;
      track.hasSampleDependencies = true;
      addNewChild<TrakBox>(*moov, track, film.stream);
    }
    moov->write();
  }

  void addSamples(std::uint32_t count) {
    std::uint64_t offset = kDataStart;
    for (std::uint32_t i = 0; i < count; ++i) {
      for (TrakBox* trak : moov->tracks()) {
        trak->findStbl()->addSample({.info = {.size = i + 1,
                                              .decodingTime = std::uint64_t{i} * i,
                                              .compositionOffset = i * 2,
                                              .flags = 0x0701},
                                     .fileOffset = offset,
                                     .descriptionIndex = 1});
        offset += i + 1;
      }
    }
  }

  std::uint64_t pack() {
    for (TrakBox* trak : moov->tracks()) trak->findStbl()->stsd()->dropPadding();
    moov->write();
    return packTree(*moov);
  }

  Bytes file(std::uint64_t from, std::uint64_t to) const { return film.bytes(from, to); }

  quarrypack::test::Film film;
  OwnedBox<MoovBox> moov;
};

TEST(MoviePacking, LeavesWhatARightlySizedMovieHas) {
  Movie exact(5);
  exact.addSamples(5);
  const std::uint64_t exactEnd = exact.pack();
  for (const std::uint32_t capacity : {5u, 6u, 100u, 5000u}) {
    for (const std::uint32_t gapRoom : {0u, 3u}) {
      Movie roomy(capacity, gapRoom);
      roomy.addSamples(5);
      const std::uint64_t end = roomy.pack();
      EXPECT_EQ(end, exactEnd) << capacity;
      EXPECT_EQ(roomy.file(0, end), exact.file(0, end)) << capacity;
      EXPECT_EQ(roomy.moov->getCurrentSize(), end);
    }
  }
}

TEST(MoviePacking, LeavesNoRoomInsideAnyBox) {
  Movie movie(300, 4);
  movie.addSamples(20);
  const std::uint64_t end = movie.pack();
  Bytes file = movie.file(0, end);
  const std::uint64_t samples = 2 * 20 * 21 / 2;
  const std::size_t media = memorySize(kDataStart - end - 8 + samples);
  append(file, quarrypack::test::box("mdat", quarrypack::test::zeros(media)));
  const BoxWalk walk(file);  // accepts no table that does not fill its box
  for (const auto& track : walk.tracks()) {
    EXPECT_EQ(track.samples.size(), 20u);
    EXPECT_EQ(track.syncNumbers.size(), 20u);
    EXPECT_EQ(track.dependencies, Bytes(20, 7));
    EXPECT_EQ(track.samples[3].decodingTime, 9u);
    EXPECT_EQ(track.samples[3].compositionOffset, 6u);
  }
}

TEST(MoviePacking, LeavesZerosWhereBoxesStoodBefore) {
  Movie movie(300);
  movie.addSamples(20);
  const std::uint64_t before = movie.film.memory->bytes().size();
  const std::uint64_t end = movie.pack();
  ASSERT_LT(end, before);
  const Bytes rest = movie.file(end, movie.film.memory->bytes().size());
  EXPECT_EQ(std::count(rest.begin(), rest.end(), 0), static_cast<std::ptrdiff_t>(rest.size()));
}

TEST(MoviePacking, KeepsThePlaceOfTheMovie) {
  Movie atStart(50);
  Movie behind(50, 0, 32);
  atStart.addSamples(3);
  behind.addSamples(3);
  const std::uint64_t end = atStart.pack();
  EXPECT_EQ(behind.pack(), end + 32);
  EXPECT_EQ(behind.file(32, end + 32), atStart.file(0, end));
  EXPECT_EQ(behind.file(0, 32), Bytes(32));
}

TEST(MoviePacking, PacksTablesThatNeverGotASample) {
  Movie empty(1000, 9);
  Movie exact(0);
  const std::uint64_t end = empty.pack();
  EXPECT_EQ(end, exact.pack());
  EXPECT_EQ(empty.file(0, end), exact.file(0, end));
}

TEST(MoviePacking, PassesFailuresOfTheStreamOn) {
  const auto prepare = [](Movie& movie) {
    movie.addSamples(20);
    for (TrakBox* trak : movie.moov->tracks()) trak->findStbl()->stsd()->dropPadding();
    movie.moov->write();
    movie.film.memory->resetCalls();
  };
  Movie counted(300);
  prepare(counted);
  packTree(*counted.moov);
  const std::size_t calls = counted.film.memory->calls().all();
  ASSERT_GT(calls, 10u);
  for (std::size_t call = 1; call <= calls; ++call) {
    Movie movie(300);
    prepare(movie);
    movie.film.memory->injectFault(call, quarrypack::test::MemoryStream::Fault::fails);
    EXPECT_CODE(ioFailed, packTree(*movie.moov)) << call;
  }
}

}  // namespace
}  // namespace norvik::kav::impl
