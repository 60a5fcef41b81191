#include "captions/time.h"

#include <limits>

namespace quarrypack::captions {
namespace {

constexpr std::int64_t kTicksPerSecond = Time::period::den;
constexpr std::int64_t kTicksPerMillisecond = kTicksPerSecond / 1000;

std::int64_t divideRoundingDown(std::int64_t number, std::int64_t divisor) {
  const std::int64_t quotient = number / divisor;
  return number % divisor < 0 ? quotient - 1 : quotient;
}

std::string padded(std::int64_t number, std::size_t digits) {
  const std::string text = std::to_string(number);
  if (text.size() >= digits) return text;
  return std::string(digits - text.size(), '0') + text;
}

}  // namespace

Time timeOfUnits(std::int64_t units, std::uint32_t unitsPerSecond) {
  if (unitsPerSecond == 0) return Time{0};
  const std::int64_t scale = unitsPerSecond;
  const std::int64_t seconds = divideRoundingDown(units, scale);
  constexpr std::int64_t kMost = kLatestTime.count() / kTicksPerSecond;
  if (seconds >= kMost) return kLatestTime;
  if (seconds <= -kMost) return -kLatestTime;
  // The rest is below 2^32 and a second is below 2^30 ticks, so the product fits. The product of
  // all units might not.
  const std::int64_t rest = (units % scale + scale) % scale;
  return Time{seconds * kTicksPerSecond + (rest * kTicksPerSecond + scale / 2) / scale};
}

Time timeOfCount(std::uint64_t units, std::uint32_t unitsPerSecond) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
  return timeOfUnits(static_cast<std::int64_t>(std::min(units, kMost)), unitsPerSecond);
}

std::int64_t milliseconds(Time time) {
  return divideRoundingDown(time.count() + kTicksPerMillisecond / 2, kTicksPerMillisecond);
}

std::string clockText(std::int64_t milliseconds, char decimalMark) {
  const std::int64_t shown = std::max<std::int64_t>(milliseconds, 0);
  const std::int64_t seconds = shown / 1000;
  return padded(seconds / 3600, 2) + ':' + padded(seconds / 60 % 60, 2) + ':' +
         padded(seconds % 60, 2) + decimalMark + padded(shown % 1000, 3);
}

}  // namespace quarrypack::captions
