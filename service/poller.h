// The polling thread of a server: once per interval it asks the server for its load and files it accordingly.
#pragma once

#include "service/server_pool.h"

namespace nimbolsp {

// Starts the polling thread of a server, which uses the pool until it ends. False when it cannot be started.
bool startPolling(PoolServer* server);

}  // namespace nimbolsp
