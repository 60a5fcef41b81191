#include "kav/impl/boxes/description_boxes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "kav/big_endian.h"
#include "kav/exception.h"
#include "kav/impl/bytes/field_layout.h"
#include "kav/impl/model/box_headers.h"

namespace norvik::kav::impl {
namespace {

constexpr std::uint32_t kMostEntries = 100000000;
constexpr std::size_t kPrefixLength = 8;  // reserved bytes and data reference index

// The fixed fields of an entry, as they lie behind its box header.
struct VideoEntryRecord {
  static constexpr std::size_t kCompressorName = 42;  // where the name begins

  std::uint16_t dataReferenceIndex = 0;
  std::uint16_t width = 0;
  std::uint16_t height = 0;
  std::uint32_t horizontalResolution = 0;
  std::uint32_t verticalResolution = 0;
  std::uint16_t frameCount = 0;
  std::uint16_t depth = 0;
  std::uint16_t preDefined = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.reserved(6);
    fields.u16(self.dataReferenceIndex);
    fields.reserved(16);
    fields.u16(self.width);
    fields.u16(self.height);
    fields.u32(self.horizontalResolution);
    fields.u32(self.verticalResolution);
    fields.reserved(4);
    fields.u16(self.frameCount);
    fields.reserved(32);  // the compressor name follows from the coding
    fields.u16(self.depth);
    fields.u16(self.preDefined);
  }
};
static_assert(kBoxHeaderSize + recordSize<VideoEntryRecord>(kVersion0) == kVideoEntrySize);

// Where the base format has reserved words, QuickTime has a version and the values that belong to
// it. Sound in a QuickTime coding makes no sense without them.
struct AudioEntryRecord {
  std::uint16_t dataReferenceIndex = 0;
  std::uint16_t version = 0;
  std::uint16_t revision = 0;
  std::uint32_t vendor = 0;
  std::uint16_t channelCount = 0;
  std::uint16_t sampleSize = 0;
  std::uint16_t compressionId = 0;
  std::uint16_t packetSize = 0;
  std::uint32_t sampleRate = 0;

  template <class Fields, class Self>
  static constexpr void layout(Fields& fields, Self& self) {
    fields.reserved(6);
    fields.u16(self.dataReferenceIndex);
    fields.u16(self.version);
    fields.u16(self.revision);
    fields.u32(self.vendor);
    fields.u16(self.channelCount);
    fields.u16(self.sampleSize);
    fields.u16(self.compressionId);
    fields.u16(self.packetSize);
    fields.u32(self.sampleRate);
  }
};
static_assert(kBoxHeaderSize + recordSize<AudioEntryRecord>(kVersion0) == kAudioEntrySize);

template <class Record>
Record decode(std::span<const std::uint8_t> bytes) {
  Record record;
  FieldReader reader(bytes, kVersion0);
  Record::layout(reader, record);
  return record;
}

template <class Record>
void encode(const Record& record, std::span<std::uint8_t> bytes) {
  FieldWriter writer(bytes, kVersion0);
  Record::layout(writer, record);
}

// The number as it was stored, unless the float says something else by now.
std::uint32_t fixedWord(float value, std::uint32_t stored) {
  return floatFromFixed16(stored) == value ? stored : fixed16FromFloat(value);
}

std::string_view compressorName(FourCc codecType) {
  switch (codecType) {
    case fourCc("H264"):
    case fourCc("h264"):
    case fourCc("avc1"):
      return "\x0A"
             "AVC Coding";
    case fourCc("VP6A"):
    case fourCc("VP6F"):
      return "\x0A"
             "VP6 Coding";
    default:
      return {};
  }
}

// The boxes that follow one another in some bytes: calls use(type, box) for each, the box with its
// header, and stops at whatever is no whole box.
template <class Use>
void forEachBox(std::span<const std::uint8_t> bytes, Use use) {
  while (bytes.size() >= kBoxHeaderSize) {
    const std::uint32_t length = loadU32(bytes.data());
    if (length < kBoxHeaderSize || length > bytes.size()) return;
    use(FourCc{loadU32(bytes.data() + 4)}, bytes.first(length));
    bytes = bytes.subspan(length);
  }
}

// What stands in front of the boxes among the header bytes of a QuickTime sound description. None
// for bytes that are too short for it.
std::optional<std::size_t> extensionLength(const NorvikKavAudioSampleDescInfo& info,
                                           std::span<const std::uint8_t> headerBytes) {
  constexpr std::size_t kVersion1Length = 16;
  constexpr std::size_t kVersion2Length = 36;
  if (info.version == 1) {
    if (headerBytes.size() < kVersion1Length) return std::nullopt;
    return kVersion1Length;
  }
  if (info.version != 2 || headerBytes.size() < kVersion2Length) return std::nullopt;
  // Version 2 states its own length, counted from the start of the entry.
  const std::uint32_t stated = loadU32(headerBytes.data());
  if (stated < kAudioEntrySize + kVersion2Length) return std::nullopt;
  if (stated - kAudioEntrySize > headerBytes.size()) return std::nullopt;
  return stated - kAudioEntrySize;
}

// A sampling rate as 16.16. Rates beyond 65535 have no such form; 0 sends the reader to the
// configuration of the decoder.
std::uint32_t fixedRate(double rate) {
  if (!(rate > 0) || rate >= 65536.0) return 0;
  return static_cast<std::uint32_t>(rate * 65536.0);
}

// The esds box first, whether it stands among the boxes or inside wave, then the other boxes but
// wave. Empty without an esds box.
std::vector<std::uint8_t> portableBoxes(std::span<const std::uint8_t> boxes) {
  std::span<const std::uint8_t> configuration;
  std::vector<std::uint8_t> others;
  const auto keepConfiguration = [&](FourCc type, std::span<const std::uint8_t> box) {
    if (type == fourCc("esds") && configuration.empty()) configuration = box;
  };
  forEachBox(boxes, [&](FourCc type, std::span<const std::uint8_t> box) {
    keepConfiguration(type, box);
    if (type == fourCc("wave")) {
      forEachBox(box.subspan(kBoxHeaderSize), keepConfiguration);
    } else if (type != fourCc("esds")) {
      others.insert(others.end(), box.begin(), box.end());
    }
  });
  if (configuration.empty()) return {};
  std::vector<std::uint8_t> result(configuration.begin(), configuration.end());
  result.insert(result.end(), others.begin(), others.end());
  return result;
}

// The descriptor of an entry that is read, still without its fields.
template <class Descriptor>
std::unique_ptr<SampleDescriptor> freshDescriptor(const BoxHeader& header, FourCc handlerType) {
  return std::make_unique<Descriptor>(0, header.type, handlerType, nullptr);
}

template <class Info>
std::unique_ptr<SampleDescriptor> descriptorFrom(const NorvikKavSampleDescInfo& info,
                                                 std::span<const std::uint8_t> header) {
  // A record of another length lacks the fields of this kind.
  if (info.structSize != sizeof(Info)) throw Exception(ErrorCode::unsupportedTrackType);
  Info record = static_cast<const Info&>(info);
  record.headerLength = static_cast<std::uint32_t>(header.size());
  return std::make_unique<DescriptorOf<Info>>(record, header.data());
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

SampleDescriptor::SampleDescriptor(const std::uint8_t* bytes, std::uint32_t length) {
  if (length == 0) return;
  if (bytes == nullptr) throw Exception(ErrorCode::missingArgument);
  headerBytes_.assign(bytes, bytes + length);
}

void SampleDescriptor::setHeaderBytes(std::vector<std::uint8_t> bytes) {
  headerBytes_ = std::move(bytes);
  mutableInfo().headerLength = static_cast<std::uint32_t>(headerBytes_.size());
}

template <class Info>
DescriptorOf<Info>::DescriptorOf(std::uint32_t headerLength, FourCc codecType, FourCc handlerType,
                                 const std::uint8_t* bytes)
    : SampleDescriptor(bytes, headerLength) {
  info_.structSize = sizeof(Info);
  info_.headerLength = headerLength;
  info_.codecType = codecType;
  info_.handlerType = handlerType;
  info_.dataReferenceIndex = 0;
  info_.reserved = 0;
}

template <class Info>
DescriptorOf<Info>::DescriptorOf(const Info& info, const std::uint8_t* bytes)
    : SampleDescriptor(bytes, info.headerLength), info_(info) {
  info_.structSize = sizeof(Info);
}

template class DescriptorOf<NorvikKavSampleDescInfo>;
template class DescriptorOf<NorvikKavVideoSampleDescInfo>;
template class DescriptorOf<NorvikKavAudioSampleDescInfo>;
template class DescriptorOf<NorvikKavZeltSampleDescInfo>;

std::unique_ptr<SampleDescriptor> makeDescriptor(const NorvikKavSampleDescInfo& info,
                                                 std::span<const std::uint8_t> header) {
  if (header.size() > std::numeric_limits<std::uint32_t>::max()) {
    throw Exception(ErrorCode::implausibleCount);
  }
  switch (info.handlerType) {
    case fourCc("vide"):
      return descriptorFrom<NorvikKavVideoSampleDescInfo>(info, header);
    case fourCc("soun"):
      return descriptorFrom<NorvikKavAudioSampleDescInfo>(info, header);
    case fourCc("hint"):
      return descriptorFrom<NorvikKavZeltSampleDescInfo>(info, header);
    default:
      return descriptorFrom<NorvikKavSampleDescInfo>(info, header);
  }
}

std::span<const std::uint8_t> boxesOf(const SampleDescriptor& descriptor) {
  const std::span<const std::uint8_t> bytes = descriptor.headerBytes();
  const auto* sound = dynamic_cast<const AudioSampleDescriptor*>(&descriptor);
  if (sound == nullptr || (sound->info().version != 1 && sound->info().version != 2)) return bytes;
  const std::optional<std::size_t> extension = extensionLength(sound->info(), bytes);
  return bytes.subspan(extension.value_or(bytes.size()));
}

AudioSampleDescriptor portableForm(const AudioSampleDescriptor& descriptor) {
  if (descriptor.codecType() != fourCc("mp4a")) return descriptor;
  const std::span<const std::uint8_t> headerBytes = descriptor.headerBytes();
  const std::optional<std::size_t> extension = extensionLength(descriptor.info(), headerBytes);
  if (!extension) return descriptor;
  std::vector<std::uint8_t> boxes = portableBoxes(headerBytes.subspan(*extension));
  if (boxes.empty()) return descriptor;

  NorvikKavAudioSampleDescInfo info = descriptor.info();
  if (info.version == 2) {
    // Version 2 keeps the true values in its extension, and constants in the fields.
    const auto rate = std::bit_cast<double>(loadU64(headerBytes.data() + 4));
    const std::uint32_t channels = loadU32(headerBytes.data() + 12);
    info.storedSampleRate = fixedRate(rate);
    info.sampleRate = floatFromFixed16(info.storedSampleRate);
    info.channelCount = static_cast<std::uint16_t>(
        std::min<std::uint32_t>(channels, std::numeric_limits<std::uint16_t>::max()));
  }
  info.version = 0;
  info.revision = 0;
  info.vendor = 0;
  info.sampleSize = 16;
  info.compressionId = 0;
  info.packetSize = 0;
  info.headerLength = static_cast<std::uint32_t>(boxes.size());
  return {info, boxes.data()};
}

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
  setSizes(headerLength() + (fixedSize - kBoxHeaderSize) + descriptor_->headerBytes().size());
}

void KavSampleEntry::writeHeader() {
  Box::writeHeader();
  if (extendedType()) stream().write(extendedType()->data(), extendedType()->size());
}

void KavSampleEntry::readContent() {
  std::array<std::uint8_t, kVideoEntrySize> fields;
  const std::size_t length = fieldsLength();
  if (bytesLeft() < length) throw Exception(ErrorCode::truncatedBox);
  stream().readFully(fields.data(), length);
  decodeFields(std::span<const std::uint8_t>(fields).first(length));

  // Header bytes that a descriptor could not count are not kept.
  const std::uint64_t rest = bytesLeft();
  if (rest > std::numeric_limits<std::uint32_t>::max()) return;
  std::vector<std::uint8_t> bytes(rest);
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
  descriptor_->setDataReferenceIndex(loadU16(bytes.data() + kPrefixLength - 2));
}

void KavSampleEntry::encodeFields(std::span<std::uint8_t> bytes) const {
  std::fill_n(bytes.begin(), kPrefixLength - 2, std::uint8_t{0});
  storeU16(bytes.data() + kPrefixLength - 2,
           static_cast<std::uint16_t>(descriptor_->info().dataReferenceIndex));
}

KavVideoSampleEntry::KavVideoSampleEntry(BoxHeader header, NorvikKavStream& stream)
    : KavSampleEntry(header, stream,
                     freshDescriptor<VideoSampleDescriptor>(header, fourCc("vide"))) {}

KavVideoSampleEntry::KavVideoSampleEntry(const VideoSampleDescriptor& descriptor,
                                         NorvikKavStream& stream)
    : KavSampleEntry(descriptor.clone(), stream, kVideoEntrySize) {}

void KavVideoSampleEntry::decodeFields(std::span<const std::uint8_t> bytes) {
  KavSampleEntry::decodeFields(bytes);
  const auto fields = decode<VideoEntryRecord>(bytes);
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
  encode(
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
  std::ranges::copy(compressorName(info.codecType),
                    bytes.begin() + VideoEntryRecord::kCompressorName);
}

KavAudioSampleEntry::KavAudioSampleEntry(BoxHeader header, NorvikKavStream& stream)
    : KavSampleEntry(header, stream,
                     freshDescriptor<AudioSampleDescriptor>(header, fourCc("soun"))) {}

KavAudioSampleEntry::KavAudioSampleEntry(const AudioSampleDescriptor& descriptor,
                                         NorvikKavStream& stream)
    : KavSampleEntry(portableForm(descriptor).clone(), stream, kAudioEntrySize) {}

void KavAudioSampleEntry::decodeFields(std::span<const std::uint8_t> bytes) {
  KavSampleEntry::decodeFields(bytes);
  const auto fields = decode<AudioEntryRecord>(bytes);
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
  encode(
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
  setSizes(kFullBoxHeaderSize + 4);
  reserve(reservedLength(handlerType, expectedEntries, expectedTrailing));
}

void StsdBox::readContent() {
  if (bytesLeft() < 4) throw Exception(ErrorCode::truncatedBox);
  std::array<std::uint8_t, 4> bytes;
  stream().readFully(bytes.data(), bytes.size());
  const std::uint32_t count = loadU32(bytes.data());
  if (count > kMostEntries) throw Exception(ErrorCode::implausibleSampleCount);
  setSizes(headerLength() + 8);
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
