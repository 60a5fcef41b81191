#pragma once

#include "kav/wrapping.h"

#include <cstdint>

namespace norvik::kav {

// Converts a time t from one timescale (units per second) to another, rounded to nearest with an
// exact half rounded down. The arithmetic is unsigned 64-bit and wraps for times beyond its range.
// Equal timescales give t unchanged; a source timescale of 0 has no meaning and gives 0.
constexpr std::uint64_t rescaleTime(std::uint64_t t, std::uint32_t from, std::uint32_t to) {
  if (from == to) return t;
  if (from == 0) return 0;
  return wrappingAdd(wrappingMultiply(t, to), (from - 1) / 2) / from;
}

static_assert(rescaleTime(3, 2, 3) == 4);
static_assert(rescaleTime(1, 2, 3) == 1);

}  // namespace norvik::kav
