#include "kav/impl/boxes/random_access_boxes.h"

#include <algorithm>
#include <array>
#include <limits>

#include "kav/big_endian.h"
#include "kav/exception.h"
#include "kav/memory_size.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint32_t kMostEntries = 100000000;

// The fields before the entries of a tfra box. The length codes are three times two bits, for the
// traf, trun and sample number of every entry: a number takes its code + 1 bytes.
struct TfraRecord {
  static constexpr std::uint32_t kFourBytesEach = 0x3F;

  std::uint32_t trackId = 0;
  std::uint32_t lengthCodes = 0;
  std::uint32_t entryCount = 0;

  std::size_t trafNumberLength() const { return (lengthCodes >> 4 & 3) + 1; }
  std::size_t trunNumberLength() const { return (lengthCodes >> 2 & 3) + 1; }
  std::size_t sampleNumberLength() const { return (lengthCodes & 3) + 1; }

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u32(self.trackId);
    fields.u32WrittenAs(self.lengthCodes, kFourBytesEach);
    fields.u32(self.entryCount);
  }
};
static_assert(fullBoxSize<TfraRecord>(kVersion1) == 24);

// An entry in its written form.
struct TfraEntryRecord {
  TfraBox::Entry entry;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.wide(self.entry.time);
    fields.wide(self.entry.moofOffset);
    fields.u32(self.entry.trafNumber);
    fields.u32(self.entry.trunNumber);
    fields.u32(self.entry.sampleNumber);
  }
};
static_assert(recordSize<TfraEntryRecord>(kVersion1) == 28);

struct AfraRecord {
  static constexpr std::uint8_t kLongIdsLongOffsets = 0xC0;
  static constexpr std::uint64_t kEntryCount = 5;  // the place of the count

  std::uint8_t form = kLongIdsLongOffsets;
  std::uint32_t timescale = 0;
  std::uint32_t entryCount = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.u8(self.form);
    fields.u32(self.timescale);
    fields.u32(self.entryCount);
  }
};
static_assert(fullBoxSize<AfraRecord>(kVersion0) == 21);

constexpr std::size_t kAfraEntryLength = 16;

std::uint32_t loadNumber(const std::uint8_t*& next, std::size_t length) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < length; ++i) number = number << 8 | *next++;
  return number;
}

TfraBox::Entry decodeEntry(const std::uint8_t* next, const TfraRecord& record, bool isWide) {
  TfraBox::Entry entry;
  entry.time = loadWide(next, isWide);
  next += isWide ? 8 : 4;
  entry.moofOffset = loadWide(next, isWide);
  next += isWide ? 8 : 4;
  entry.trafNumber = loadNumber(next, record.trafNumberLength());
  entry.trunNumber = loadNumber(next, record.trunNumberLength());
  entry.sampleNumber = loadNumber(next, record.sampleNumberLength());
  return entry;
}

}  // namespace

MfroBox::MfroBox(NorvikKavStream& stream) : RecordBox(fourCc("mfro"), stream, 0, MfroRecord{}) {}

MfraBox::MfraBox(NorvikKavStream& stream) : Box(fourCc("mfra"), stream) {}

std::span<const ChildRule> MfraBox::getChildRules() const {
  static constexpr ChildRule kRules[] = {{fourCc("mfro"), ChildRule::Kind::exactlyOne}};
  return kRules;
}

std::uint64_t MfraBox::write() {
  if (mfro_ == nullptr) mfro_ = &addNewChild<MfroBox>(*this, stream());
  const std::uint64_t length = extent();
  if (length > std::numeric_limits<std::uint32_t>::max()) {
    throw Exception(ErrorCode::implausibleCount);
  }
  mfro_->record().size = static_cast<std::uint32_t>(length);
  return Box::write();
}

TfraBox::TfraBox(std::uint32_t trackId, NorvikKavStream& stream)
    : FullBox(fourCc("tfra"), stream, 1, 0), trackId_(trackId) {
  setLengths(fullBoxSize<TfraRecord>(kVersion1));
}

std::size_t TfraBox::writtenEntryLength() const {
  return recordSize<TfraEntryRecord>({version(), flags()});
}

void TfraBox::addEntry(const Entry& entry) {
  if (entries_.size() >= kMostEntries) throw Exception(ErrorCode::implausibleCount);
  entries_.push_back(entry);
  grow(writtenEntryLength());
}

void TfraBox::readContent() {
  std::array<std::uint8_t, recordSize<TfraRecord>(kVersion0)> head;
  if (bytesLeft() < head.size()) throw Exception(ErrorCode::truncatedBox);
  stream().readFully(head.data(), head.size());
  TfraRecord record;
  FieldReader reader(head, kVersion0);
  TfraRecord::layout(reader, record);
  trackId_ = record.trackId;
  if (record.entryCount > kMostEntries) throw Exception(ErrorCode::implausibleCount);

  const bool isWide = LayoutForm{version(), flags()}.isWide();
  const std::size_t entryLength = (isWide ? 16 : 8) + record.trafNumberLength() +
                                  record.trunNumberLength() + record.sampleNumberLength();
  const std::uint64_t length = std::uint64_t{record.entryCount} * entryLength;
  if (length > bytesLeft()) throw Exception(ErrorCode::missingArgument);
  std::vector<std::uint8_t> bytes(memorySize(length));
  stream().readFully(bytes.data(), bytes.size());
  entries_.clear();
  entries_.reserve(record.entryCount);
  for (std::size_t at = 0; at < bytes.size(); at += entryLength) {
    entries_.push_back(decodeEntry(bytes.data() + at, record, isWide));
  }
}

// Numbers that were read in fewer bytes take more room from here on.
void TfraBox::writeHeader() {
  setLengths(headerLength() + 4 + recordSize<TfraRecord>(kVersion0) +
             entries_.size() * writtenEntryLength());
  FullBox::writeHeader();
}

void TfraBox::writeContent() {
  const LayoutForm form{version(), flags()};
  std::vector<std::uint8_t> bytes(recordSize<TfraRecord>(form) +
                                  entries_.size() * writtenEntryLength());
  FieldWriter writer(bytes, form);
  const TfraRecord record{.trackId = trackId_,
                          .entryCount = static_cast<std::uint32_t>(entries_.size())};
  TfraRecord::layout(writer, record);
  for (const Entry& entry : entries_) {
    const TfraEntryRecord entryRecord{entry};
    TfraEntryRecord::layout(writer, entryRecord);
  }
  writeAt(contentStart(), bytes);
}

AfraBox::AfraBox(std::uint32_t timescale, NorvikKavStream& stream)
    : FullBox(fourCc("afra"), stream, 0, 0), timescale_(timescale) {
  setLengths(fullBoxSize<AfraRecord>(kVersion0));
}

void AfraBox::addEntry(const Entry& entry) {
  if (entries_.size() >= kMostEntries) throw Exception(ErrorCode::implausibleCount);
  entries_.push_back(entry);
  grow(kAfraEntryLength);
}

void AfraBox::writeContent() {
  std::array<std::uint8_t, recordSize<AfraRecord>(kVersion0)> bytes;
  FieldWriter writer(bytes, kVersion0);
  const AfraRecord record{.timescale = timescale_};
  AfraRecord::layout(writer, record);
  writeAt(contentStart(), bytes);
  AfraBox::updateContent();
}

void AfraBox::updateContent() {
  std::vector<std::uint8_t> bytes(4 + entries_.size() * kAfraEntryLength);
  FieldWriter writer(bytes, kVersion0);
  writer.u32(static_cast<std::uint32_t>(entries_.size()));
  for (const Entry& entry : entries_) {
    writer.u64(entry.time);
    writer.u64(entry.offset);
  }
  writeAt(contentStart() + AfraRecord::kEntryCount, bytes);
}

}  // namespace norvik::kav::impl
