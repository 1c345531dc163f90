// The clock, in ticks and in calendar form, in UTC and in local time.
#include <sys/time.h>

#include "compat/core/call_guard.h"
#include "compat/core/times/calendar.h"
#include "compat/core/times/zones.h"
#include "nimboxi/errors.h"

namespace nimboxi {
namespace {

timeval readClock() {
  timeval now{};
  gettimeofday(&now, nullptr);
  return now;
}

FILETIME currentTicks() {
  const timeval now = readClock();
  return ticksFromPosixTime(now.tv_sec, now.tv_usec);
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
