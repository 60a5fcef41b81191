#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace norvik::kav::impl {

// The run-length tables of a track as they are held in memory: the entries of a file with the sums
// that turn a sample number or a time into an entry. Sample and chunk numbers count from 1.
//
// An entry of no samples, or of no chunks, has a run as every other entry has. It adds nothing to
// any sum and nothing can be found in it: look-ups and walks go over the filled runs alone.

// Samples of equal duration, in decoding order.
struct TimeRun {
  std::uint64_t startTime = 0;  // decoding time of the first sample, in media timescale units
  std::uint32_t firstSample = 0;
  std::uint32_t sampleCount = 0;
  std::uint32_t sampleDelta = 0;
};

// Samples of equal composition offset.
struct OffsetRun {
  std::uint32_t sampleCount = 0;
  std::uint32_t sampleOffset = 0;
  std::uint32_t firstSample = 0;
};

// Chunks with an equal number of samples of one description.
struct ChunkRun {
  // The number of chunks in the last run: nothing in the table tells where it ends.
  static constexpr std::uint32_t kOpenEnded = 0xFFFFFFFF;

  std::uint32_t firstChunk = 0;
  std::uint32_t chunkCount = 0;
  std::uint32_t samplesPerChunk = 0;
  std::uint32_t descriptionIndex = 0;
  std::uint32_t firstSample = 0;
};

// Finds the first entry of a list that reaches a target. In an ascending list that is a binary
// search. In any other list only an entry above all those before it can be the answer, so those are
// remembered and searched; a list in disorder costs no more time than an ordered one.
class RisingIndex {
 public:
  // valueAt(i) is the value of entry i. The list must not change afterwards.
  template <class ValueAt>
  void build(std::size_t count, ValueAt valueAt);

  // The index of the first entry with a value of at least target, or count when there is none.
  template <class ValueAt>
  std::size_t firstReaching(std::size_t count, std::uint64_t target, ValueAt valueAt) const;

 private:
  bool isAscending_ = true;
  std::vector<std::uint32_t> rises_;  // only for a list in disorder
};

// The runs of a table, in its order.
template <class Run>
class RunList {
 public:
  void reserve(std::size_t count) { all_.reserve(count); }

  // isFilled: whether the run has samples or chunks.
  void add(const Run& run, bool isFilled) {
    if (!isFilled && !hasEmpty_) {
      filled_ = all_;
      hasEmpty_ = true;
    }
    all_.push_back(run);
    if (isFilled && hasEmpty_) filled_.push_back(run);
  }

  std::span<const Run> all() const { return all_; }
  std::span<const Run> filled() const { return hasEmpty_ ? filled_ : all_; }

 private:
  std::vector<Run> all_;
  std::vector<Run> filled_;  // only once there is an empty run
  bool hasEmpty_ = false;
};

// The runs of stts.
class TimeRuns {
 public:
  void reserve(std::size_t count) { runs_.reserve(count); }
  void add(std::uint32_t sampleCount, std::uint32_t sampleDelta);

  // Called once after the last add, before any search.
  void finish();

  std::span<const TimeRun> runs() const { return runs_.all(); }
  std::span<const TimeRun> filled() const { return runs_.filled(); }

  // The first filled run with a sample at or after a time; the end of the filled runs when there is
  // none.
  const TimeRun* findTime(std::uint64_t time) const;

 private:
  RunList<TimeRun> runs_;
  RisingIndex lastTimes_;
  std::uint64_t nextStartTime_ = 0;
  std::uint32_t nextFirstSample_ = 1;
};

// The runs of ctts.
class OffsetRuns {
 public:
  void reserve(std::size_t count) { runs_.reserve(count); }

  // Throws sampleNumberOverflow when the sample numbers leave 32 bits.
  void add(std::uint32_t sampleCount, std::uint32_t sampleOffset);

  std::span<const OffsetRun> runs() const { return runs_.all(); }
  std::span<const OffsetRun> filled() const { return runs_.filled(); }

 private:
  RunList<OffsetRun> runs_;
  std::uint32_t nextFirstSample_ = 1;
};

// The runs of stsc.
class ChunkRuns {
 public:
  void reserve(std::size_t count) { runs_.reserve(count); }

  // Throws badChunkRun when the first run does not start at chunk 1 or a run starts before the
  // previous one.
  void add(std::uint32_t firstChunk, std::uint32_t samplesPerChunk, std::uint32_t descriptionIndex);

  // Called once after the last add, before the runs are asked for. A table without entries becomes
  // one run of chunks without samples, so that a look-up in it fails as one in any other run
  // without samples does.
  void finish();

  std::span<const ChunkRun> runs() const { return runs_.all(); }
  std::span<const ChunkRun> filled() const { return runs_.filled(); }

 private:
  RunList<ChunkRun> runs_;
  std::optional<ChunkRun> last_;  // until the next run tells how many chunks it has
};

// The last run that begins at or before a sample; the first run for a sample before all of them;
// null without runs. The last run is tried first: whoever looks near the end finds it at once.
template <class Run>
const Run* findRun(std::span<const Run> runs, std::uint32_t sampleNumber) {
  if (runs.empty()) return nullptr;
  if (runs.back().firstSample <= sampleNumber) return &runs.back();
  std::size_t base = 0;
  std::size_t length = runs.size();
  while (length > 0) {
    const std::size_t step = (length + 1) / 2;
    if (base + step < runs.size() && runs[base + step].firstSample <= sampleNumber) {
      base += step;
      length -= step;
    } else {
      length = step - 1;
    }
  }
  return &runs[base];
}

template <class ValueAt>
void RisingIndex::build(std::size_t count, ValueAt valueAt) {
  rises_.clear();
  isAscending_ = true;
  for (std::size_t i = 1; i < count && isAscending_; ++i)
    isAscending_ = valueAt(i - 1) <= valueAt(i);
  if (isAscending_) return;
  std::uint64_t highest = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint64_t value = valueAt(i);
    if (i > 0 && value <= highest) continue;
    highest = value;
    rises_.push_back(static_cast<std::uint32_t>(i));
  }
}

template <class ValueAt>
std::size_t RisingIndex::firstReaching(std::size_t count, std::uint64_t target,
                                       ValueAt valueAt) const {
  const auto entryAt = [&](std::size_t i) { return isAscending_ ? i : rises_[i]; };
  std::size_t low = 0;
  std::size_t high = isAscending_ ? count : rises_.size();
  while (low < high) {
    const std::size_t middle = low + (high - low) / 2;
    if (valueAt(entryAt(middle)) < target) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low == (isAscending_ ? count : rises_.size()) ? count : entryAt(low);
}

}  // namespace norvik::kav::impl
