#include "kav/impl/tables/chunk_table.h"

#include <limits>
#include <utility>

#include "kav/exception.h"

namespace norvik::kav::impl {

void ChunkTable::Loader::add(const ChunkEntry& entry) {
  std::uint32_t firstSample = 1;
  if (!last_) {
    if (entry.firstChunk != 1) throw Exception(ErrorCode::badChunkRun);
  } else {
    if (entry.firstChunk < latestChunk_) throw Exception(ErrorCode::badChunkRun);
    latestChunk_ = entry.firstChunk;
    if (continuesLast(entry)) return;
    last_->chunkCount = entry.firstChunk - last_->firstChunk;
    firstSample = wrappingAdd(last_->firstSample,
                              wrappingMultiply(last_->samplesPerChunk, last_->chunkCount));
    table_.runs_.add(*last_, last_->chunkCount > 0);
  }
  last_ = {entry.firstChunk, ChunkRun::kOpenEnded, entry.samplesPerChunk, entry.descriptionIndex,
           firstSample};
}

// Sample numbers that wrap are left as the entries have them: a look-up in two runs and one in
// their union would differ.
bool ChunkTable::Loader::continuesLast(const ChunkEntry& entry) const {
  if (entry.firstChunk == last_->firstChunk || entry.samplesPerChunk == 0 ||
      entry.samplesPerChunk != last_->samplesPerChunk ||
      entry.descriptionIndex != last_->descriptionIndex) {
    return false;
  }
  const std::uint64_t chunks = entry.firstChunk - last_->firstChunk;
  const std::uint64_t firstSample = last_->firstSample + chunks * entry.samplesPerChunk;
  return firstSample <= std::numeric_limits<std::uint32_t>::max();
}

ChunkTable ChunkTable::Loader::finish() && {
  table_.runs_.add(last_.value_or(ChunkRun{1, ChunkRun::kOpenEnded, 0, 1, 1}), true);
  return std::move(table_);
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

}  // namespace norvik::kav::impl
