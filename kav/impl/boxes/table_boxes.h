#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "kav/impl/boxes/table_box.h"
#include "kav/impl/tables/sample_cursors.h"
#include "kav/impl/tables/sample_runs.h"

namespace norvik::kav::impl {

// The tables of a track, which together tell of each sample when it is decoded and shown, how long
// it is and where it lies in the file:
//
//   stbl ── stsd   what the samples are
//           stts   decoding times       runs of samples of equal duration
//           ctts   composition offsets  runs of samples of equal offset
//           stsc   samples of chunks    runs of chunks with as many samples
//           stsz   sizes                one for all, or one each
//           stco   chunk offsets        32 bits, or co64 with 64 bits
//           stss   sync samples         their numbers
//           sdtp   dependencies         one byte a sample
//
// A table is read completely and then searched, or built sample by sample and never searched.

struct TimeEntry {
  std::uint32_t sampleCount = 0;
  std::uint32_t sampleDelta = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u32(self.sampleCount);
    fields.u32(self.sampleDelta);
  }
};

struct OffsetEntry {
  std::uint32_t sampleCount = 0;
  std::uint32_t sampleOffset = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u32(self.sampleCount);
    fields.u32(self.sampleOffset);
  }
};

struct ChunkEntry {
  std::uint32_t firstChunk = 0;
  std::uint32_t samplesPerChunk = 0;
  std::uint32_t descriptionIndex = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u32(self.firstChunk);
    fields.u32(self.samplesPerChunk);
    fields.u32(self.descriptionIndex);
  }
};

// A size, a 32-bit chunk offset or a sample number.
struct NumberEntry {
  std::uint32_t number = 0;

  std::uint64_t chunkOffset() const { return number; }

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u32(self.number);
  }
};

struct WideOffsetEntry {
  std::uint64_t offset = 0;

  std::uint64_t chunkOffset() const { return offset; }

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u64(self.offset);
  }
};

struct DependencyEntry {
  std::uint8_t dependencies = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u8(self.dependencies);
  }
};

// Decoding times. While it is built, a run waits until a sample of another duration comes; the
// duration of the last sample cannot be told from decoding times and is given at construction.
class SttsBox final : public TableBox {
 public:
  SttsBox(BoxHeader header, NorvikKavStream& stream);

  // Throws implausibleCount for a capacity that no real file has.
  SttsBox(std::uint32_t capacity, std::uint32_t lastSampleDuration, NorvikKavStream& stream);

  void readContent() override;
  void writeContent() override;
  void updateContent() override;

  // Times come in decoding order.
  void addSampleTime(std::uint64_t decodingTime);

  std::span<const TimeRun> runs() const { return runs_.runs(); }

  // The decoding time behind the last sample.
  std::uint64_t endTime() const;

  // Stands at the first sample with a decoding time at or after a time.
  TimeCursor getTimeCursor(std::uint64_t time) const { return {runs_, time}; }

 private:
  static constexpr std::uint32_t kNoDelta = 0xFFFFFFFF;

  TimeRuns runs_;

  TimeEntry pending_{0, kNoDelta};
  std::uint64_t previousTime_ = 0;
  bool hasSample_ = false;
  bool hasOnlyOneSample_ = false;
  std::uint32_t lastSampleDuration_ = 0;
};

// Composition offsets. While it is built, a run waits until another offset comes.
class CttsBox final : public TableBox {
 public:
  CttsBox(BoxHeader header, NorvikKavStream& stream);
  CttsBox(std::uint32_t capacity, NorvikKavStream& stream);

  void readContent() override;
  void writeContent() override;
  void updateContent() override;

  void addCompositionOffset(std::uint32_t offset);

  // Tells that no entry was announced by the table.
  bool isEmptyTable() const { return isEmptyTable_; }
  std::span<const OffsetRun> runs() const { return runs_.runs(); }
  CompositionCursor getCompositionCursor(std::uint32_t sampleNumber) const {
    return {runs_.filled(), sampleNumber};
  }

 private:
  OffsetRuns runs_;
  bool isEmptyTable_ = true;

  OffsetEntry pending_;
};

// Samples of chunks. A built table has one entry for each chunk.
class StscBox final : public TableBox {
 public:
  StscBox(BoxHeader header, NorvikKavStream& stream);
  StscBox(std::uint32_t capacity, NorvikKavStream& stream);

  void readContent() override;
  void writeContent() override;
  void updateContent() override;

  virtual void addChunk(std::uint32_t firstChunk, std::uint32_t samplesPerChunk,
                        std::uint32_t descriptionIndex);

  // Stands at the first sample of the chunk that holds the sample.
  virtual ChunkCursor getChunkCursor(std::uint32_t sampleNumber) const {
    return {runs_.filled(), sampleNumber};
  }
  virtual void readEntries(std::uint32_t count);

  std::span<const ChunkRun> runs() const { return runs_.runs(); }

 private:
  ChunkRuns runs_;
};

// Sample sizes. A built table has a size for each sample.
class StszBox final : public TableBox, public ISampleSizeBox {
 public:
  StszBox(BoxHeader header, NorvikKavStream& stream);

  // Throws implausibleSampleCount for a capacity that no real file has.
  StszBox(std::uint32_t capacity, NorvikKavStream& stream);

  void readContent() override;
  void writeContent() override;
  void updateContent() override;

  virtual void addSampleSize(std::uint32_t size);
  virtual void readSampleSizes(std::uint32_t count);

  std::unique_ptr<SampleSizeIterator> getSampleSizeIterator(
      std::uint32_t sampleNumber) const override;

  // The size of all samples, or 0 when each has its own.
  std::uint32_t sampleSize() const { return sampleSize_; }
  std::uint32_t sampleCount() const { return entryCount(); }
  std::span<const std::uint32_t> sizes() const { return sizes_; }

  // The bytes of a number of samples from one on, in a time that does not grow with the number: a
  // chunk may hold a whole movie. Samples that the table does not have count nothing.
  std::uint64_t totalSize(std::uint32_t firstSample, std::uint32_t count) const;

 private:
  static constexpr std::size_t kStride = 256;

  // The bytes of the samples in front of an entry.
  std::uint64_t bytesBefore(std::uint64_t entry) const;

  std::uint32_t sampleSize_ = 0;
  std::vector<std::uint32_t> sizes_;
  std::vector<std::uint64_t> sums_;  // the bytes in front of every kStride-th entry
};

// Where the chunks begin in the file, in entries of either width. In memory both are 64 bits wide.
template <class Entry>
class ChunkOffsetTable : public TableBox, public IChunkOffsetBox {
 public:
  ChunkOffsetTable(BoxHeader header, NorvikKavStream& stream)
      : TableBox(std::move(header), stream) {}

  std::unique_ptr<ChunkOffsetIterator> getChunkOffsetIterator(
      std::uint32_t chunkNumber) const override {
    return std::make_unique<NormalChunkOffsetIterator>(offsets_, chunkNumber);
  }
  std::span<const std::uint64_t> offsets() const { return offsets_; }

 protected:
  using TableBox::TableBox;

  std::uint32_t readOffsetCount() {
    const std::uint32_t count = readCount();
    requireEntries(count, recordSize<Entry>(kVersion0), ErrorCode::implausibleSampleCount);
    setEntryCount(count);
    return count;
  }

  void readOffsets(std::uint32_t count) {
    offsets_.reserve(count);
    decodeEntries<Entry>(count,
                         [this](const Entry& entry) { offsets_.push_back(entry.chunkOffset()); });
  }

 private:
  std::vector<std::uint64_t> offsets_;
};

// Chunk offsets of 32 bits. They are only read: a built table has 64 bits, since it is begun before
// anybody knows how long the file will be.
class StcoBox final : public ChunkOffsetTable<NumberEntry> {
 public:
  using ChunkOffsetTable::ChunkOffsetTable;

  void readContent() override { readChunkOffsets(readOffsetCount()); }

  virtual void readChunkOffsets(std::uint32_t count) { readOffsets(count); }
};

// Chunk offsets of 64 bits.
class Co64Box final : public ChunkOffsetTable<WideOffsetEntry> {
 public:
  using ChunkOffsetTable::ChunkOffsetTable;

  // Throws implausibleSampleCount for a capacity that no real file has.
  Co64Box(std::uint32_t capacity, NorvikKavStream& stream);

  void readContent() override { readChunkOffsets(readOffsetCount()); }
  void writeContent() override;
  void updateContent() override;

  virtual void addChunkOffset(std::uint64_t offset);
  virtual void readChunkOffsets(std::uint32_t count) { readOffsets(count); }
};

// The numbers of the sync samples, in the order of the file whatever it is.
class StssBox final : public TableBox, public ISyncSampleBox {
 public:
  StssBox(BoxHeader header, NorvikKavStream& stream);

  // Throws implausibleSampleCount for a capacity that no real file has.
  StssBox(std::uint32_t capacity, NorvikKavStream& stream);

  void readContent() override;
  void writeContent() override;
  void updateContent() override;

  void addSyncSample(std::uint32_t sampleNumber);

  SyncSampleCursor getSyncSampleCursor(std::uint32_t sampleNumber) const override;
  std::span<const std::uint32_t> sampleNumbers() const { return sampleNumbers_; }

 private:
  std::vector<std::uint32_t> sampleNumbers_;
  RisingIndex risingNumbers_;
};

// What samples depend on, one byte each. The box does not tell how many: when it is read, the
// sample table sets the count first.
class SdtpBox final : public TableBox {
 public:
  SdtpBox(BoxHeader header, NorvikKavStream& stream);

  // Throws implausibleCount for a capacity that no real file has.
  SdtpBox(std::uint32_t capacity, NorvikKavStream& stream);

  void readContent() override;

  // The number of bytes to read. Throws implausibleSampleCount for one that no real file has.
  void setSampleCount(std::uint32_t count);

  // The byte of the next sample.
  void addSampleDependencies(std::uint8_t dependencies);

  std::span<const std::uint8_t> bytes() const { return bytes_; }

 private:
  std::vector<std::uint8_t> bytes_;
};

}  // namespace norvik::kav::impl
