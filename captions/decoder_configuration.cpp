#include "captions/decoder_configuration.h"

#include "captions/byte_reader.h"

namespace quarrypack::captions {
namespace {

// Both records keep the size minus 1 in the two low bits of a byte.
std::uint8_t nalLengthSizeIn(std::uint8_t byte) {
  return static_cast<std::uint8_t>((byte & 3) + 1);
}

std::vector<std::vector<std::uint8_t>> parameterSets(ByteReader& record, unsigned count) {
  std::vector<std::vector<std::uint8_t>> sets;
  for (; count > 0 && !record.failed(); --count) {
    const auto set = record.take(record.u16());
    sets.emplace_back(set.begin(), set.end());
  }
  return sets;
}

}  // namespace

std::optional<AvcDecoderConfig> parseAvcDecoderConfig(std::span<const std::uint8_t> record) {
  ByteReader reader(record);
  AvcDecoderConfig config;
  reader.u8();  // the version of the record does not affect its layout
  config.profile = reader.u8();
  config.profileCompatibility = reader.u8();
  config.level = reader.u8();
  config.nalLengthSize = nalLengthSizeIn(reader.u8());
  config.sequenceParameterSets = parameterSets(reader, reader.u8() & 31u);
  config.pictureParameterSets = parameterSets(reader, reader.u8());
  if (reader.failed()) return std::nullopt;
  return config;
}

std::optional<HevcDecoderConfig> parseHevcDecoderConfig(std::span<const std::uint8_t> record) {
  constexpr std::size_t kFixedPart = 23;
  constexpr std::size_t kProfile = 1;
  constexpr std::size_t kLevel = 12;
  constexpr std::size_t kLengthSize = 21;
  if (record.size() < kFixedPart) return std::nullopt;
  return HevcDecoderConfig{.profile = static_cast<std::uint8_t>(record[kProfile] & 0x1F),
                           .level = record[kLevel],
                           .nalLengthSize = nalLengthSizeIn(record[kLengthSize])};
}

}  // namespace quarrypack::captions
