#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ratio>
#include <string>

namespace quarrypack::captions {

// A presentation time or a duration. One tick is 1/705,600,000 s. The frames and fields of all film
// and television rates, and the samples of the usual sound rates, last whole numbers of ticks.
using Time = std::chrono::duration<std::int64_t, std::ratio<1, 705'600'000>>;

// The duration of one byte pair of a field: 1001/30000 s.
inline constexpr Time kPairTime{23'543'520};

// Times lie between this and its negative, 207 years, so that sums of a few never overflow.
inline constexpr Time kLatestTime{std::int64_t{1} << 62};

// What a film shows lies between this and its negative, 51 years.
inline constexpr Time kLatestPicture = kLatestTime / 4;
constexpr Time bounded(Time time) { return std::clamp(time, -kLatestPicture, kLatestPicture); }

// The time of a count of units, rounded to the nearest tick and limited to kLatestTime in either
// direction. With unitsPerSecond = 0 the result is 0.
Time timeOfUnits(std::int64_t units, std::uint32_t unitsPerSecond);

// The same for a count that is never negative.
Time timeOfCount(std::uint64_t units, std::uint32_t unitsPerSecond);

// Rounds to the nearest millisecond; halves round up.
std::int64_t milliseconds(Time time);

// "HH:MM:SS", the mark and three decimals; hours may take more digits. A time before 0 counts as 0.
std::string clockText(std::int64_t milliseconds, char decimalMark);

}  // namespace quarrypack::captions
