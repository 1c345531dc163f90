// What the daemon makes of a server's four statistics, by its own arithmetic, and a plain word on each odd
// one. Pure.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "service/wire/poll_protocol.h"

namespace nimbolsp::tools {

struct Standing {
  std::int16_t load = 0;     // per cent
  std::int16_t average = 0;  // cut to 16 bits
  std::int16_t list = 0;     // allocation list, 0 to 9
  bool hasRoom = true;       // below 100 %
  std::vector<std::string> remarks;
};

Standing standingOf(const Statistics& statistics, std::int32_t bucketSize);

}  // namespace nimbolsp::tools
