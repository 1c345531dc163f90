// Ticks and the calendar (source: the rules of the Gregorian calendar). The era begins in 1601, the first
// year of a 400-year cycle, so that the leap day of every 4, 100 and 400 years is the last day of its group.
#include "compat/core/times/calendar.h"

#include <algorithm>

namespace nimboxi {
namespace {

constexpr FILETIME kTicksPerMicrosecond = 10;
constexpr std::int64_t kTicksPerMillisecond = 10000;
constexpr FILETIME kTicksUntil1970 = 116444736000000000;

constexpr std::int32_t kSecondsPerDay = 24 * 60 * 60;
constexpr std::int32_t kFirstYear = 1601;
constexpr std::int32_t kDaysPer4Years = 4 * 365 + 1;
constexpr std::int32_t kDaysPer100Years = 25 * kDaysPer4Years - 1;
constexpr std::int32_t kDaysPer400Years = 4 * kDaysPer100Years + 1;

constexpr bool isLeapYear(std::int32_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

// Takes whole groups of days out of `days`, at most `mostGroups`: the last group of all may be a day longer,
// and that day is no group of its own.
std::int32_t takeGroups(std::int32_t groupDays, std::int32_t mostGroups, std::int32_t* days) {
  const std::int32_t groups = std::min(*days / groupDays, mostGroups);
  *days -= groups * groupDays;
  return groups;
}

// Takes the whole years out of `days` since the start of the era; leaves the days since the year began. None
// come out of a negative number.
std::int32_t takeYears(std::int32_t* days) {
  if (*days < 0) return kFirstYear;
  const std::int32_t cycles = *days / kDaysPer400Years;
  *days %= kDaysPer400Years;
  const std::int32_t centuries = takeGroups(kDaysPer100Years, 3, days);
  const std::int32_t fours = takeGroups(kDaysPer4Years, 24, days);
  return kFirstYear + cycles * 400 + centuries * 100 + fours * 4 + takeGroups(365, 3, days);
}

// Takes the whole months out of `days` since the start of `year`; leaves the days since the month began.
std::int32_t takeMonths(std::int32_t year, std::int32_t* days) {
  const std::int32_t lengths[] = {31, isLeapYear(year) ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  std::int32_t month = 1;
  for (const std::int32_t length : lengths) {
    if (*days < length) break;
    *days -= length;
    ++month;
  }
  return month;
}

}  // namespace

// Required(signed-ticks): counts of 2^63 and more are negative. They show as the first month of 1601, with a
// day and a time of day that wrap below 0; so -1, which some programs use for "no time", is the era's first
// moment.
SYSTEMTIME calendarFromTicks(FILETIME ticks) {
  constexpr auto kSecond = static_cast<std::int64_t>(kTicksPerSecond);
  const auto signedTicks = static_cast<std::int64_t>(ticks);
  const std::int64_t seconds = signedTicks / kSecond;
  const auto second = static_cast<std::int32_t>(seconds % kSecondsPerDay);
  auto days = static_cast<std::int32_t>(seconds / kSecondsPerDay);
  SYSTEMTIME time{};
  time.wDayOfWeek = static_cast<WORD>((days + 1) % 7);  // 1601-01-01 was a Monday
  const std::int32_t year = takeYears(&days);
  time.wYear = static_cast<WORD>(year);
  time.wMonth = static_cast<WORD>(takeMonths(year, &days));
  time.wDay = static_cast<WORD>(days + 1);
  time.wHour = static_cast<WORD>(second / 3600);
  time.wMinute = static_cast<WORD>(second / 60 % 60);
  time.wSecond = static_cast<WORD>(second % 60);
  time.wMilliseconds = static_cast<WORD>(signedTicks % kSecond / kTicksPerMillisecond);
  return time;
}

FILETIME ticksFromPosixTime(std::int64_t seconds, std::int64_t microseconds) {
  return static_cast<FILETIME>(seconds) * kTicksPerSecond +
         static_cast<FILETIME>(microseconds) * kTicksPerMicrosecond + kTicksUntil1970;
}

}  // namespace nimboxi
