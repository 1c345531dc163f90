// The time of day, its calendar form, and the local time zone. The calls enter the call guard; none blocks,
// and only GetSystemTime sets the last error. With a null argument nothing is stored, and a BOOL result is
// FALSE. The local zone is the one that the environment variable TZ names, else the machine's.
#pragma once

#include "nimboxi/types.h"

// 100-nanosecond ticks since 1601-01-01 00:00:00 UTC.
typedef uint64_t FILETIME;

// A calendar time (source: the published Win32 SYSTEMTIME).
struct SYSTEMTIME {
  WORD wYear;
  WORD wMonth;      // 1 to 12
  WORD wDayOfWeek;  // 0 is Sunday
  WORD wDay;        // 1 to 31
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
};
static_assert(sizeof(SYSTEMTIME) == 16);  // callers see this layout

// The local time zone, in 8-bit characters.
struct TIME_ZONE_INFORMATION {
  int32_t Bias;             // minutes, UTC minus local time, daylight saving included
  char StandardName[32];    // the Windows name of the zone; empty for one that the table does not know
  SYSTEMTIME StandardDate;  // always 0
  int32_t StandardBias;     // always 0
  char DaylightName[32];    // always empty
  SYSTEMTIME DaylightDate;  // always 0
  int32_t DaylightBias;     // always -60
};
static_assert(sizeof(TIME_ZONE_INFORMATION) == 108 && offsetof(TIME_ZONE_INFORMATION, StandardName) == 4 &&
              offsetof(TIME_ZONE_INFORMATION, StandardDate) == 36 &&
              offsetof(TIME_ZONE_INFORMATION, StandardBias) == 52 &&
              offsetof(TIME_ZONE_INFORMATION, DaylightName) == 56 &&
              offsetof(TIME_ZONE_INFORMATION, DaylightDate) == 88 &&
              offsetof(TIME_ZONE_INFORMATION, DaylightBias) == 104);  // callers see this layout

extern "C" {

// Stores the current time, to the microsecond. Returns 0.
int32_t GetSystemTimeAsFileTime(FILETIME* time);

// Stores the current time in UTC. Returns TRUE; last error 0.
BOOL GetSystemTime(SYSTEMTIME* time);

// Stores the current local time. Returns TRUE.
BOOL GetLocalTime(SYSTEMTIME* time);

// Stores the current local time with `seconds` added. Returns TRUE.
BOOL GetLocalTimeWithOffset(SYSTEMTIME* time, int32_t seconds);

// Converts ticks to the Gregorian calendar, each field cut to whole units; any value gives a result. The
// calendar ends in the year 30828: counts of 2^63 and more are negative, and give the first month of 1601
// with a day and a time of day below 0, modulo 2^16; the all-ones value gives 1601-01-01 00:00:00. Returns
// TRUE.
BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* time);

// Converts ticks in UTC to ticks in local time, by the zone as it is now, not as it was then. Wraps modulo
// 2^64. Both may be the same variable. Returns TRUE.
BOOL FileTimeToLocalFileTime(const FILETIME* fileTime, FILETIME* localTime);

// Stores what is known of the local time zone. Returns 0.
DWORD GetTimeZoneInformation(TIME_ZONE_INFORMATION* zone);
}
