#pragma once

#include <chrono>
#include <cstdint>
#include <ratio>
#include <string>

namespace quarrypack::captions {

// A presentation time or a span of time. One tick is 1/705,600,000 s: the frames and fields of
// every film and television rate, and the samples of the usual sound rates, last whole numbers of
// ticks.
using Time = std::chrono::duration<std::int64_t, std::ratio<1, 705'600'000>>;

// What one byte pair of a field takes: 1001/30000 s.
inline constexpr Time kPairTime{23'543'520};

// Times lie between this and its negative, 207 years, so that sums of a few never overflow.
inline constexpr Time kLatestTime{std::int64_t{1} << 62};

// The time of a count of units, to the nearest tick and no further than kLatestTime either way. A
// count of units that last no time, for unitsPerSecond = 0, is 0.
Time timeOfUnits(std::int64_t units, std::uint32_t unitsPerSecond);

// To the nearest millisecond; halves go up.
std::int64_t milliseconds(Time time);

// "HH:MM:SS" and three decimals after the mark; hours may take more digits. A time before 0 is 0.
std::string clockText(std::int64_t milliseconds, char decimalMark);

}  // namespace quarrypack::captions
