#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "kav/impl/tables/run_search.h"
#include "kav/impl/tables/table_entries.h"
#include "kav/wrapping.h"

namespace norvik::kav::impl {

// Samples of equal duration, in decoding order. Sample numbers count from 1.
struct TimeRun {
  std::uint64_t startTime = 0;  // decoding time of the first sample, in media timescale units
  std::uint32_t firstSample = 0;
  std::uint32_t sampleCount = 0;
  std::uint32_t sampleDelta = 0;
};

// The decoding times of a track: the entries of a file with the sums by which a time finds its
// entry. A table does not change once it is loaded.
class TimeTable {
 public:
  class Loader;

  TimeTable() = default;

  std::span<const TimeRun> runs() const { return runs_.all(); }
  std::span<const TimeRun> filled() const { return runs_.filled(); }

  // The first filled run with a sample at or after a time; the end of the filled runs if there is
  // none.
  const TimeRun* findTime(std::uint64_t time) const;

  // The end of the last sample; 0 without samples.
  std::uint64_t endTime() const;

 private:
  RunList<TimeRun> runs_;
  RisingIndex lastTimes_;
};

// Builds a table from the entries of a file. Order of calls: add each in turn, then finish.
class TimeTable::Loader {
 public:
  explicit Loader(std::size_t expectedEntries = 0) { table_.runs_.reserve(expectedEntries); }

  void add(const TimeEntry& entry);
  TimeTable finish() &&;

 private:
  TimeTable table_;
  std::uint64_t nextStartTime_ = 0;
  std::uint32_t nextFirstSample_ = 1;
};

// Walks decoding times. It is at a sample or, past the last one, not valid. It refers to the table
// and owns nothing: the table must outlive it.
class TimeCursor {
 public:
  TimeCursor() = default;

  // Starts at the first sample with a decoding time at or after a time.
  TimeCursor(const TimeTable& table, std::uint64_t time);

  bool isValid() const { return run_ != end_; }
  std::uint32_t sampleNumber() const { return sampleNumber_; }
  std::uint64_t decodingTime() const { return decodingTime_; }

  // The time from this sample to the next. Only for a valid cursor.
  std::uint32_t sampleDelta() const { return run_->sampleDelta; }

  // Times are summed up sample by sample, so they continue exactly even where the start of the next
  // run is a wrapped number.
  void advance() {
    if (!isValid()) return;
    decodingTime_ = wrappingAdd(decodingTime_, run_->sampleDelta);
    sampleNumber_ = wrappingAdd(sampleNumber_, 1);
    if (++index_ < run_->sampleCount) return;
    ++run_;
    index_ = 0;
  }

 private:
  const TimeRun* run_ = nullptr;
  const TimeRun* end_ = nullptr;
  std::uint32_t index_ = 0;  // within the run
  std::uint32_t sampleNumber_ = 0;
  std::uint64_t decodingTime_ = 0;
};

// Turns the decoding times of a track into the entries of its table. A run is held until a sample
// of another duration comes.
class TimeTableBuilder {
 public:
  // Decoding times do not give the duration of the last sample, so it is passed here.
  explicit TimeTableBuilder(std::uint32_t lastSampleDuration)
      : lastSampleDuration_(lastSampleDuration) {}

  // Takes the time of the next sample, in decoding order. Returns the entry that this makes final,
  // if any.
  std::optional<TimeEntry> add(std::uint64_t decodingTime) {
    const std::uint32_t delta = wrappingDistance(previousTime_, decodingTime);
    previousTime_ = decodingTime;
    if (samples_ < kSeveral) ++samples_;
    if (samples_ == 1) return std::nullopt;
    if (delta == pending_.sampleDelta || pending_.sampleDelta == kNoDelta) {
      ++pending_.sampleCount;
      pending_.sampleDelta = delta;
      return std::nullopt;
    }
    const TimeEntry final = pending_;
    pending_ = {1, delta};
    return final;
  }

  // The entries that complete the table for the samples so far. More samples may still follow.
  std::vector<TimeEntry> finish() const;

 private:
  static constexpr std::uint32_t kNoDelta = 0xFFFFFFFF;
  static constexpr std::uint8_t kSeveral = 2;

  TimeEntry pending_{0, kNoDelta};
  std::uint64_t previousTime_ = 0;
  std::uint32_t lastSampleDuration_;
  std::uint8_t samples_ = 0;  // none, one or several
};

}  // namespace norvik::kav::impl
