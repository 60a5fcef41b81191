#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "kav/impl/tables/sync_table.h"

namespace norvik::kav::impl {

// Fixed: the operations of the iterators and interfaces here, and their order. An iterator refers
// to a table and owns nothing: the table must outlive it.

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

// Every sample has its own size. Only a valid iterator has a current one.
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

// A placeholder until a track is positioned.
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

// A placeholder until a track is positioned.
class NullChunkOffsetIterator final : public ChunkOffsetIterator {
 public:
  bool isValid() const override { return false; }
  void next() override {}
  std::uint64_t getOffset() const override { return 0; }
};

// The operations that a track needs of its sample tables, whichever box holds them.

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

  // A cursor at the first entry, in table order, that is not below the number.
  virtual SyncSampleCursor getSyncSampleCursor(std::uint32_t sampleNumber) const = 0;
};

}  // namespace norvik::kav::impl
