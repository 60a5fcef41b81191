#pragma once

#include <cstdint>

namespace norvik::kav {

// A calendar date and time in UTC. The record's length is part of the layout of the public track
// information.
struct NorvikKavDateTime {
  std::uint16_t year = 1904;  // 1904 to 65535
  std::uint16_t month = 1;    // 1 to 12
  std::uint16_t day = 1;      // 1 to 31
  std::uint8_t hour = 0;      // 0 to 23
  std::uint8_t minute = 0;    // 0 to 59
  std::uint8_t second = 0;    // 0 to 59
  std::uint8_t reserved = 0;  // pads the record; always 0

  // Whether all fields are equal.
  bool operator==(const NorvikKavDateTime&) const = default;
};
static_assert(sizeof(NorvikKavDateTime) == 10);

// Converts a count of seconds since 1904-01-01 00:00 UTC. Counts past the year 65535 give the last
// second of that year.
NorvikKavDateTime dateTimeFromSeconds(std::uint64_t seconds);

// The inverse; the fields must form a valid date from 1904 on.
std::uint64_t secondsFromDateTime(const NorvikKavDateTime& dateTime);

}  // namespace norvik::kav
