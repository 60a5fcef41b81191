#pragma once

#include "kav/wrapping.h"

#include <cstdint>

namespace quarrypack {

// The time arithmetic of captions. Unlike the container library, which converts times in integers,
// captions meet their frames through double precision, rounded by adding 0.5 and cutting off. Which
// frame a caption lands on depends on this rounding to the last bit.

// Cuts a double off to an unsigned integer. Values below 0 (and no number at all) give 0, values
// beyond the range give the largest integer.
std::uint64_t truncateToUnsigned(double value);

// t in units of 1/from seconds, converted to units of 1/to seconds and rounded: always the double
// arithmetic. A timescale of 0 to convert from divides by nothing, one to convert to gives 0.
std::uint64_t convertTimeInDoubles(std::uint64_t t, std::uint32_t from, std::uint32_t to);

// Up to this time the way to seconds and back is the identity: the quotient and the product are
// each off by at most 2^-53 of the value, together by no more than a quarter of a unit, and
// rounding takes that back.
inline constexpr std::uint64_t kExactTimeLimit = std::uint64_t{1} << 50;

// The same conversion, with the usual case of equal timescales decided without a division.
inline std::uint64_t convertTime(std::uint64_t t, std::uint32_t from, std::uint32_t to) {
  if (from == to && from != 0 && t <= kExactTimeLimit) return t;
  return convertTimeInDoubles(t, from, to);
}

// When a sample is shown, in units of its own timescale. The composition offset goes to seconds and
// back as every time does, which for 32 bits is the identity; only a timescale of 0 loses it. The
// sum wraps: an offset that stands for a negative number is taken as the large number it is stored
// as.
constexpr std::uint64_t presentationTime(std::uint64_t decodingTime,
                                         std::uint32_t compositionOffset, std::uint32_t timescale) {
  return norvik::kav::wrappingAdd(decodingTime, timescale == 0 ? 0 : compositionOffset);
}

}  // namespace quarrypack
