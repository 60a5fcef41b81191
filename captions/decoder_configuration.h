#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

// The decoder configuration records of sample descriptions: the contents of the boxes avcC (H.264)
// and hvcC (HEVC), without their headers.
namespace quarrypack::captions {

struct AvcDecoderConfig {
  std::uint8_t profile = 0;
  std::uint8_t profileCompatibility = 0;
  std::uint8_t level = 0;
  std::uint8_t nalLengthSize = 4;  // 1 to 4 bytes
  std::vector<std::vector<std::uint8_t>> sequenceParameterSets;
  std::vector<std::vector<std::uint8_t>> pictureParameterSets;
};

// Reads an avcC record. Returns nothing for one that ends early. Ignores bytes after the picture
// parameter sets.
std::optional<AvcDecoderConfig> parseAvcDecoderConfig(std::span<const std::uint8_t> record);

struct HevcDecoderConfig {
  std::uint8_t profile = 0;
  std::uint8_t level = 0;          // 30 times the level number
  std::uint8_t nalLengthSize = 4;  // 1 to 4 bytes
};

// Reads the fixed part of an hvcC record. Returns nothing for a shorter one. Does not read the
// parameter sets that follow.
std::optional<HevcDecoderConfig> parseHevcDecoderConfig(std::span<const std::uint8_t> record);

}  // namespace quarrypack::captions
