#include "kav/impl/boxes/description_boxes.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <utility>

#include "kav/big_endian.h"
#include "kav/exception.h"
#include "kav/impl/bytes/field_layout.h"
#include "kav/impl/descriptions/codecs.h"
#include "kav/impl/model/box_headers.h"
#include "kav/memory_size.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint32_t kMostEntries = 100000000;

// The stored number, unless the float has since been set to a different value.
std::uint32_t fixedWord(float value, std::uint32_t stored) {
  return floatFromFixed16(stored) == value ? stored : fixed16FromFloat(value);
}

// A length byte and the text, in room filled with zeros.
void setCompressorName(FourCc codecType, std::span<std::uint8_t> entry) {
  const Codec* codec = findCodec(codecType);
  if (codec == nullptr || codec->name.empty()) return;
  std::uint8_t* field = entry.data() + VideoEntryRecord::kCompressorName;
  *field = static_cast<std::uint8_t>(codec->name.size());
  std::copy(codec->name.begin(), codec->name.end(), field + 1);
}

// The descriptor of an entry that is being read, still without its fields.
template <class Descriptor>
std::unique_ptr<SampleDescriptor> freshDescriptor(const BoxHeader& header, FourCc handlerType) {
  return std::make_unique<Descriptor>(0, header.type, handlerType, nullptr);
}

// A hint track in the maker's streaming form, which has one description only.
bool isZeltTrack(FourCc trackType, const SampleDescriptor& descriptor) {
  return trackType == fourCc("zelt") ||
         (trackType == fourCc("hint") && descriptor.codecType() == fourCc("zelt"));
}

// The descriptor as the kind that a track of its type holds.
template <class Descriptor>
const Descriptor& as(const SampleDescriptor& descriptor) {
  const auto* kind = dynamic_cast<const Descriptor*>(&descriptor);
  if (kind == nullptr) throw Exception(ErrorCode::unsupportedTrackType);
  return *kind;
}

std::uint64_t reservedLength(FourCc handlerType, std::uint32_t entries, std::uint32_t trailing) {
  if (entries > kMostEntries) throw Exception(ErrorCode::implausibleSampleCount);
  std::uint64_t fixed = kGenericEntrySize;
  if (handlerType == fourCc("vide")) fixed = kVideoEntrySize;
  if (handlerType == fourCc("soun")) fixed = kAudioEntrySize;
  return (fixed + trailing) * entries;
}

}  // namespace

KavSampleEntry::KavSampleEntry(BoxHeader header, NorvikKavStream& stream,
                               std::shared_ptr<SampleDescriptor> descriptor)
    : Box(std::move(header), stream), descriptor_(std::move(descriptor)) {
  if (extendedType()) descriptor_->setExtendedType(*extendedType());
}

KavSampleEntry::KavSampleEntry(std::shared_ptr<SampleDescriptor> descriptor,
                               NorvikKavStream& stream)
    : KavSampleEntry(std::move(descriptor), stream, kGenericEntrySize) {}

KavSampleEntry::KavSampleEntry(std::shared_ptr<SampleDescriptor> descriptor,
                               NorvikKavStream& stream, std::size_t fixedSize)
    : Box(descriptor->codecType(), stream), descriptor_(std::move(descriptor)) {
  if (type() == fourCc("uuid")) setExtendedType(descriptor_->extendedType());
  setLengths(headerLength() + (fixedSize - kBoxHeaderSize) + descriptor_->headerBytes().size());
}

void KavSampleEntry::writeHeader() {
  Box::writeHeader();
  if (extendedType()) stream().writeFully(extendedType()->data(), extendedType()->size());
}

void KavSampleEntry::readContent() {
  std::array<std::uint8_t, kVideoEntrySize> fields;
  const std::size_t length = fieldsLength();
  if (bytesLeft() < length) throw Exception(ErrorCode::truncatedBox);
  stream().readFully(fields.data(), length);
  decodeFields(std::span<const std::uint8_t>(fields).first(length));

  // Header bytes beyond what a descriptor can count are dropped.
  const std::uint64_t rest = bytesLeft();
  if (rest > std::numeric_limits<std::uint32_t>::max()) return;
  std::vector<std::uint8_t> bytes(memorySize(rest));
  stream().readFully(bytes.data(), bytes.size());
  descriptor_->setHeaderBytes(std::move(bytes));
}

void KavSampleEntry::writeContent() {
  const std::span<const std::uint8_t> trailing = descriptor_->headerBytes();
  std::vector<std::uint8_t> bytes(fieldsLength());
  encodeFields(bytes);
  bytes.insert(bytes.end(), trailing.begin(), trailing.end());
  writeAt(payloadStart(), bytes);
}

void KavSampleEntry::decodeFields(std::span<const std::uint8_t> bytes) {
  descriptor_->setDataReferenceIndex(recordFrom<GenericEntryRecord>(bytes).dataReferenceIndex);
}

void KavSampleEntry::encodeFields(std::span<std::uint8_t> bytes) const {
  const auto index = static_cast<std::uint16_t>(descriptor_->info().dataReferenceIndex);
  encodeRecord(GenericEntryRecord{index}, bytes);
}

KavVideoSampleEntry::KavVideoSampleEntry(BoxHeader header, NorvikKavStream& stream)
    : KavSampleEntry(header, stream,
                     freshDescriptor<VideoSampleDescriptor>(header, fourCc("vide"))) {}

KavVideoSampleEntry::KavVideoSampleEntry(const VideoSampleDescriptor& descriptor,
                                         NorvikKavStream& stream)
    : KavSampleEntry(descriptor.clone(), stream, kVideoEntrySize) {}

void KavVideoSampleEntry::decodeFields(std::span<const std::uint8_t> bytes) {
  KavSampleEntry::decodeFields(bytes);
  const auto fields = recordFrom<VideoEntryRecord>(bytes);
  auto& info = static_cast<VideoSampleDescriptor&>(mutableDescriptor()).record();
  info.width = fields.width;
  info.height = fields.height;
  info.horizontalResolution = floatFromFixed16(fields.horizontalResolution);
  info.verticalResolution = floatFromFixed16(fields.verticalResolution);
  info.storedHorizontalResolution = fields.horizontalResolution;
  info.storedVerticalResolution = fields.verticalResolution;
  info.frameCount = fields.frameCount;
  info.depth = fields.depth;
  info.preDefined = fields.preDefined;
}

void KavVideoSampleEntry::encodeFields(std::span<std::uint8_t> bytes) const {
  const auto& info = static_cast<const VideoSampleDescriptor&>(descriptor()).info();
  encodeRecord(
      VideoEntryRecord{
          .dataReferenceIndex = static_cast<std::uint16_t>(info.dataReferenceIndex),
          .width = info.width,
          .height = info.height,
          .horizontalResolution =
              fixedWord(info.horizontalResolution, info.storedHorizontalResolution),
          .verticalResolution = fixedWord(info.verticalResolution, info.storedVerticalResolution),
          .frameCount = info.frameCount,
          .depth = info.depth,
          .preDefined = info.preDefined,
      },
      bytes);
  setCompressorName(info.codecType, bytes);
}

KavAudioSampleEntry::KavAudioSampleEntry(BoxHeader header, NorvikKavStream& stream)
    : KavSampleEntry(header, stream,
                     freshDescriptor<AudioSampleDescriptor>(header, fourCc("soun"))) {}

KavAudioSampleEntry::KavAudioSampleEntry(const AudioSampleDescriptor& descriptor,
                                         NorvikKavStream& stream)
    : KavSampleEntry(portableForm(descriptor).clone(), stream, kAudioEntrySize) {}

void KavAudioSampleEntry::decodeFields(std::span<const std::uint8_t> bytes) {
  KavSampleEntry::decodeFields(bytes);
  const auto fields = recordFrom<AudioEntryRecord>(bytes);
  auto& info = static_cast<AudioSampleDescriptor&>(mutableDescriptor()).record();
  info.version = fields.version;
  info.revision = fields.revision;
  info.vendor = fields.vendor;
  info.channelCount = fields.channelCount;
  info.sampleSize = fields.sampleSize;
  info.compressionId = fields.compressionId;
  info.packetSize = fields.packetSize;
  info.sampleRate = floatFromFixed16(fields.sampleRate);
  info.storedSampleRate = fields.sampleRate;
}

void KavAudioSampleEntry::encodeFields(std::span<std::uint8_t> bytes) const {
  const auto& info = static_cast<const AudioSampleDescriptor&>(descriptor()).info();
  encodeRecord(
      AudioEntryRecord{
          .dataReferenceIndex = static_cast<std::uint16_t>(info.dataReferenceIndex),
          .version = info.version,
          .revision = info.revision,
          .vendor = info.vendor,
          .channelCount = info.channelCount,
          .sampleSize = info.sampleSize,
          .compressionId = info.compressionId,
          .packetSize = info.packetSize,
          .sampleRate = fixedWord(info.sampleRate, info.storedSampleRate),
      },
      bytes);
}

KavZeltSampleEntry::KavZeltSampleEntry(BoxHeader header, NorvikKavStream& stream)
    : KavSampleEntry(header, stream,
                     freshDescriptor<ZeltSampleDescriptor>(header, fourCc("hint"))) {}

KavZeltSampleEntry::KavZeltSampleEntry(const ZeltSampleDescriptor& descriptor,
                                       NorvikKavStream& stream)
    : KavSampleEntry(descriptor.clone(), stream) {}

StsdBox::StsdBox(BoxHeader header, NorvikKavStream& stream)
    : VariableSizeBox(std::move(header), stream) {}

StsdBox::StsdBox(FourCc handlerType, std::uint32_t expectedEntries, std::uint32_t expectedTrailing,
                 NorvikKavStream& stream)
    : VariableSizeBox(fourCc("stsd"), stream, 0, 0), handlerType_(handlerType) {
  setLengths(kFullBoxHeaderSize + 4);
  reserve(reservedLength(handlerType, expectedEntries, expectedTrailing));
}

void StsdBox::readContent() {
  if (bytesLeft() < 4) throw Exception(ErrorCode::truncatedBox);
  std::array<std::uint8_t, 4> bytes;
  stream().readFully(bytes.data(), bytes.size());
  const std::uint32_t count = loadU32(bytes.data());
  if (count > kMostEntries) throw Exception(ErrorCode::implausibleSampleCount);
  setLengths(headerLength() + 8);
  if (readsEntries_) {
    readEntries(count);
  } else if (bytesLeft() / kGenericEntrySize < count) {
    throw Exception(ErrorCode::truncatedBox);
  }
}

void StsdBox::readEntries(std::uint32_t count) {
  while (entryCount() < count) {
    const std::uint64_t left = bytesLeft();
    if (left > 0 && left < kBoxHeaderSize) askHandler(stream(), Problem::trailingBytes);
    if (left < kBoxHeaderSize) return;
    std::optional<BoxHeader> header = readBoxHeader(stream(), this);
    if (!header) return;
    if (header->size > end() - header->start) {
      stream().seekTo(end());
      return;
    }
    const std::uint64_t next = header->end;
    if (header->type != fourCc("skip") && header->type != fourCc("free")) {
      OwnedBox<KavSampleEntry> entry = makeEntry(std::move(*header));
      stream().seekTo(entry->payloadStart());
      entry->readContent();
      // cppcheck-suppress danglingLifetime ; the entry lives on among the children
      entries_.push_back(entry.get());
      addChild(std::move(entry));
    }
    stream().seekTo(next);
  }
}

OwnedBox<KavSampleEntry> StsdBox::makeEntry(BoxHeader header) const {
  switch (handlerType_) {
    case fourCc("vide"):
      return makeBox<KavVideoSampleEntry>(std::move(header), stream());
    case fourCc("soun"):
      return makeBox<KavAudioSampleEntry>(std::move(header), stream());
    case fourCc("hint"):
      return makeBox<KavZeltSampleEntry>(std::move(header), stream());
    default: {
      auto descriptor = freshDescriptor<GenericSampleDescriptor>(header, handlerType_);
      return makeBox<KavSampleEntry>(std::move(header), stream(), std::move(descriptor));
    }
  }
}

void StsdBox::addSampleEntry(FourCc trackType, const SampleDescriptor& descriptor) {
  if (entryCount() > 0 && isZeltTrack(trackType, descriptor)) {
    throw Exception(ErrorCode::secondZeltEntry);
  }
  OwnedBox<KavSampleEntry> entry;
  switch (trackType) {
    case fourCc("vide"):
      entry = makeBox<KavVideoSampleEntry>(as<VideoSampleDescriptor>(descriptor), stream());
      break;
    case fourCc("soun"):
      entry = makeBox<KavAudioSampleEntry>(as<AudioSampleDescriptor>(descriptor), stream());
      break;
    case fourCc("hint"):
    case fourCc("zelt"):
      entry = makeBox<KavZeltSampleEntry>(as<ZeltSampleDescriptor>(descriptor), stream());
      break;
    default:
      entry = makeBox<KavSampleEntry>(as<GenericSampleDescriptor>(descriptor).clone(), stream());
      break;
  }
  KavSampleEntry* added = entry.get();
  insertChild(std::move(entry));
  // cppcheck-suppress danglingLifetime ; the entry lives on among the children
  entries_.push_back(added);
}

const SampleDescriptor* StsdBox::descriptor(std::uint32_t index) const {
  if (index == 0 || index > entryCount()) return nullptr;
  return &entries_[index - 1]->descriptor();
}

void StsdBox::writeContent() {
  std::array<std::uint8_t, 4> bytes;
  storeU32(bytes.data(), entryCount());
  writeAt(contentStart(), bytes);
}

}  // namespace norvik::kav::impl
