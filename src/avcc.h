#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "captions/decoder_configuration.h"

namespace quarrypack {

using captions::AvcDecoderConfig;

// Looks for an avcC box anywhere in the bytes of a sample description and reads the first one.
// Returns nothing if there is none. Throws norvik::kav::ErrorCode::avcConfigurationOverrun for a
// box or a record that runs past the end of the description.
std::optional<AvcDecoderConfig> parseAvcDecoderConfig(std::span<const std::uint8_t> description);

}  // namespace quarrypack
