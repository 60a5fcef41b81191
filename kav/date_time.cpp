#include "kav/date_time.h"

#include <algorithm>

namespace norvik::kav {
namespace {

// Day counts are relative to this library's epoch. std::chrono's year type ends at 32767, half of
// what the record can hold, so the calendar is computed here (proleptic Gregorian).
constexpr std::uint64_t kSecondsPerDay = 86400;
constexpr std::uint64_t kDaysPerEra = 146097;  // 400 years

// Days from 0000-03-01 to the given date: counting years from March puts the leap day last.
constexpr std::uint64_t daysFromCivil(std::uint64_t year, std::uint64_t month, std::uint64_t day) {
  const std::uint64_t y = month <= 2 ? year - 1 : year;
  const std::uint64_t era = y / 400;
  const std::uint64_t yearOfEra = y % 400;
  const std::uint64_t dayOfYear = (153 * ((month + 9) % 12) + 2) / 5 + day - 1;
  return era * kDaysPerEra + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
}

constexpr std::uint64_t kEpoch = daysFromCivil(1904, 1, 1);
constexpr std::uint64_t kLastSecond = (daysFromCivil(65536, 1, 1) - kEpoch) * kSecondsPerDay - 1;

}  // namespace

NorvikKavDateTime dateTimeFromSeconds(std::uint64_t seconds) {
  seconds = std::min(seconds, kLastSecond);
  const std::uint64_t days = seconds / kSecondsPerDay + kEpoch;
  const std::uint64_t secondOfDay = seconds % kSecondsPerDay;
  const std::uint64_t era = days / kDaysPerEra;
  const std::uint64_t dayOfEra = days % kDaysPerEra;
  const std::uint64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::uint64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::uint64_t shiftedMonth = (5 * dayOfYear + 2) / 153;
  const std::uint64_t month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;

  NorvikKavDateTime result;
  result.year = static_cast<std::uint16_t>(era * 400 + yearOfEra + (month <= 2 ? 1 : 0));
  result.month = static_cast<std::uint16_t>(month);
  result.day = static_cast<std::uint16_t>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
  result.hour = static_cast<std::uint8_t>(secondOfDay / 3600);
  result.minute = static_cast<std::uint8_t>(secondOfDay / 60 % 60);
  result.second = static_cast<std::uint8_t>(secondOfDay % 60);
  return result;
}

std::uint64_t secondsFromDateTime(const NorvikKavDateTime& dateTime) {
  const std::uint64_t days = daysFromCivil(dateTime.year, dateTime.month, dateTime.day) - kEpoch;
  return days * kSecondsPerDay + dateTime.hour * 3600u + dateTime.minute * 60u + dateTime.second;
}

}  // namespace norvik::kav
