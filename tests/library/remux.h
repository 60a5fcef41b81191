#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kav/streams.h"
#include "kav/writer.h"
#include "tests/support/bytes.h"

// The most frequent use of the library: reading the samples of a movie and writing them into
// another one.

namespace quarrypack::test {

// A sample with all its fields.
struct LibrarySample {
  std::uint64_t decodingTime = 0;
  std::uint32_t compositionOffset = 0;
  bool isSync = false;
  bool isGap = false;
  std::uint32_t dependencies = 0;
  std::uint32_t descriptionIndex = 0;
  std::uint32_t fragmentSequence = 0;
  Bytes bytes;

  // Everything but the place in the file.
  bool operator==(const LibrarySample& other) const;
};

void PrintTo(const LibrarySample& sample, std::ostream* out);

// The samples of a movie, track by track, through the public functions. A code that is not 0 is
// thrown as norvik::kav::Exception.
std::vector<std::vector<LibrarySample>> readTracks(norvik::kav::NorvikIStream& movie,
                                                   bool ignoreEditLists = true);

struct RemuxOptions {
  bool fragmented = false;
  std::uint64_t fragmentDuration = 0;
  bool randomAccess = false;
  bool ignoreEditLists = true;  // of the movie that is read
};

// Writes the tracks and samples of a movie into another one.
void remux(norvik::kav::NorvikIStream& from, norvik::kav::NorvikIOStream& to,
           const RemuxOptions& options);

}  // namespace quarrypack::test
