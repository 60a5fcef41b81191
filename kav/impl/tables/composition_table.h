#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

#include "kav/impl/tables/run_search.h"
#include "kav/impl/tables/table_entries.h"

namespace norvik::kav::impl {

// Samples of equal composition offset. Sample numbers count from 1.
struct OffsetRun {
  std::uint32_t sampleCount = 0;
  std::uint32_t sampleOffset = 0;
  std::uint32_t firstSample = 0;
};

// The composition offsets of a track. A table does not change once it is loaded.
class CompositionTable {
 public:
  class Loader;

  CompositionTable() = default;

  std::span<const OffsetRun> runs() const { return runs_.all(); }
  std::span<const OffsetRun> filled() const { return runs_.filled(); }

 private:
  RunList<OffsetRun> runs_;
};

// Builds a table from the entries of a file. Order of calls: add each in turn, then finish.
class CompositionTable::Loader {
 public:
  explicit Loader(std::size_t expectedEntries = 0) { table_.runs_.reserve(expectedEntries); }

  // Throws sampleNumberOverflow if the sample numbers exceed 32 bits.
  void add(const OffsetEntry& entry);
  CompositionTable finish() && { return std::move(table_); }

 private:
  CompositionTable table_;
  std::uint32_t nextFirstSample_ = 1;
};

// Walks composition offsets. A table may hold fewer samples than the track: after its last run, and
// for a track without a table, the offset is 0. It refers to the table and owns nothing: the table
// must outlive it.
class CompositionCursor {
 public:
  CompositionCursor() = default;

  // A sample past the last run starts in that run, and has its offset.
  CompositionCursor(const CompositionTable& table, std::uint32_t sampleNumber);

  bool isValid() const { return run_ != end_; }
  std::uint32_t compositionOffset() const { return isValid() ? run_->sampleOffset : 0; }

  void advance() {
    if (!isValid() || ++index_ < run_->sampleCount) return;
    ++run_;
    index_ = 0;
  }

 private:
  const OffsetRun* run_ = nullptr;
  const OffsetRun* end_ = nullptr;
  std::uint32_t index_ = 0;  // within the run
};

// Turns the composition offsets of a track into the entries of its table. A run is held until
// another offset comes.
class CompositionTableBuilder {
 public:
  // Takes the offset of the next sample. Returns the entry that this makes final, if any.
  std::optional<OffsetEntry> add(std::uint32_t offset) {
    if (offset == pending_.sampleOffset || pending_.sampleCount == 0) {
      ++pending_.sampleCount;
      pending_.sampleOffset = offset;
      return std::nullopt;
    }
    const OffsetEntry final = pending_;
    pending_ = {1, offset};
    return final;
  }

  // The entry that completes the table for the samples so far. More samples may still follow.
  std::optional<OffsetEntry> finish() const {
    if (pending_.sampleCount == 0) return std::nullopt;
    return pending_;
  }

 private:
  OffsetEntry pending_;
};

}  // namespace norvik::kav::impl
