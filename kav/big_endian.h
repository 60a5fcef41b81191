#pragma once

#include <cstddef>
#include <cstdint>

namespace norvik::kav {

// Every number in a file of this format is big-endian. The callers check ranges.

template <std::size_t kBytes>
constexpr std::uint64_t loadBigEndian(const std::uint8_t* bytes) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < kBytes; ++i) value = value << 8 | bytes[i];
  return value;
}

template <std::size_t kBytes>
constexpr void storeBigEndian(std::uint8_t* bytes, std::uint64_t value) {
  for (std::size_t i = kBytes; i > 0; --i) {
    bytes[i - 1] = static_cast<std::uint8_t>(value);
    value >>= 8;
  }
}

constexpr std::uint16_t loadU16(const std::uint8_t* bytes) {
  return static_cast<std::uint16_t>(loadBigEndian<2>(bytes));
}
constexpr std::uint32_t loadU32(const std::uint8_t* bytes) {
  return static_cast<std::uint32_t>(loadBigEndian<4>(bytes));
}
constexpr std::uint64_t loadU64(const std::uint8_t* bytes) { return loadBigEndian<8>(bytes); }

constexpr void storeU16(std::uint8_t* bytes, std::uint16_t value) {
  storeBigEndian<2>(bytes, value);
}
constexpr void storeU32(std::uint8_t* bytes, std::uint32_t value) {
  storeBigEndian<4>(bytes, value);
}
constexpr void storeU64(std::uint8_t* bytes, std::uint64_t value) {
  storeBigEndian<8>(bytes, value);
}

}  // namespace norvik::kav
