// The clock, the local time zone and the public time calls. Keeps no state; the C library holds the zone, and
// the call guard keeps the public calls from reading TZ while the layer's own call sets it.
#include "compat/core/times/times.h"

#include <sys/time.h>

#include <cstring>

#include "compat/core/call_guard.h"
#include "compat/core/times/calendar.h"
#include "compat/core/times/zone_table.h"
#include "nimboxi/errors.h"

namespace nimboxi {
namespace {

constexpr std::size_t kAbbreviationSize = 7;

timeval readClock() {
  timeval now{};
  gettimeofday(&now, nullptr);
  return now;
}

FILETIME currentTicks() {
  const timeval now = readClock();
  return ticksFromPosixTime(now.tv_sec, now.tv_usec);
}

// Minutes, UTC minus local time at `now`, where daylight saving is in force or not as `daylight` says.
std::int32_t biasAt(std::time_t now, int daylight) {
  std::tm utc{};
  if (gmtime_r(&now, &utc) == nullptr) return 0;
  utc.tm_isdst = daylight;
  // Required(bias-toward-zero): a part of a minute is cut toward 0, on both sides of Greenwich.
  return static_cast<std::int32_t>(now - std::mktime(&utc)) / -60;
}

void copyZoneName(const std::tm& local, TIME_ZONE_INFORMATION* zone) {
  char abbreviation[kAbbreviationSize];
  // Required(long-abbreviation): a longer abbreviation leaves the zone without a name.
  if (std::strftime(abbreviation, sizeof abbreviation, "%Z", &local) == 0) return;
  const ZoneRow* row = findZone(abbreviation, zone->Bias, local.tm_isdst > 0);
  static_assert(sizeof row->name == sizeof zone->StandardName);
  if (row != nullptr) std::memcpy(zone->StandardName, row->name, sizeof row->name);
}

// Local ticks at this moment with `seconds` added. One reading of the clock serves the time and its zone.
FILETIME localTicksNow(std::int32_t seconds) {
  const timeval now = readClock();
  const std::int64_t local = now.tv_sec - std::int64_t{zoneAt(now.tv_sec).Bias} * 60 + seconds;
  return ticksFromPosixTime(local, now.tv_usec);
}

// What every call does with its result. False for a null `place`.
template <typename Value>
BOOL store(const Value& value, Value* place) {
  if (place == nullptr) return FALSE;
  *place = value;
  return TRUE;
}

}  // namespace

TIME_ZONE_INFORMATION zoneAt(std::time_t now) {
  TIME_ZONE_INFORMATION zone{};
  // Required(bias-holds-daylight): a caller that adds Bias and DaylightBias in summer counts daylight saving
  // twice; Bias holds it.
  zone.DaylightBias = -60;
  std::tm local{};
  tzset();  // localtime_r alone does not notice that TZ has changed
  if (localtime_r(&now, &local) == nullptr) return zone;
  zone.Bias = biasAt(now, local.tm_isdst);
  copyZoneName(local, &zone);
  return zone;
}

FILETIME utcToLocalTicks(FILETIME utc) {
  const std::int64_t bias = zoneAt(readClock().tv_sec).Bias;
  return utc - static_cast<FILETIME>(bias) * kTicksPerMinute;
}

FILETIME secondsToTicks(std::uint32_t seconds) {
  return ticksFromPosixTime(seconds, 0);
}

}  // namespace nimboxi

using namespace nimboxi;

int32_t GetSystemTimeAsFileTime(FILETIME* time) {
  CallGuard guard;
  store(currentTicks(), time);
  return 0;
}

BOOL GetSystemTime(SYSTEMTIME* time) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  return store(calendarFromTicks(currentTicks()), time);
}

BOOL GetLocalTime(SYSTEMTIME* time) {
  CallGuard guard;
  return GetLocalTimeWithOffset(time, 0);
}

BOOL GetLocalTimeWithOffset(SYSTEMTIME* time, int32_t seconds) {
  CallGuard guard;
  return store(calendarFromTicks(localTicksNow(seconds)), time);
}

BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* time) {
  CallGuard guard;
  return fileTime != nullptr && store(calendarFromTicks(*fileTime), time);
}

BOOL FileTimeToLocalFileTime(const FILETIME* fileTime, FILETIME* localTime) {
  CallGuard guard;
  return fileTime != nullptr && store(utcToLocalTicks(*fileTime), localTime);
}

DWORD GetTimeZoneInformation(TIME_ZONE_INFORMATION* zone) {
  CallGuard guard;
  store(zoneAt(readClock().tv_sec), zone);
  return 0;
}
