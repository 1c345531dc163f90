// Ticks and the calendar: FILETIME to the Gregorian calendar, POSIX time to FILETIME. Pure.
#pragma once

#include <cstdint>

#include "nimboxi/times.h"

namespace nimboxi {

inline constexpr FILETIME kTicksPerSecond = 10000000;
inline constexpr FILETIME kTicksPerMinute = 60 * kTicksPerSecond;

// The fields of a tick count, each rounded toward 0. Counts of 2^63 and more are negative: the first month of
// 1601, with a day and a time of day that wrap.
SYSTEMTIME calendarFromTicks(FILETIME ticks);

// The ticks of a POSIX time (seconds since 1970-01-01 00:00:00 UTC, and microseconds), modulo 2^64.
FILETIME ticksFromPosixTime(std::int64_t seconds, std::int64_t microseconds);

}  // namespace nimboxi
