#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <variant>
#include <vector>

#include "kav/impl/boxes/table_box.h"
#include "kav/impl/tables/chunk_table.h"
#include "kav/impl/tables/composition_table.h"
#include "kav/impl/tables/offset_table.h"
#include "kav/impl/tables/size_table.h"
#include "kav/impl/tables/sync_table.h"
#include "kav/impl/tables/table_interfaces.h"
#include "kav/impl/tables/time_table.h"

namespace norvik::kav::impl {

// The tables of a track. Together they state for each sample when it is decoded and shown, how long
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
// A table is read completely and then searched, or built sample by sample and never searched. The
// boxes do the input and output; tables and builders do none.

// Decoding times.
class SttsBox final : public TableBox {
 public:
  SttsBox(BoxHeader header, NorvikKavStream& stream);

  // Throws implausibleCount for a capacity that no real file has.
  SttsBox(std::uint32_t capacity, std::uint32_t lastSampleDuration, NorvikKavStream& stream);

  void readContent() override;
  void writeContent() override;
  void updateContent() override;

  // Times must come in decoding order. Only for a box that is built.
  void addSampleTime(std::uint64_t decodingTime) {
    if (const auto entry = std::get<TimeTableBuilder>(state_).add(decodingTime)) append(*entry);
  }

  // Only for a box that was read.
  const TimeTable& table() const { return std::get<TimeTable>(state_); }
  std::uint64_t endTime() const { return table().endTime(); }

  // At the first sample with a decoding time at or after a time.
  TimeCursor getTimeCursor(std::uint64_t time) const { return {table(), time}; }

 private:
  std::variant<TimeTable, TimeTableBuilder> state_;
};

// Composition offsets.
class CttsBox final : public TableBox {
 public:
  CttsBox(BoxHeader header, NorvikKavStream& stream);
  CttsBox(std::uint32_t capacity, NorvikKavStream& stream);

  void readContent() override;
  void writeContent() override;
  void updateContent() override;

  // Only for a box that is built.
  void addCompositionOffset(std::uint32_t offset) {
    if (const auto entry = std::get<CompositionTableBuilder>(state_).add(offset)) append(*entry);
  }

  // Fixed: whether the table announced no entry.
  bool isEmptyTable() const { return isEmptyTable_; }

  // Only for a box that was read.
  const CompositionTable& table() const { return std::get<CompositionTable>(state_); }
  CompositionCursor getCompositionCursor(std::uint32_t sampleNumber) const {
    return {table(), sampleNumber};
  }

 private:
  std::variant<CompositionTable, CompositionTableBuilder> state_;
  bool isEmptyTable_ = true;
};

// Samples of chunks. A built table has one entry for each chunk.
class StscBox final : public TableBox {
 public:
  StscBox(BoxHeader header, NorvikKavStream& stream);
  StscBox(std::uint32_t capacity, NorvikKavStream& stream);

  void readContent() override;
  void writeContent() override;
  void updateContent() override;

  // Fixed: three virtual operations in this order.
  virtual void addChunk(std::uint32_t firstChunk, std::uint32_t samplesPerChunk,
                        std::uint32_t descriptionIndex);

  // At the first sample of the chunk that holds the sample.
  virtual ChunkCursor getChunkCursor(std::uint32_t sampleNumber) const {
    return {table_.filled(), sampleNumber};
  }
  virtual void readEntries(std::uint32_t count);

  const ChunkTable& table() const { return table_; }

 private:
  ChunkTable table_;
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

  // Fixed: two virtual operations in this order.
  virtual void addSampleSize(std::uint32_t size);
  virtual void readSampleSizes(std::uint32_t count);

  std::unique_ptr<SampleSizeIterator> getSampleSizeIterator(
      std::uint32_t sampleNumber) const override;

  // The count that the box states, even if the stream delivered fewer sizes.
  std::uint32_t sampleCount() const { return entryCount(); }

  const SizeTable& table() const { return table_; }
  std::uint64_t totalSize(std::uint32_t firstSample, std::uint32_t count) const {
    return table_.totalSize(firstSample, count);
  }

 private:
  SizeTable table_;
};

// Where the chunks begin in the file, in entries of either width.
template <class Entry>
class ChunkOffsetBoxOf : public TableBox, public IChunkOffsetBox {
 public:
  ChunkOffsetBoxOf(BoxHeader header, NorvikKavStream& stream)
      : TableBox(std::move(header), stream) {}

  std::unique_ptr<ChunkOffsetIterator> getChunkOffsetIterator(
      std::uint32_t chunkNumber) const override {
    return std::make_unique<NormalChunkOffsetIterator>(table_.offsets(), chunkNumber);
  }
  const OffsetTable& table() const { return table_; }

 protected:
  using TableBox::TableBox;

  std::uint32_t readOffsetCount() {
    const std::uint32_t count = readCount();
    requireEntries(count, recordSize<Entry>(kVersion0), ErrorCode::implausibleSampleCount);
    setEntryCount(count);
    return count;
  }

  void readOffsets(std::uint32_t count) {
    std::vector<std::uint64_t> offsets;
    offsets.reserve(count);
    decodeEntries<Entry>(count,
                         [&](const Entry& entry) { offsets.push_back(entry.chunkOffset()); });
    table_ = OffsetTable(std::move(offsets));
  }

 private:
  OffsetTable table_;
};

// Chunk offsets of 32 bits. They are only read: a built table has 64 bits, since it is begun before
// the length of the file is known.
class StcoBox final : public ChunkOffsetBoxOf<NumberEntry> {
 public:
  using ChunkOffsetBoxOf::ChunkOffsetBoxOf;

  void readContent() override { readChunkOffsets(readOffsetCount()); }

  // Fixed: a virtual operation.
  virtual void readChunkOffsets(std::uint32_t count) { readOffsets(count); }
};

// Chunk offsets of 64 bits.
class Co64Box final : public ChunkOffsetBoxOf<WideOffsetEntry> {
 public:
  using ChunkOffsetBoxOf::ChunkOffsetBoxOf;

  // Throws implausibleSampleCount for a capacity that no real file has.
  Co64Box(std::uint32_t capacity, NorvikKavStream& stream);

  void readContent() override { readChunkOffsets(readOffsetCount()); }
  void writeContent() override;
  void updateContent() override;

  // Fixed: two virtual operations in this order.
  virtual void addChunkOffset(std::uint64_t offset);
  virtual void readChunkOffsets(std::uint32_t count) { readOffsets(count); }
};

// The numbers of the sync samples.
class StssBox final : public TableBox, public ISyncSampleBox {
 public:
  StssBox(BoxHeader header, NorvikKavStream& stream);

  // Throws implausibleSampleCount for a capacity that no real file has.
  StssBox(std::uint32_t capacity, NorvikKavStream& stream);

  void readContent() override;
  void writeContent() override;
  void updateContent() override;

  void addSyncSample(std::uint32_t sampleNumber);

  SyncSampleCursor getSyncSampleCursor(std::uint32_t sampleNumber) const override {
    return table_.cursorFrom(sampleNumber);
  }
  const SyncTable& table() const { return table_; }

 private:
  SyncTable table_;
};

// The dependencies of samples, one byte each. The box does not state their number: when it is read,
// the sample table sets the count first.
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
