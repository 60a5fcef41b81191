#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace quarrypack {

// What the avcC record of an H.264 sample description says.
struct AvcDecoderConfig {
  std::uint8_t profile = 0;
  std::uint8_t profileCompatibility = 0;
  std::uint8_t level = 0;
  std::uint8_t nalLengthSize = 4;  // 1 to 4 bytes
  std::vector<std::vector<std::uint8_t>> sequenceParameterSets;
  std::vector<std::vector<std::uint8_t>> pictureParameterSets;
};

// Looks for an avcC box anywhere in the bytes of a sample description and reads the first one.
// Without one the answer is empty. A box or a record that runs past the end of the description is
// norvik::kav::ErrorCode::avcConfigurationOverrun.
std::optional<AvcDecoderConfig> parseAvcDecoderConfig(std::span<const std::uint8_t> description);

}  // namespace quarrypack
