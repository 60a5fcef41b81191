#pragma once

#include <cstdint>

// The byte pairs of CEA-608 captions. A field of the picture carries one pair in each frame; bit 7
// of each byte makes the number of ones odd.
namespace quarrypack::captions {

enum class Field : std::uint8_t { one, two };

// Two bytes as they travel, with their parity bits.
struct BytePair {
  std::uint8_t first = 0x80;
  std::uint8_t second = 0x80;

  // Nothing to say in this frame: 80 80, or 00 00 from writers without parity.
  bool isPadding() const { return ((first | second) & 0x7F) == 0; }
  // A first byte of 10 to 1F; parity is ignored.
  bool isControl() const { return (first & 0x70) == 0x10; }

  friend bool operator==(const BytePair&, const BytePair&) = default;
};

inline constexpr BytePair kPadding{0x80, 0x80};

}  // namespace quarrypack::captions
