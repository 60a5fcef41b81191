#include "kav/impl/tables/sample_cursors.h"

#include "kav/exception.h"

namespace norvik::kav::impl {
namespace {

// The entry of a number that counts from 1, or the end of the entries.
template <class T>
const T* entryOf(std::span<const T> entries, std::uint32_t number) {
  const bool exists = number >= 1 && number <= entries.size();
  return entries.data() + (exists ? number - 1 : entries.size());
}

}  // namespace

TimeCursor::TimeCursor(const TimeRuns& runs, std::uint64_t time)
    : run_(runs.findTime(time)), end_(runs.filled().data() + runs.filled().size()) {
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

CompositionCursor::CompositionCursor(std::span<const OffsetRun> runs, std::uint32_t sampleNumber)
    : run_(findRun(runs, sampleNumber)), end_(runs.empty() ? nullptr : runs.data() + runs.size()) {
  if (isValid()) index_ = wrappingSubtract(sampleNumber, run_->firstSample);
}

ChunkCursor::ChunkCursor(std::span<const ChunkRun> runs, std::uint32_t sampleNumber)
    : run_(findRun(runs, sampleNumber)), end_(runs.empty() ? nullptr : runs.data() + runs.size()) {
  if (!isValid()) return;
  requireSamples();
  const std::uint32_t chunkInRun =
      wrappingSubtract(sampleNumber, run_->firstSample) / run_->samplesPerChunk;
  samplesLeft_ = run_->samplesPerChunk;
  chunksLeft_ = wrappingSubtract(run_->chunkCount, chunkInRun);
  sampleNumber_ =
      wrappingAdd(run_->firstSample, wrappingMultiply(chunkInRun, run_->samplesPerChunk));
  chunkNumber_ = wrappingAdd(run_->firstChunk, chunkInRun);
  descriptionIndex_ = run_->descriptionIndex;
}

void ChunkCursor::enterNextChunk() {
  chunksLeft_ = wrappingSubtract(chunksLeft_, 1);
  chunkNumber_ = wrappingAdd(chunkNumber_, 1);
  if (chunksLeft_ == 0) {
    ++run_;
    if (!isValid()) return;
    requireSamples();
    chunksLeft_ = run_->chunkCount;
    descriptionIndex_ = run_->descriptionIndex;
  }
  samplesLeft_ = run_->samplesPerChunk;
}

void ChunkCursor::requireSamples() const {
  if (run_->samplesPerChunk == 0) throw Exception(ErrorCode::badChunkRun);
}

NormalVariableSampleSizeIterator::NormalVariableSampleSizeIterator(
    std::span<const std::uint32_t> sizes, std::uint32_t sampleNumber)
    : position_(entryOf(sizes, sampleNumber)), end_(sizes.data() + sizes.size()) {}

NormalChunkOffsetIterator::NormalChunkOffsetIterator(std::span<const std::uint64_t> offsets,
                                                     std::uint32_t chunkNumber)
    : position_(entryOf(offsets, chunkNumber)), end_(offsets.data() + offsets.size()) {}

}  // namespace norvik::kav::impl
