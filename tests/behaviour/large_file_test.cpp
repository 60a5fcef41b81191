// Movies beyond 4 GiB, in little memory.

#include <gtest/gtest.h>

#include <fstream>

#include "tests/behaviour/conversion_run.h"
#include "tests/support/box_builders.h"

namespace quarrypack::test {
namespace {

constexpr std::uint64_t kHole = std::uint64_t{5} << 30;

// Its samples are all pending until the end, because no picture is a key picture.
MovieBuilder movieWithoutKeyPictures() {
  VideoTrackOptions video;
  video.count = 3000;
  video.sliceSize = 300;
  video.betweenAnchors = 2;
  MovieBuilder movie({videoTrack(video), soundTrack({.count = 4000}), captionTrack(3000)});
  movie.moovFirst();
  for (MovieTrack& track : movie.tracks) track.wideOffsets = true;
  movie.tracks[0].syncTable = false;
  return movie;
}

// Moves the chunks that a co64 box lists.
Bytes movedBehindHole(const Bytes& table) {
  constexpr std::size_t kFirstEntry = 16;
  Bytes moved = table;
  for (std::size_t at = kFirstEntry; at < moved.size(); at += 8) {
    std::uint64_t offset = 0;
    for (std::size_t i = 0; i < 8; ++i) offset = offset << 8 | moved[at + i];
    const Bytes bytes = u64(offset + kHole);
    std::copy(bytes.begin(), bytes.end(), moved.begin() + static_cast<std::ptrdiff_t>(at));
  }
  return moved;
}

// Writes a movie, whose mdat comes last, with a hole between the header and the bytes of the mdat.
// Returns false if the disk does not accept such a file.
bool writeWithHole(const std::filesystem::path& path, const Bytes& movie, std::size_t mdat) {
  const Bytes header = concat({u32(1), text("mdat"), u64(movie.size() - mdat + kHole)});
  std::ofstream file(path, std::ios::binary);
  const auto write = [&](const std::uint8_t* bytes, std::size_t count) {
    file.write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(count));
  };
  write(movie.data(), mdat);
  write(header.data(), header.size());
  file.seekp(static_cast<std::streamoff>(mdat + 8 + kHole));
  write(movie.data() + mdat + 8, movie.size() - mdat - 8);
  file.close();
  return !file.fail();
}

// Writes a movie with two uuid boxes before its moov box, XMP and another one, whose payloads are
// holes. Returns false if the disk does not accept such a file.
bool writeWithHollowUuids(const std::filesystem::path& path, const Bytes& movie, std::size_t moov) {
  Uuid other = kXmpUuid;
  other[0] ^= 1;
  std::ofstream file(path, std::ios::binary);
  const auto write = [&](const std::uint8_t* bytes, std::size_t count) {
    file.write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(count));
  };
  write(movie.data(), moov);
  for (const Uuid& type : {kXmpUuid, other}) {
    const Bytes header = claimingLargeSize(32 + kHole, uuidBox(type));
    write(header.data(), header.size());
    file.seekp(static_cast<std::streamoff>(kHole), std::ios::cur);
  }
  write(movie.data() + moov, movie.size() - moov);
  file.close();
  return !file.fail();
}

// Where the first box of a type begins.
std::size_t startOf(const Bytes& movie, std::string_view name) {
  const Bytes type = text(name);
  const auto found = std::search(movie.begin(), movie.end(), type.begin(), type.end());
  return static_cast<std::size_t>(found - movie.begin()) - 4;
}

class LargeFile : public ConversionTest {
 protected:
  // Converts within an address space of 256 MiB.
  ProgramResult convertInLittleMemory() {
    std::vector<std::string> command = {"-c", "ulimit -v 262144 && exec \"$0\" \"$@\"",
                                        builtProgram().string()};
#ifdef __SANITIZE_ADDRESS__
    // The sanitizer takes far more address space for itself.
    command[1] = "exec \"$0\" \"$@\"";
#endif
    command.insert(command.end(),
                   {"--input-file", input().string(), "--output-file", output().string()});
    ProgramOptions options;
    options.program = "/bin/sh";
    return runProgram(command, options);
  }
};

TEST_F(LargeFile, IsConvertedInLittleMemory) {
  MovieBuilder movie = movieWithoutKeyPictures();
  const Bytes small = converted(movie);
  std::filesystem::remove(output());

  for (int track = 1; track <= 3; ++track) {
    movie.change("moov/trak[" + std::to_string(track) + "]/mdia/minf/stbl/co64", movedBehindHole);
  }
  const Bytes moved = movie.build();
  if (!writeWithHole(input(), moved, startOf(moved, "mdat"))) {
    GTEST_SKIP() << "this disk does not take a file of 5 GiB with a hole";
  }
  const ProgramResult result = convertInLittleMemory();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_TRUE(readFile(output()) == small);
}

TEST_F(LargeFile, WithMetadataOfAnyLengthIsConvertedInLittleMemory) {
  MovieBuilder movie({videoTrack(), captionTrack(30)});
  const Bytes small = converted(movie);
  std::filesystem::remove(output());
  const Bytes bytes = movie.build();
  if (!writeWithHollowUuids(input(), bytes, startOf(bytes, "moov"))) {
    GTEST_SKIP() << "this disk does not take a file of 10 GiB with holes";
  }
  const ProgramResult result = convertInLittleMemory();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_TRUE(readFile(output()) == small);
}

}  // namespace
}  // namespace quarrypack::test
