#include "kav/impl/sample_runs.h"

#include <limits>

#include "kav/exception.h"
#include "kav/wrapping.h"

namespace norvik::kav::impl {
namespace {

// The decoding time of the last sample of a run. Unlike the start of the run behind it, which is a
// sum of wrapped products, it is exact: samples inside a run are counted on without a wrap.
std::uint64_t lastTimeOf(const TimeRun& run) {
  const std::uint64_t length = std::uint64_t{run.sampleCount - 1} * run.sampleDelta;
  constexpr std::uint64_t kLastTime = std::numeric_limits<std::uint64_t>::max();
  return length > kLastTime - run.startTime ? kLastTime : run.startTime + length;
}

}  // namespace

void TimeRuns::add(std::uint32_t sampleCount, std::uint32_t sampleDelta) {
  if (sampleCount == 0) return;
  runs_.push_back({nextStartTime_, nextFirstSample_, sampleCount, sampleDelta});
  nextStartTime_ = wrappingAdd(nextStartTime_, wrappingMultiply(sampleCount, sampleDelta));
  nextFirstSample_ = wrappingAdd(nextFirstSample_, sampleCount);
}

void TimeRuns::finish() {
  lastTimes_.build(runs_.size(), [&](std::size_t i) { return lastTimeOf(runs_[i]); });
}

const TimeRun* TimeRuns::findTime(std::uint64_t time) const {
  return runs_.data() + lastTimes_.firstReaching(runs_.size(), time, [&](std::size_t i) {
    return lastTimeOf(runs_[i]);
  });
}

void OffsetRuns::add(std::uint32_t sampleCount, std::uint32_t sampleOffset) {
  if (sampleCount == 0) return;
  runs_.push_back({sampleCount, sampleOffset, nextFirstSample_});
  nextFirstSample_ = wrappingAdd(nextFirstSample_, sampleCount);
  if (nextFirstSample_ < sampleCount) throw Exception(ErrorCode::sampleNumberOverflow);
}

void ChunkRuns::add(std::uint32_t firstChunk, std::uint32_t samplesPerChunk,
                    std::uint32_t descriptionIndex) {
  if (runs_.empty()) {
    if (firstChunk != 1) throw Exception(ErrorCode::badChunkRun);
  } else {
    ChunkRun& previous = runs_.back();
    if (firstChunk < previous.firstChunk) throw Exception(ErrorCode::badChunkRun);
    previous.chunkCount = firstChunk - previous.firstChunk;
    nextFirstSample_ = wrappingAdd(nextFirstSample_,
                                   wrappingMultiply(previous.samplesPerChunk, previous.chunkCount));
    if (previous.chunkCount == 0) runs_.pop_back();
  }
  runs_.push_back(
      {firstChunk, ChunkRun::kOpenEnded, samplesPerChunk, descriptionIndex, nextFirstSample_});
}

void ChunkRuns::finish() {
  if (runs_.empty()) runs_.push_back({1, ChunkRun::kOpenEnded, 0, 1, 1});
}

}  // namespace norvik::kav::impl
