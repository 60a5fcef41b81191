#include "kav/impl/boxes/table_boxes.h"

#include <utility>

#include "kav/exception.h"

namespace norvik::kav::impl {
namespace {

constexpr TableShape kTimeTable{4, 8};
constexpr TableShape kOffsetTable{4, 8};
constexpr TableShape kChunkTable{4, 12};
constexpr TableShape kSizeTable{8, 4};
constexpr TableShape kWideOffsetTable{4, 8};
constexpr TableShape kSyncTable{4, 4};
constexpr TableShape kDependencyTable{0, 1};

static_assert(recordSize<TimeEntry>(kVersion0) == kTimeTable.entryLength);
static_assert(recordSize<OffsetEntry>(kVersion0) == kOffsetTable.entryLength);
static_assert(recordSize<ChunkEntry>(kVersion0) == kChunkTable.entryLength);
static_assert(recordSize<NumberEntry>(kVersion0) == kSizeTable.entryLength);
static_assert(recordSize<WideOffsetEntry>(kVersion0) == kWideOffsetTable.entryLength);
static_assert(recordSize<DependencyEntry>(kVersion0) == kDependencyTable.entryLength);

}  // namespace

SttsBox::SttsBox(BoxHeader header, NorvikKavStream& stream) : TableBox(std::move(header), stream) {}

SttsBox::SttsBox(std::uint32_t capacity, std::uint32_t lastSampleDuration, NorvikKavStream& stream)
    : TableBox(fourCc("stts"), stream, kTimeTable,
               plausibleCapacity(capacity, ErrorCode::implausibleCount)),
      state_(TimeTableBuilder(lastSampleDuration)) {}

void SttsBox::readContent() {
  const std::uint32_t count = readNumber();
  requireEntries(count, kTimeTable.entryLength, ErrorCode::implausibleCount);
  setEntryCount(count);
  TimeTable::Loader loader(count);
  decodeEntries<TimeEntry>(count, [&](const TimeEntry& entry) { loader.add(entry); });
  state_ = std::move(loader).finish();
}

void SttsBox::writeContent() { writeFixedNumber(0, entryCount()); }

void SttsBox::updateContent() {
  takeBackFinal();
  if (const auto* builder = std::get_if<TimeTableBuilder>(&state_)) {
    for (const TimeEntry& entry : builder->finish()) appendFinal(entry);
  }
  writeContent();
}

CttsBox::CttsBox(BoxHeader header, NorvikKavStream& stream) : TableBox(std::move(header), stream) {}

CttsBox::CttsBox(std::uint32_t capacity, NorvikKavStream& stream)
    : TableBox(fourCc("ctts"), stream, kOffsetTable, capacity), state_(CompositionTableBuilder()) {}

void CttsBox::readContent() {
  const std::uint32_t count = readCount();
  requireEntries(count, kOffsetTable.entryLength, ErrorCode::implausibleCount);
  setEntryCount(count);
  if (count > 0) isEmptyTable_ = false;
  CompositionTable::Loader loader(count);
  decodeEntries<OffsetEntry>(count, [&](const OffsetEntry& entry) { loader.add(entry); });
  state_ = std::move(loader).finish();
}

void CttsBox::writeContent() { writeFixedNumber(0, entryCount()); }

void CttsBox::updateContent() {
  takeBackFinal();
  if (const auto* builder = std::get_if<CompositionTableBuilder>(&state_)) {
    if (const auto entry = builder->finish()) appendFinal(*entry);
  }
  writeContent();
}

StscBox::StscBox(BoxHeader header, NorvikKavStream& stream) : TableBox(std::move(header), stream) {}

StscBox::StscBox(std::uint32_t capacity, NorvikKavStream& stream)
    : TableBox(fourCc("stsc"), stream, kChunkTable, capacity) {}

// The count is not checked: the part of the table that the stream has is used.
void StscBox::readContent() {
  const std::uint32_t count = readNumber();
  setEntryCount(count);
  readEntries(count);
}

void StscBox::readEntries(std::uint32_t count) {
  ChunkTable::Loader loader;
  decodeEntries<ChunkEntry>(count, [&](const ChunkEntry& entry) { loader.add(entry); });
  table_ = std::move(loader).finish();
}

void StscBox::writeContent() { writeFixedNumber(0, entryCount()); }

void StscBox::updateContent() { writeContent(); }

void StscBox::addChunk(std::uint32_t firstChunk, std::uint32_t samplesPerChunk,
                       std::uint32_t descriptionIndex) {
  append(ChunkEntry{firstChunk, samplesPerChunk, descriptionIndex});
}

StszBox::StszBox(BoxHeader header, NorvikKavStream& stream) : TableBox(std::move(header), stream) {}

StszBox::StszBox(std::uint32_t capacity, NorvikKavStream& stream)
    : TableBox(fourCc("stsz"), stream, kSizeTable,
               plausibleCapacity(capacity, ErrorCode::implausibleSampleCount)) {}

void StszBox::readContent() {
  if (bytesLeft() < kSizeTable.fixedLength) throw Exception(ErrorCode::truncatedBox);
  const std::uint32_t sampleSize = readNumber();
  const std::uint32_t count = readNumber();
  const bool hasSizes = sampleSize == 0;
  requireEntries(count, hasSizes ? kSizeTable.entryLength : 0, ErrorCode::implausibleSampleCount);
  setEntryCount(count);
  if (hasSizes) {
    readSampleSizes(count);
  } else {
    table_ = SizeTable(sampleSize, count);
  }
}

void StszBox::readSampleSizes(std::uint32_t count) {
  std::vector<std::uint32_t> sizes;
  sizes.reserve(count);
  decodeEntries<NumberEntry>(count,
                             [&](const NumberEntry& entry) { sizes.push_back(entry.number); });
  table_ = SizeTable(std::move(sizes));
}

void StszBox::writeContent() {
  writeFixedNumber(0, 0);
  updateContent();
}

void StszBox::updateContent() { writeFixedNumber(4, entryCount()); }

void StszBox::addSampleSize(std::uint32_t size) { append(NumberEntry{size}); }

std::unique_ptr<SampleSizeIterator> StszBox::getSampleSizeIterator(
    std::uint32_t sampleNumber) const {
  if (table_.sampleSize() != 0) {
    return std::make_unique<FixedSampleSizeIterator>(table_.sampleSize(), sampleNumber,
                                                     sampleCount());
  }
  return std::make_unique<NormalVariableSampleSizeIterator>(table_.sizes(), sampleNumber);
}

Co64Box::Co64Box(std::uint32_t capacity, NorvikKavStream& stream)
    : ChunkOffsetBoxOf(fourCc("co64"), stream, kWideOffsetTable,
                       plausibleCapacity(capacity, ErrorCode::implausibleSampleCount)) {}

void Co64Box::writeContent() { writeFixedNumber(0, entryCount()); }

void Co64Box::updateContent() { writeContent(); }

void Co64Box::addChunkOffset(std::uint64_t offset) { append(WideOffsetEntry{offset}); }

StssBox::StssBox(BoxHeader header, NorvikKavStream& stream) : TableBox(std::move(header), stream) {}

StssBox::StssBox(std::uint32_t capacity, NorvikKavStream& stream)
    : TableBox(fourCc("stss"), stream, kSyncTable,
               plausibleCapacity(capacity, ErrorCode::implausibleSampleCount)) {}

void StssBox::readContent() {
  const std::uint32_t count = readCount();
  requireEntries(count, kSyncTable.entryLength, ErrorCode::implausibleSampleCount);
  setEntryCount(count);
  std::vector<std::uint32_t> numbers;
  numbers.reserve(count);
  decodeEntries<NumberEntry>(count,
                             [&](const NumberEntry& entry) { numbers.push_back(entry.number); });
  table_ = SyncTable(std::move(numbers));
}

void StssBox::writeContent() { writeFixedNumber(0, entryCount()); }

void StssBox::updateContent() { writeContent(); }

void StssBox::addSyncSample(std::uint32_t sampleNumber) { append(NumberEntry{sampleNumber}); }

SdtpBox::SdtpBox(BoxHeader header, NorvikKavStream& stream) : TableBox(std::move(header), stream) {}

SdtpBox::SdtpBox(std::uint32_t capacity, NorvikKavStream& stream)
    : TableBox(fourCc("sdtp"), stream, kDependencyTable,
               plausibleCapacity(capacity, ErrorCode::implausibleCount)) {}

void SdtpBox::setSampleCount(std::uint32_t count) {
  if (count > kMostEntries) throw Exception(ErrorCode::implausibleSampleCount);
  setEntryCount(count);
}

void SdtpBox::readContent() {
  const std::uint32_t count = entryCount();
  if (bytesLeft() < count) throw Exception(ErrorCode::truncatedBox);
  bytes_.resize(count);
  bytes_.resize(stream().read(bytes_.data(), count));
}

void SdtpBox::addSampleDependencies(std::uint8_t dependencies) {
  append(DependencyEntry{dependencies});
}

}  // namespace norvik::kav::impl
