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

// Writes a movie, whose mdat stands last, with a hole between the header and the bytes of the mdat.
// False when the disk does not take such a file.
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

class LargeFile : public ConversionTest {};

TEST_F(LargeFile, IsConvertedInLittleMemory) {
  MovieBuilder movie = movieWithoutKeyPictures();
  const Bytes small = converted(movie);
  std::filesystem::remove(output());

  for (int track = 1; track <= 3; ++track) {
    movie.change("moov/trak[" + std::to_string(track) + "]/mdia/minf/stbl/co64", movedBehindHole);
  }
  const Bytes moved = movie.build();
  const Bytes type = text("mdat");
  const auto mdat = std::search(moved.begin(), moved.end(), type.begin(), type.end()) - 4;
  if (!writeWithHole(input(), moved, static_cast<std::size_t>(mdat - moved.begin()))) {
    GTEST_SKIP() << "this disk does not take a file of 5 GiB with a hole";
  }

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
  const ProgramResult result = runProgram(command, options);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_TRUE(readFile(output()) == small);
}

}  // namespace
}  // namespace quarrypack::test
