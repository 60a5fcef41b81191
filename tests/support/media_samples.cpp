#include "tests/support/media_samples.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "tests/support/box_builders.h"

namespace quarrypack::test {
namespace {

// Units that others refer to have a reference mark beside their type.
std::uint8_t nalHeader(unsigned type) {
  switch (type) {
    case kKeySlice:
    case kSequenceParameters:
    case kPictureParameters:
      return static_cast<std::uint8_t>(0x60 | type);
    case kSlice:
      return static_cast<std::uint8_t>(0x40 | type);
    default:
      return static_cast<std::uint8_t>(type);
  }
}

Bytes entryPrefix() { return concat({zeros(6), u16(1)}); }

}  // namespace

Bytes nal(unsigned type, const Bytes& payload) { return concat({u8(nalHeader(type)), payload}); }

Bytes accessUnitDelimiter() { return nal(kAccessUnitDelimiter, {0xF0}); }

Bytes sequenceParameters() {
  return nal(kSequenceParameters, {0x42, 0xC0, 0x0A, 0xDA, 0x05, 0x07, 0xE4});
}

Bytes pictureParameters() { return nal(kPictureParameters, {0xCE, 0x38, 0x80}); }

Bytes lengthPrefixed(const Bytes& nalUnit, unsigned nalLengthSize) {
  return concat({bigEndian(nalUnit.size(), nalLengthSize), nalUnit});
}

Bytes accessUnit(std::initializer_list<Bytes> nalUnits, unsigned nalLengthSize) {
  return accessUnit(std::vector<Bytes>(nalUnits), nalLengthSize);
}

Bytes accessUnit(const std::vector<Bytes>& nalUnits, unsigned nalLengthSize) {
  Bytes unit;
  for (const Bytes& nalUnit : nalUnits) append(unit, lengthPrefixed(nalUnit, nalLengthSize));
  return unit;
}

Bytes recognisable(std::string_view tag, std::size_t number, std::size_t count) {
  std::array<char, 16> digits{};
  std::snprintf(digits.data(), digits.size(), "#%04zu", number);
  Bytes bytes = concat({text(tag), text(digits.data())});
  std::uint32_t state = static_cast<std::uint32_t>(number * 2654435761u + tag.size());
  for (const char c : tag) state = state * 31 + static_cast<std::uint8_t>(c);
  while (bytes.size() < count) {
    state = state * 1664525u + 1013904223u;
    bytes.push_back(static_cast<std::uint8_t>(0x40 | (state >> 26)));
  }
  bytes.resize(count);
  return bytes;
}

Bytes captionAtom(std::string_view type, const Bytes& pairs) { return box(type, pairs); }
Bytes cdat(const Bytes& pairs) { return captionAtom("cdat", pairs); }
Bytes cdt2(const Bytes& pairs) { return captionAtom("cdt2", pairs); }

Bytes captionPairs(std::size_t bytes, unsigned number) {
  Bytes pairs(bytes);
  for (std::size_t i = 0; i < bytes; ++i) {
    pairs[i] = static_cast<std::uint8_t>(0x20 + (number * 37 + i * 11) % 0x5F);
  }
  return pairs;
}

Bytes avcConfiguration(unsigned nalLengthSize) {
  const Bytes sps = sequenceParameters();
  const Bytes pps = pictureParameters();
  return box("avcC", u8(1), Bytes(sps.begin() + 1, sps.begin() + 4), u8(0xFC | (nalLengthSize - 1)),
             u8(0xE0 | 1), u16(sps.size()), sps, u8(1), u16(pps.size()), pps);
}

Bytes avcEntry(unsigned nalLengthSize, unsigned width, unsigned height) {
  return videoEntry("avc1", avcConfiguration(nalLengthSize), width, height);
}

Bytes videoEntry(std::string_view codec, const Bytes& configuration, unsigned width,
                 unsigned height) {
  const Bytes compressor = concat({u8(5), text("H.264"), zeros(26)});
  constexpr std::uint32_t k72Dpi = 72u << 16;
  return box(codec, entryPrefix(), zeros(16), u16(width), u16(height), u32(k72Dpi), u32(k72Dpi),
             u32(0), u16(1), compressor, u16(24), u16(0xFFFF), configuration);
}

Bytes elementaryStreamDescriptor() {
  const Bytes decoderSpecific = {0x05, 2, 0x12, 0x10};
  const Bytes decoder = concat({u8(0x04), u8(13 + decoderSpecific.size()), u8(0x40), u8(0x15),
                                u24(0), u32(64000), u32(64000), decoderSpecific});
  const Bytes syncLayer = {0x06, 1, 2};
  return fullBox("esds", 0, 0, u8(0x03), u8(3 + decoder.size() + syncLayer.size()), u16(0), u8(0),
                 decoder, syncLayer);
}

Bytes mp4aEntry(unsigned sampleRate, unsigned channels) {
  return soundEntry("mp4a", elementaryStreamDescriptor(), sampleRate, channels);
}

Bytes soundEntry(std::string_view codec, const Bytes& configuration, unsigned sampleRate,
                 unsigned channels) {
  return box(codec, entryPrefix(), zeros(8), u16(channels), u16(16), u16(0), u16(0),
             u32(std::uint64_t{sampleRate} << 16), configuration);
}

Bytes genericEntry(std::string_view codec, const Bytes& rest) {
  return box(codec, entryPrefix(), rest);
}

}  // namespace quarrypack::test
