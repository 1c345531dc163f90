// The local time zone, for calls that are inside the guard.
#pragma once

#include <ctime>

#include "nimboxi/times.h"

namespace nimboxi {

// The local time zone as it is at `now`, a POSIX time. Follows a change of the environment variable TZ, which
// no other thread may set meanwhile.
TIME_ZONE_INFORMATION zoneAt(std::time_t now);

}  // namespace nimboxi
