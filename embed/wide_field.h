#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>

#include "kav/big_endian.h"
#include "kav/box_view.h"

namespace quarrypack::embed {

// A field of 4 bytes in version 0 and of 8 in version 1. Positions count from the payload.
struct WideField {
  std::size_t position0;
  std::size_t position1;
};

inline constexpr WideField kMovieDuration{16, 24};   // mvhd
inline constexpr WideField kTrackDuration{20, 28};   // tkhd
inline constexpr WideField kFragmentDuration{4, 4};  // mehd

struct FieldValue {
  std::size_t position;
  std::size_t width;
  std::uint64_t value;

  // All ones: unknown.
  bool isKnown() const {
    return value != (width == 4 ? std::numeric_limits<std::uint32_t>::max()
                                : std::numeric_limits<std::uint64_t>::max());
  }
};

// None in a box that is cut short, or of another version.
inline std::optional<FieldValue> readField(const norvik::kav::BoxView& box, WideField field) {
  const std::span<const std::uint8_t> payload = box.payload();
  if (payload.empty() || payload[0] > 1) return std::nullopt;
  const bool wide = payload[0] == 1;
  const std::size_t position = wide ? field.position1 : field.position0;
  const std::size_t width = wide ? 8 : 4;
  if (payload.size() < position + width) return std::nullopt;
  const std::uint8_t* const bytes = payload.data() + position;
  return FieldValue{position, width,
                    wide ? norvik::kav::loadU64(bytes) : norvik::kav::loadU32(bytes)};
}

}  // namespace quarrypack::embed
