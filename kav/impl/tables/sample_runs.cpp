#include "kav/impl/tables/sample_runs.h"

#include <limits>

#include "kav/exception.h"
#include "kav/wrapping.h"

namespace norvik::kav::impl {
namespace {

// The decoding time of the last sample of a filled run. Unlike the start of the next run, which is
// a sum of wrapped products, it is exact: samples inside a run are counted on without a wrap.
std::uint64_t lastTimeOf(const TimeRun& run) {
  const std::uint64_t length = std::uint64_t{run.sampleCount - 1} * run.sampleDelta;
  constexpr std::uint64_t kLastTime = std::numeric_limits<std::uint64_t>::max();
  return length > kLastTime - run.startTime ? kLastTime : run.startTime + length;
}

}  // namespace

void TimeRuns::add(std::uint32_t sampleCount, std::uint32_t sampleDelta) {
  runs_.add({nextStartTime_, nextFirstSample_, sampleCount, sampleDelta}, sampleCount > 0);
  nextStartTime_ = wrappingAdd(nextStartTime_, wrappingMultiply(sampleCount, sampleDelta));
  nextFirstSample_ = wrappingAdd(nextFirstSample_, sampleCount);
}

void TimeRuns::finish() {
  const std::span<const TimeRun> runs = filled();
  lastTimes_.build(runs.size(), [&](std::size_t i) { return lastTimeOf(runs[i]); });
}

const TimeRun* TimeRuns::findTime(std::uint64_t time) const {
  const std::span<const TimeRun> runs = filled();
  return runs.data() + lastTimes_.firstReaching(runs.size(), time,
                                                [&](std::size_t i) { return lastTimeOf(runs[i]); });
}

void OffsetRuns::add(std::uint32_t sampleCount, std::uint32_t sampleOffset) {
  runs_.add({sampleCount, sampleOffset, nextFirstSample_}, sampleCount > 0);
  nextFirstSample_ = wrappingAdd(nextFirstSample_, sampleCount);
  if (nextFirstSample_ < sampleCount) throw Exception(ErrorCode::sampleNumberOverflow);
}

void ChunkRuns::add(std::uint32_t firstChunk, std::uint32_t samplesPerChunk,
                    std::uint32_t descriptionIndex) {
  std::uint32_t firstSample = 1;
  if (!last_) {
    if (firstChunk != 1) throw Exception(ErrorCode::badChunkRun);
  } else {
    if (firstChunk < last_->firstChunk) throw Exception(ErrorCode::badChunkRun);
    last_->chunkCount = firstChunk - last_->firstChunk;
    firstSample = wrappingAdd(last_->firstSample,
                              wrappingMultiply(last_->samplesPerChunk, last_->chunkCount));
    runs_.add(*last_, last_->chunkCount > 0);
  }
  last_ = {firstChunk, ChunkRun::kOpenEnded, samplesPerChunk, descriptionIndex, firstSample};
}

void ChunkRuns::finish() {
  runs_.add(last_.value_or(ChunkRun{1, ChunkRun::kOpenEnded, 0, 1, 1}), true);
}

}  // namespace norvik::kav::impl
