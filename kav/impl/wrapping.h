#pragma once

#include <cstdint>

namespace norvik::kav::impl {

// The few sums and products of file fields that are meant to wrap in 32 bits. Players and writers
// of this format have always computed them so, and a table that relies on it reads the same here.

constexpr std::uint32_t wrappingAdd(std::uint32_t a, std::uint32_t b) { return a + b; }
constexpr std::uint32_t wrappingSubtract(std::uint32_t a, std::uint32_t b) { return a - b; }
constexpr std::uint32_t wrappingMultiply(std::uint32_t a, std::uint32_t b) { return a * b; }

// The distance of two times, kept in 32 bits.
constexpr std::uint32_t wrappingDistance(std::uint64_t from, std::uint64_t to) {
  return static_cast<std::uint32_t>(to - from);
}

}  // namespace norvik::kav::impl
