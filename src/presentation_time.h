#pragma once

#include "kav/wrapping.h"

#include <cfloat>
#include <cstdint>

namespace quarrypack {

// The time arithmetic of captions. The container library converts times in integers; captions are
// matched to their frames in double precision, rounded by adding 0.5 and truncating. The last bit
// of this rounding decides which frame a caption is attached to, so each operation rounds to a
// double.
static_assert(FLT_EVAL_METHOD == 0);

// Truncates a double to an unsigned integer. Values below 0 and NaN give 0; values beyond the range
// give the largest integer.
std::uint64_t truncateToUnsigned(double value);

// t in units of 1/from seconds, converted to units of 1/to seconds and rounded, always in double
// arithmetic. If from is 0, t counts as seconds; if to is 0, the result is 0.
std::uint64_t convertTimeInDoubles(std::uint64_t t, std::uint32_t from, std::uint32_t to);

// Up to this time the conversion to seconds and back is the identity. The quotient and the product
// are each off by at most 2^-53 of the value, together by no more than a quarter of a unit, and
// rounding removes that error.
inline constexpr std::uint64_t kExactTimeLimit = std::uint64_t{1} << 50;

// The same conversion with the same results. The usual cases are decided without a division, or
// without the range checks of unsigned numbers.
inline std::uint64_t convertTime(std::uint64_t t, std::uint32_t from, std::uint32_t to) {
  if (t > kExactTimeLimit || from == 0) return convertTimeInDoubles(t, from, to);
  if (from == to) return t;
  constexpr double kSafelySigned = 4611686018427387904.0;
  const double converted = static_cast<double>(static_cast<std::int64_t>(t)) / from * to + 0.5;
  if (converted > kSafelySigned) return convertTimeInDoubles(t, from, to);
  return static_cast<std::uint64_t>(static_cast<std::int64_t>(converted));
}

// When a sample is shown, in units of its own timescale. The composition offset is converted to
// seconds and back like every time, which for 32 bits is the identity; only a timescale of 0 loses
// it. The sum wraps: an offset that means a negative number is taken as the large number that is
// stored.
constexpr std::uint64_t presentationTime(std::uint64_t decodingTime,
                                         std::uint32_t compositionOffset, std::uint32_t timescale) {
  return norvik::kav::wrappingAdd(decodingTime, timescale == 0 ? 0 : compositionOffset);
}

}  // namespace quarrypack
