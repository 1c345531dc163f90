// The picture as programs and the status page fetch it. Pure.
#pragma once

#include <chrono>
#include <string>

#include "tools/polling/monitor.h"

namespace nimbolsp::tools {

// One JSON object, without line breaks. What came from files or peers is as printable() shows it. Times are
// milliseconds since 1970, durations milliseconds; what is not known yet is null.
//   now  the time that it bears
std::string serversJson(const Picture& picture, std::chrono::system_clock::time_point now);

}  // namespace nimbolsp::tools
