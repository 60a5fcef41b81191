#pragma once

#include <concepts>
#include <cstdint>
#include <type_traits>

namespace norvik::kav {

// Sums and products that wrap on purpose. Players and writers of this format have always computed
// its fields and times with wrapping, in 32 or in 64 bits, and a file that relies on it reads the
// same here. Every other sum in the project stays in range: a build that detects unsigned overflow
// exempts only these functions.

// The sum, in the type of the first argument.
template <std::unsigned_integral T>
constexpr T wrappingAdd(T a, std::type_identity_t<T> b) {
  return a + b;
}

// The difference, in the type of the first argument.
template <std::unsigned_integral T>
constexpr T wrappingSubtract(T a, std::type_identity_t<T> b) {
  return a - b;
}

// The product, in the type of the first argument.
template <std::unsigned_integral T>
constexpr T wrappingMultiply(T a, std::type_identity_t<T> b) {
  return a * b;
}

// The distance between two times, truncated to 32 bits.
constexpr std::uint32_t wrappingDistance(std::uint64_t from, std::uint64_t to) {
  return static_cast<std::uint32_t>(to - from);
}

}  // namespace norvik::kav
