#include "kav/impl/tables/time_table.h"

#include <limits>
#include <utility>

namespace norvik::kav::impl {
namespace {

// The decoding time of the last sample of a filled run. It is exact, because samples inside a run
// are counted without a wrap. The start of the next run is a sum of wrapped products.
std::uint64_t lastTimeOf(const TimeRun& run) {
  const std::uint64_t length = std::uint64_t{run.sampleCount - 1} * run.sampleDelta;
  constexpr std::uint64_t kLastTime = std::numeric_limits<std::uint64_t>::max();
  return length > kLastTime - run.startTime ? kLastTime : run.startTime + length;
}

}  // namespace

void TimeTable::Loader::add(const TimeEntry& entry) {
  table_.runs_.add({nextStartTime_, nextFirstSample_, entry.sampleCount, entry.sampleDelta},
                   entry.sampleCount > 0);
  nextStartTime_ =
      wrappingAdd(nextStartTime_, wrappingMultiply(entry.sampleCount, entry.sampleDelta));
  nextFirstSample_ = wrappingAdd(nextFirstSample_, entry.sampleCount);
}

TimeTable TimeTable::Loader::finish() && {
  const std::span<const TimeRun> runs = table_.filled();
  table_.lastTimes_.build(runs.size(), [&](std::size_t i) { return lastTimeOf(runs[i]); });
  return std::move(table_);
}

const TimeRun* TimeTable::findTime(std::uint64_t time) const {
  const std::span<const TimeRun> runs = filled();
  return runs.data() + lastTimes_.firstReaching(runs.size(), time,
                                                [&](std::size_t i) { return lastTimeOf(runs[i]); });
}

std::uint64_t TimeTable::endTime() const {
  if (filled().empty()) return 0;
  const TimeRun& last = filled().back();
  return last.startTime + std::uint64_t{last.sampleCount} * last.sampleDelta;
}

TimeCursor::TimeCursor(const TimeTable& table, std::uint64_t time)
    : run_(table.findTime(time)), end_(table.filled().data() + table.filled().size()) {
  if (!isValid()) return;
  if (run_->startTime < time) {
    // A run that begins before the time and reaches it has a duration above 0, and the quotient is
    // below its number of samples.
    const std::uint64_t distance = time - run_->startTime;
    index_ = static_cast<std::uint32_t>((distance - 1) / run_->sampleDelta + 1);
  }
  sampleNumber_ = wrappingAdd(run_->firstSample, index_);
  decodingTime_ = wrappingAdd(run_->startTime, std::uint64_t{index_} * run_->sampleDelta);
}

std::vector<TimeEntry> TimeTableBuilder::finish() const {
  // A track of one picture lasts one unit, whatever the given duration of the last sample.
  if (samples_ == 1) return {{1, 1}};
  if (pending_.sampleCount == 0) return {};
  return {pending_, {1, lastSampleDuration_}};
}

}  // namespace norvik::kav::impl
