#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "kav/impl/tables/sample_runs.h"
#include "kav/wrapping.h"

namespace norvik::kav::impl {

// What walks the sample tables of a track, one sample or chunk at a time. Cursors and iterators
// refer to a table and own nothing: the table must outlive them.

// Walks decoding times. It is at a sample or, past the last one, not valid.
class TimeCursor {
 public:
  TimeCursor() = default;

  // Starts at the first sample with a decoding time at or after a time.
  TimeCursor(const TimeRuns& runs, std::uint64_t time);

  bool isValid() const { return run_ != end_; }
  std::uint32_t sampleNumber() const { return sampleNumber_; }
  std::uint64_t decodingTime() const { return decodingTime_; }

  // The time from this sample to the next. Only for a valid cursor.
  std::uint32_t sampleDelta() const { return run_->sampleDelta; }

  // Times are summed up sample by sample, so they go on exactly even where the start of the next
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

// Walks composition offsets. A table may hold fewer samples than the track: once the walk has left
// its last run, and for a track without a table, the offset is 0.
class CompositionCursor {
 public:
  CompositionCursor() = default;

  // runs: filled ones. A sample past the last run starts in that run, and has its offset.
  CompositionCursor(std::span<const OffsetRun> runs, std::uint32_t sampleNumber);

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

// Walks the samples of chunks. It begins at the first sample of the chunk that holds the wanted
// one; the caller walks on from there and adds up the sizes, since only the chunk's offset is in
// the file.
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

// Walks the numbers of sync samples in the order of the table. Only a cursor made from a table is
// active; a track without one has no sync samples.
class SyncSampleCursor {
 public:
  SyncSampleCursor() = default;
  SyncSampleCursor(const std::uint32_t* position, const std::uint32_t* end)
      : position_(position), end_(end), isActive_(true) {}

  bool isActive() const { return isActive_; }
  bool isAtEnd() const { return position_ == end_; }

  // The number that the cursor stands at. Not at the end.
  std::uint32_t current() const { return *position_; }

  bool isAt(std::uint32_t sampleNumber) const {
    return isActive_ && position_ != end_ && *position_ == sampleNumber;
  }
  void next() {
    if (position_ != end_) ++position_;
  }

 private:
  const std::uint32_t* position_ = nullptr;
  const std::uint32_t* end_ = nullptr;
  bool isActive_ = false;
};

// Walks sample sizes.
class SampleSizeIterator {
 public:
  virtual ~SampleSizeIterator() = default;
  virtual std::uint32_t getSampleSize() const = 0;
  virtual bool isValid() const = 0;
  virtual void next() = 0;
};

// All samples have one size.
class FixedSampleSizeIterator final : public SampleSizeIterator {
 public:
  // Sample 0 gives an iterator at its end.
  FixedSampleSizeIterator(std::uint32_t size, std::uint32_t sampleNumber, std::uint32_t count)
      : size_(size), index_(sampleNumber == 0 ? count : sampleNumber - 1), count_(count) {}

  std::uint32_t getSampleSize() const override { return size_; }
  bool isValid() const override { return index_ < count_; }
  void next() override {
    if (index_ < count_) ++index_;
  }

 private:
  std::uint32_t size_;
  std::uint32_t index_;
  std::uint32_t count_;
};

// Every sample has its own size. Only a valid iterator has one to tell.
class NormalVariableSampleSizeIterator final : public SampleSizeIterator {
 public:
  NormalVariableSampleSizeIterator(std::span<const std::uint32_t> sizes,
                                   std::uint32_t sampleNumber);

  std::uint32_t getSampleSize() const override { return position_ != end_ ? *position_ : 0; }
  bool isValid() const override { return position_ != end_; }
  void next() override {
    if (position_ != end_) ++position_;
  }

 private:
  const std::uint32_t* position_;
  const std::uint32_t* end_;
};

// Held by whoever is not positioned yet.
class NullSampleSizeIterator final : public SampleSizeIterator {
 public:
  std::uint32_t getSampleSize() const override { return 0; }
  bool isValid() const override { return false; }
  void next() override {}
};

// Walks chunk offsets.
class ChunkOffsetIterator {
 public:
  virtual ~ChunkOffsetIterator() = default;
  virtual bool isValid() const = 0;
  virtual void next() = 0;
  virtual std::uint64_t getOffset() const = 0;
};

class NormalChunkOffsetIterator final : public ChunkOffsetIterator {
 public:
  NormalChunkOffsetIterator(std::span<const std::uint64_t> offsets, std::uint32_t chunkNumber);

  bool isValid() const override { return isActive_ && position_ != end_; }
  void next() override {
    if (position_ != end_) ++position_;
  }
  std::uint64_t getOffset() const override { return position_ != end_ ? *position_ : 0; }

 private:
  const std::uint64_t* position_;
  const std::uint64_t* end_;
  bool isActive_ = true;
};

// Held by whoever is not positioned yet.
class NullChunkOffsetIterator final : public ChunkOffsetIterator {
 public:
  bool isValid() const override { return false; }
  void next() override {}
  std::uint64_t getOffset() const override { return 0; }
};

// What a track needs of its sample tables, whichever box holds them.

class ISampleSizeBox {
 public:
  virtual ~ISampleSizeBox() = default;
  virtual std::unique_ptr<SampleSizeIterator> getSampleSizeIterator(
      std::uint32_t sampleNumber) const = 0;
};

class IChunkOffsetBox {
 public:
  virtual ~IChunkOffsetBox() = default;
  virtual std::unique_ptr<ChunkOffsetIterator> getChunkOffsetIterator(
      std::uint32_t chunkNumber) const = 0;
};

class ISyncSampleBox {
 public:
  virtual ~ISyncSampleBox() = default;

  // Stands at the first entry, in the order of the table, that is not below the number.
  virtual SyncSampleCursor getSyncSampleCursor(std::uint32_t sampleNumber) const = 0;
};

}  // namespace norvik::kav::impl
