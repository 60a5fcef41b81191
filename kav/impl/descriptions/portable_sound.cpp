#include "kav/impl/descriptions/portable_sound.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <limits>
#include <optional>
#include <vector>

#include "kav/big_endian.h"
#include "kav/impl/descriptions/codecs.h"
#include "kav/impl/descriptions/entry_records.h"

namespace norvik::kav::impl {
namespace {

// The boxes that follow one another in some bytes: calls use(type, box) for each, the box with its
// header, and stops at what is no whole box.
template <class Use>
void forEachBox(std::span<const std::uint8_t> bytes, Use use) {
  while (bytes.size() >= kBoxHeaderSize) {
    const std::uint32_t length = loadU32(bytes.data());
    if (length < kBoxHeaderSize || length > bytes.size()) return;
    use(FourCc{loadU32(bytes.data() + 4)}, bytes.first(length));
    bytes = bytes.subspan(length);
  }
}

// The length of the fields before the boxes among the header bytes of a QuickTime sound
// description. None for bytes that are too short for them.
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

// The configuration of the decoder first, whether it lies among the boxes or inside wave, then the
// other boxes but wave. Empty without a configuration.
std::vector<std::uint8_t> portableBoxes(FourCc configurationType,
                                        std::span<const std::uint8_t> boxes) {
  std::span<const std::uint8_t> configuration;
  std::vector<std::uint8_t> others;
  const auto keepConfiguration = [&](FourCc type, std::span<const std::uint8_t> box) {
    if (type == configurationType && configuration.empty()) configuration = box;
  };
  forEachBox(boxes, [&](FourCc type, std::span<const std::uint8_t> box) {
    keepConfiguration(type, box);
    if (type == fourCc("wave")) {
      forEachBox(box.subspan(kBoxHeaderSize), keepConfiguration);
    } else if (type != configurationType) {
      others.insert(others.end(), box.begin(), box.end());
    }
  });
  if (configuration.empty()) return {};
  std::vector<std::uint8_t> result(configuration.begin(), configuration.end());
  result.insert(result.end(), others.begin(), others.end());
  return result;
}

}  // namespace

std::span<const std::uint8_t> boxesOf(const SampleDescriptor& descriptor) {
  const std::span<const std::uint8_t> bytes = descriptor.headerBytes();
  const auto* sound = dynamic_cast<const AudioSampleDescriptor*>(&descriptor);
  if (sound == nullptr || (sound->info().version != 1 && sound->info().version != 2)) return bytes;
  const std::optional<std::size_t> extension = extensionLength(sound->info(), bytes);
  return bytes.subspan(extension.value_or(bytes.size()));
}

AudioSampleDescriptor portableForm(const AudioSampleDescriptor& descriptor) {
  const Codec* codec = findCodec(descriptor.codecType());
  if (codec == nullptr || codec->handler != fourCc("soun")) return descriptor;
  const std::span<const std::uint8_t> headerBytes = descriptor.headerBytes();
  const std::optional<std::size_t> extension = extensionLength(descriptor.info(), headerBytes);
  if (!extension) return descriptor;
  std::vector<std::uint8_t> boxes =
      portableBoxes(codec->configuration, headerBytes.subspan(*extension));
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

}  // namespace norvik::kav::impl
