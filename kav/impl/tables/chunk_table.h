#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "kav/impl/tables/run_search.h"
#include "kav/impl/tables/table_entries.h"
#include "kav/wrapping.h"

namespace norvik::kav::impl {

// Chunks with an equal number of samples of one description. Sample and chunk numbers count from 1.
struct ChunkRun {
  // The number of chunks in the last run: nothing in the table tells where it ends.
  static constexpr std::uint32_t kOpenEnded = 0xFFFFFFFF;

  std::uint32_t firstChunk = 0;
  std::uint32_t chunkCount = 0;
  std::uint32_t samplesPerChunk = 0;
  std::uint32_t descriptionIndex = 0;
  std::uint32_t firstSample = 0;
};

// The samples of the chunks of a track. A table does not change once it is loaded.
class ChunkTable {
 public:
  class Loader;

  ChunkTable() = default;

  std::span<const ChunkRun> runs() const { return runs_.all(); }
  std::span<const ChunkRun> filled() const { return runs_.filled(); }

 private:
  RunList<ChunkRun> runs_;
};

// Makes a table of the entries of a file: add each in turn, then finish. Entries that go on as the
// one before them become one run with it: some files have an entry for each of a million chunks.
class ChunkTable::Loader {
 public:
  // Throws badChunkRun when the first run does not start at chunk 1 or a run starts before the
  // previous one.
  void add(const ChunkEntry& entry);

  // A table without entries becomes one run of chunks without samples, so that a look-up in it
  // fails as one in any other run without samples does.
  ChunkTable finish() &&;

 private:
  bool continuesLast(const ChunkEntry& entry) const;

  ChunkTable table_;
  std::uint32_t latestChunk_ = 1;  // that an entry began with
  std::optional<ChunkRun> last_;   // until the next run tells how many chunks it has
};

// Walks the samples of chunks. It begins at the first sample of the chunk that holds the wanted
// one; the caller walks on from there and adds up the sizes, since only the chunk's offset is in
// the file. It refers to the runs and owns nothing: they must outlive it.
class ChunkCursor {
 public:
  ChunkCursor() = default;

  // runs: filled ones. Throws badChunkRun when the sample lies in a run of chunks without samples.
  ChunkCursor(std::span<const ChunkRun> runs, std::uint32_t sampleNumber);

  bool isValid() const { return run_ != end_; }
  std::uint32_t samplesLeftInChunk() const { return samplesLeft_; }
  std::uint32_t chunksLeftInRun() const { return chunksLeft_; }
  std::uint32_t sampleNumber() const { return sampleNumber_; }
  std::uint32_t chunkNumber() const { return chunkNumber_; }
  std::uint32_t descriptionIndex() const { return descriptionIndex_; }

  // One sample on. Throws badChunkRun on the way into a run of chunks without samples, so it is to
  // be called only when there is a next sample.
  void advance() {
    if (!isValid()) return;
    sampleNumber_ = wrappingAdd(sampleNumber_, 1);
    if (--samplesLeft_ == 0) enterNextChunk();
  }

  // A number of samples on within the chunk: fewer than samplesLeftInChunk.
  void advanceWithinChunk(std::uint32_t samples) {
    sampleNumber_ = wrappingAdd(sampleNumber_, samples);
    samplesLeft_ -= samples;
  }

 private:
  void enterNextChunk();
  void requireSamples() const;

  const ChunkRun* run_ = nullptr;
  const ChunkRun* end_ = nullptr;
  std::uint32_t samplesLeft_ = 0;
  std::uint32_t chunksLeft_ = 0;
  std::uint32_t sampleNumber_ = 0;
  std::uint32_t chunkNumber_ = 0;
  std::uint32_t descriptionIndex_ = 0;
};

// Gathers the samples of a track into chunks: consecutive samples of one description that lie next
// to each other in the file.
class ChunkTableBuilder {
 public:
  struct Chunk {
    ChunkEntry entry;
    std::uint64_t offset = 0;  // of its first sample in the file
  };

  // Takes the next sample. Returns the chunk that it closed by opening another one, if any.
  std::optional<Chunk> add(std::uint64_t offset, std::uint32_t size,
                           std::uint32_t descriptionIndex) {
    ChunkEntry& entry = open_.entry;
    const bool joins = offset == expectedOffset_ && entry.samplesPerChunk > 0 &&
                       entry.descriptionIndex == descriptionIndex;
    expectedOffset_ = offset + size;
    std::optional<Chunk> closed;
    if (joins) {
      ++entry.samplesPerChunk;
    } else {
      if (entry.samplesPerChunk > 0) closed = open_;
      open_ = {{entry.firstChunk + 1, 1, descriptionIndex}, offset};
    }
    return closed;
  }

  // Closes the open chunk and returns it; none when no sample came since the last one was closed.
  std::optional<Chunk> finish() {
    if (open_.entry.samplesPerChunk == 0) return std::nullopt;
    const Chunk closed = open_;
    open_.entry.samplesPerChunk = 0;
    return closed;
  }

 private:
  Chunk open_;  // without samples: the number of the last one, and nothing else
  std::uint64_t expectedOffset_ = 0;  // where the next sample must lie to join
};

}  // namespace norvik::kav::impl
