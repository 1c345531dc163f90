// Which server takes a request: the least busy one of the lowest list that has any below 100 %.
#pragma once

#include <cstdint>

#include "service/server_pool.h"

namespace nimbolsp {

// Chooses a server, counts the request against it, and copies its configured text.
//   replyBuffer  holds at least 256 bytes; receives the text and a NUL, untouched when there is no server
// Returns the text's length; 0 when the pool has no server in any list. Called by the listener alone.
std::int32_t allocateServer(ServerPool* pool, char* replyBuffer) NIMBOXI_EXCLUDES(poolGuard, logLock);

}  // namespace nimbolsp
