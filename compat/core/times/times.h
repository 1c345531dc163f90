// Time conversions that other rooms of the layer call without entering the guard.
#pragma once

#include <cstdint>
#include <ctime>

#include "nimboxi/times.h"

namespace nimboxi {

// The local time zone as it is at `now`, a POSIX time. Follows a change of the environment variable TZ, which
// no other thread may set meanwhile.
TIME_ZONE_INFORMATION zoneAt(std::time_t now);

// Converts ticks in UTC to ticks in local time, by the zone as it is now, modulo 2^64.
FILETIME utcToLocalTicks(FILETIME utc);

// The ticks of `seconds` since 1970-01-01 00:00:00 UTC.
FILETIME secondsToTicks(std::uint32_t seconds);

}  // namespace nimboxi
