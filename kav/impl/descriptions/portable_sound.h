#pragma once

#include <cstdint>
#include <span>

#include "kav/impl/descriptions/sample_descriptor.h"

namespace norvik::kav::impl {

// The boxes among the header bytes. They follow the fields that a QuickTime sound entry of version
// 1 or 2 begins with; bytes too short for these hold no boxes.
std::span<const std::uint8_t> boxesOf(const SampleDescriptor& descriptor);

// The form in which a sound description is written. QuickTime puts the decoder configuration of
// AAC sound into a wave atom past the fields of version 1 or 2, where strict readers do not look:
// such a description becomes one of version 0 with its esds box first. Any other description
// stays as it is.
AudioSampleDescriptor portableForm(const AudioSampleDescriptor& descriptor);

}  // namespace norvik::kav::impl
