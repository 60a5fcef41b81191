#pragma once

#include <cstdint>
#include <optional>

#include "captions/nal_units.h"
#include "kav/sample_description.h"

namespace quarrypack::sources {

// How the pictures of a sample description are coded.
struct PictureCoding {
  const captions::NalRules* rules = &captions::kH264Rules;
  std::uint8_t nalLengthSize = 4;  // 1 to 4

  friend bool operator==(const PictureCoding&, const PictureCoding&) = default;
};

// Returns none for a coding that carries no captions, and for one whose configuration is missing or
// damaged.
std::optional<PictureCoding> pictureCodingOf(const norvik::kav::SampleDescription& description);

}  // namespace quarrypack::sources
