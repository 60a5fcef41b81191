#pragma once

#include <cstddef>
#include <cstdint>

namespace norvik::kav {

// Every number in a file of this format is big-endian. The callers check ranges.

// The number in kBytes bytes, 1 to 8 of them.
template <std::size_t kBytes>
constexpr std::uint64_t loadBigEndian(const std::uint8_t* bytes) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < kBytes; ++i) value = value << 8 | bytes[i];
  return value;
}

// Writes the low kBytes bytes of a number, 1 to 8 of them.
template <std::size_t kBytes>
constexpr void storeBigEndian(std::uint8_t* bytes, std::uint64_t value) {
  for (std::size_t i = kBytes; i > 0; --i) {
    bytes[i - 1] = static_cast<std::uint8_t>(value);
    value >>= 8;
  }
}

// The number in the next 2 bytes.
constexpr std::uint16_t loadU16(const std::uint8_t* bytes) {
  return static_cast<std::uint16_t>(loadBigEndian<2>(bytes));
}

// The number in the next 4 bytes.
constexpr std::uint32_t loadU32(const std::uint8_t* bytes) {
  return static_cast<std::uint32_t>(loadBigEndian<4>(bytes));
}

// The number in the next 8 bytes.
constexpr std::uint64_t loadU64(const std::uint8_t* bytes) { return loadBigEndian<8>(bytes); }

// The number in the next 4 or 8 bytes, by the version of a box.
constexpr std::uint64_t loadWide(const std::uint8_t* bytes, bool isWide) {
  return isWide ? loadU64(bytes) : loadU32(bytes);
}

// Writes 2 bytes.
constexpr void storeU16(std::uint8_t* bytes, std::uint16_t value) {
  storeBigEndian<2>(bytes, value);
}

// Writes 4 bytes.
constexpr void storeU32(std::uint8_t* bytes, std::uint32_t value) {
  storeBigEndian<4>(bytes, value);
}

// Writes 8 bytes.
constexpr void storeU64(std::uint8_t* bytes, std::uint64_t value) {
  storeBigEndian<8>(bytes, value);
}

}  // namespace norvik::kav
