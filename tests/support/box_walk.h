#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/bytes.h"

namespace quarrypack::test {

// What is wrong with a file, and where. An unexpected one fails the test with this sentence.
class MalformedFile : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct WalkedBox {
  std::string type;
  std::uint64_t start = 0;
  std::uint64_t headerSize = 0;
  std::uint64_t end = 0;
  std::vector<WalkedBox> children;

  std::uint64_t size() const { return end - start; }
};

struct WalkedSample {
  std::uint64_t offset = 0;
  std::uint32_t size = 0;
  std::uint64_t decodingTime = 0;
  std::uint32_t compositionOffset = 0;
  std::uint32_t duration = 0;
  bool sync = false;  // listed in stss, or a key sample of a fragment
  std::uint8_t dependency = 0;
  std::uint32_t descriptionIndex = 0;
  Bytes bytes;
};

struct WalkedEdit {
  std::uint64_t duration = 0;
  std::int64_t mediaTime = 0;
  std::uint32_t rate = 0;

  bool operator==(const WalkedEdit&) const = default;
};

struct WalkedChunkRun {
  std::uint32_t firstChunk = 0;
  std::uint32_t samplesPerChunk = 0;
  std::uint32_t descriptionIndex = 0;

  bool operator==(const WalkedChunkRun&) const = default;
};

// Prints them in a failed expectation.
void PrintTo(const WalkedEdit& edit, std::ostream* out);
void PrintTo(const WalkedChunkRun& run, std::ostream* out);

// {count, value} entries of stts and ctts.
using RunTable = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

struct WalkedTrack {
  std::uint32_t id = 0;
  std::uint32_t flags = 0;
  std::uint64_t creationTime = 0;
  std::uint64_t modificationTime = 0;
  std::uint64_t duration = 0;  // of the header, in the movie's timescale
  std::uint16_t volume = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t timescale = 0;
  std::uint64_t mediaDuration = 0;
  std::uint16_t language = 0;
  std::string handler;
  std::string name;  // all bytes, a final zero included
  std::vector<WalkedEdit> edits;
  std::vector<Bytes> entries;  // whole sample entries
  RunTable timeRuns;
  RunTable offsetRuns;
  std::vector<WalkedChunkRun> chunkRuns;
  std::vector<std::uint64_t> chunkOffsets;
  std::vector<std::uint32_t> syncNumbers;
  bool hasSyncTable = false;
  std::optional<Bytes> dependencies;
  std::vector<WalkedSample> samples;

  std::vector<Bytes> sampleBytes() const;
};

struct WalkedMovie {
  std::uint64_t creationTime = 0;
  std::uint64_t modificationTime = 0;
  std::uint32_t timescale = 0;
  std::uint64_t duration = 0;
  std::uint32_t rate = 0;
  std::uint16_t volume = 0;
  std::uint32_t nextTrackId = 0;
};

// A strict reader with which tests examine files. It shares no code with the product, so it does
// not repeat the product's mistakes. Every box must fit its parent to the byte, every table must
// fill its box, the tables of a track must agree, and every sample must lie inside a media data
// box. The constructor throws MalformedFile for anything else.
class BoxWalk {
 public:
  explicit BoxWalk(Bytes file);

  const std::vector<WalkedBox>& boxes() const { return boxes_; }
  std::vector<std::string> topLevelTypes() const;
  // A box by its path from the top, "moov/trak[2]/mdia"; [n] counts boxes of the type from 1;
  // without it, n is 1. Null if there is none.
  const WalkedBox* find(std::string_view path) const;
  // Like find, but throws MalformedFile for a missing box.
  const WalkedBox& at(std::string_view path) const;
  Bytes payload(const WalkedBox& box) const;
  Bytes payload(std::string_view path) const { return payload(at(path)); }
  std::vector<std::string> childTypes(std::string_view path) const;

  const WalkedMovie& movie() const { return movie_; }
  const std::vector<WalkedTrack>& tracks() const { return tracks_; }
  const WalkedTrack& track(std::size_t number) const { return tracks_.at(number - 1); }
  const Bytes& bytes() const { return file_; }

 private:
  Bytes file_;
  std::vector<WalkedBox> boxes_;
  WalkedMovie movie_;
  std::vector<WalkedTrack> tracks_;
};

}  // namespace quarrypack::test
