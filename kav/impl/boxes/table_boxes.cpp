#include "kav/impl/boxes/table_boxes.h"

#include <algorithm>
#include <numeric>
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
      lastSampleDuration_(lastSampleDuration) {}

void SttsBox::readContent() {
  const std::uint32_t count = readNumber();
  requireEntries(count, kTimeTable.entryLength, ErrorCode::implausibleCount);
  setEntryCount(count);
  runs_.reserve(count);
  decodeEntries<TimeEntry>(
      count, [this](const TimeEntry& entry) { runs_.add(entry.sampleCount, entry.sampleDelta); });
  runs_.finish();
}

void SttsBox::writeContent() { writeFixedNumber(0, entryCount()); }

void SttsBox::updateContent() {
  takeBackFinal();
  if (hasOnlyOneSample_) {
    // A track of one picture lasts one unit, whatever a last sample lasts elsewhere.
    appendFinal(TimeEntry{1, 1});
  } else if (pending_.sampleCount > 0) {
    appendFinal(pending_);
    appendFinal(TimeEntry{1, lastSampleDuration_});
  }
  writeContent();
}

void SttsBox::addSampleTime(std::uint64_t decodingTime) {
  if (!hasSample_) {
    hasSample_ = true;
    hasOnlyOneSample_ = true;
    previousTime_ = decodingTime;
    return;
  }
  hasOnlyOneSample_ = false;
  const std::uint32_t delta = wrappingDistance(previousTime_, decodingTime);
  if (pending_.sampleDelta == kNoDelta || delta == pending_.sampleDelta) {
    ++pending_.sampleCount;
    pending_.sampleDelta = delta;
  } else {
    append(pending_);
    pending_ = {1, delta};
  }
  previousTime_ = decodingTime;
}

std::uint64_t SttsBox::endTime() const {
  if (runs_.filled().empty()) return 0;
  const TimeRun& last = runs_.filled().back();
  return last.startTime + std::uint64_t{last.sampleCount} * last.sampleDelta;
}

CttsBox::CttsBox(BoxHeader header, NorvikKavStream& stream) : TableBox(std::move(header), stream) {}

CttsBox::CttsBox(std::uint32_t capacity, NorvikKavStream& stream)
    : TableBox(fourCc("ctts"), stream, kOffsetTable, capacity) {}

void CttsBox::readContent() {
  const std::uint32_t count = readCount();
  requireEntries(count, kOffsetTable.entryLength, ErrorCode::implausibleCount);
  setEntryCount(count);
  if (count > 0) isEmptyTable_ = false;
  runs_.reserve(count);
  decodeEntries<OffsetEntry>(count, [this](const OffsetEntry& entry) {
    runs_.add(entry.sampleCount, entry.sampleOffset);
  });
}

void CttsBox::writeContent() { writeFixedNumber(0, entryCount()); }

void CttsBox::updateContent() {
  takeBackFinal();
  if (pending_.sampleCount > 0) appendFinal(pending_);
  writeContent();
}

void CttsBox::addCompositionOffset(std::uint32_t offset) {
  if (pending_.sampleCount > 0 && offset != pending_.sampleOffset) {
    append(pending_);
    pending_.sampleCount = 0;
  }
  ++pending_.sampleCount;
  pending_.sampleOffset = offset;
}

StscBox::StscBox(BoxHeader header, NorvikKavStream& stream) : TableBox(std::move(header), stream) {}

StscBox::StscBox(std::uint32_t capacity, NorvikKavStream& stream)
    : TableBox(fourCc("stsc"), stream, kChunkTable, capacity) {}

// The count is taken as it comes: what the stream has of the table is used.
void StscBox::readContent() {
  const std::uint32_t count = readNumber();
  setEntryCount(count);
  readEntries(count);
}

void StscBox::readEntries(std::uint32_t count) {
  decodeEntries<ChunkEntry>(count, [this](const ChunkEntry& entry) {
    runs_.add(entry.firstChunk, entry.samplesPerChunk, entry.descriptionIndex);
  });
  runs_.finish();
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
  sampleSize_ = readNumber();
  const std::uint32_t count = readNumber();
  requireEntries(count, sampleSize_ == 0 ? kSizeTable.entryLength : 0,
                 ErrorCode::implausibleSampleCount);
  setEntryCount(count);
  if (sampleSize_ == 0) readSampleSizes(count);
}

void StszBox::readSampleSizes(std::uint32_t count) {
  sizes_.reserve(count);
  std::uint64_t sum = 0;
  decodeEntries<NumberEntry>(count, [&](const NumberEntry& entry) {
    if (sizes_.size() % kStride == 0) sums_.push_back(sum);
    sizes_.push_back(entry.number);
    sum += entry.number;
  });
}

std::uint64_t StszBox::bytesBefore(std::uint64_t entry) const {
  const std::size_t last =
      std::min<std::uint64_t>(entry, sampleSize_ != 0 ? sampleCount() : sizes_.size());
  if (sampleSize_ != 0) return std::uint64_t{last} * sampleSize_;
  if (last == 0) return 0;
  const std::size_t stride = (last - 1) / kStride;
  return std::accumulate(sizes_.data() + stride * kStride, sizes_.data() + last, sums_[stride]);
}

std::uint64_t StszBox::totalSize(std::uint32_t firstSample, std::uint32_t count) const {
  const std::uint64_t first = firstSample == 0 ? 0 : firstSample - 1;
  return bytesBefore(first + count) - bytesBefore(first);
}

void StszBox::writeContent() {
  writeFixedNumber(0, 0);
  updateContent();
}

void StszBox::updateContent() { writeFixedNumber(4, entryCount()); }

void StszBox::addSampleSize(std::uint32_t size) { append(NumberEntry{size}); }

std::unique_ptr<SampleSizeIterator> StszBox::getSampleSizeIterator(
    std::uint32_t sampleNumber) const {
  if (sampleSize_ != 0) {
    return std::make_unique<FixedSampleSizeIterator>(sampleSize_, sampleNumber, sampleCount());
  }
  return std::make_unique<NormalVariableSampleSizeIterator>(sizes_, sampleNumber);
}

Co64Box::Co64Box(std::uint32_t capacity, NorvikKavStream& stream)
    : ChunkOffsetTable(fourCc("co64"), stream, kWideOffsetTable,
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
  sampleNumbers_.reserve(count);
  decodeEntries<NumberEntry>(
      count, [this](const NumberEntry& entry) { sampleNumbers_.push_back(entry.number); });
  risingNumbers_.build(sampleNumbers_.size(), [this](std::size_t i) { return sampleNumbers_[i]; });
}

void StssBox::writeContent() { writeFixedNumber(0, entryCount()); }

void StssBox::updateContent() { writeContent(); }

void StssBox::addSyncSample(std::uint32_t sampleNumber) { append(NumberEntry{sampleNumber}); }

SyncSampleCursor StssBox::getSyncSampleCursor(std::uint32_t sampleNumber) const {
  const std::size_t index = risingNumbers_.firstReaching(
      sampleNumbers_.size(), sampleNumber, [this](std::size_t i) { return sampleNumbers_[i]; });
  return {sampleNumbers_.data() + index, sampleNumbers_.data() + sampleNumbers_.size()};
}

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
