#include "src/presentation_time.h"

#include <limits>

namespace quarrypack {

std::uint64_t truncateToUnsigned(double value) {
  constexpr double kBeyondRange = 18446744073709551616.0;
  if (!(value > 0)) return 0;
  if (value >= kBeyondRange) return std::numeric_limits<std::uint64_t>::max();
  return static_cast<std::uint64_t>(value);
}

std::uint64_t convertTimeInDoubles(std::uint64_t t, std::uint32_t from, std::uint32_t to) {
  auto seconds = static_cast<double>(t);
  if (from != 0) seconds /= from;
  return truncateToUnsigned(seconds * to + 0.5);
}

}  // namespace quarrypack
