// Pools and their servers: the records, the list of pools, the lists of a pool and the lock that guards them.
// A pool's memory lives as long as the list of pools or one of its polling threads uses it; what the layer
// holds for it is closed by main, behind the closed layer gate.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "nimboxi/support/thread_annotations.h"
#include "nimboxi/types.h"
#include "service/balance.h"
#include "service/log_file.h"
#include "service/semaphore_lock.h"
#include "service/server_list.h"
#include "service/use_count.h"
#include "service/wire/poll_protocol.h"
#include "service/wire/request_protocol.h"

namespace nimbolsp {

struct PoolServer;

// Names the lock of the pool in hand to the compiler's analysis, which cannot tell that a server found in a
// pool's list is of that pool; no thread ever holds two pools' locks. It holds nothing itself.
class NIMBOXI_CAPABILITY("pool lock") PoolGuard {};
extern PoolGuard poolGuard NIMBOXI_ACQUIRED_BEFORE(logLock);

inline constexpr std::size_t kNameSize =
    kMaximumBodySize + 1;  // a pool's name or a server's text, with its NUL

struct ServerPool {
  // Constant once the loader has filled the pool.
  ServerPool* next = nullptr;       // in `poolList`
  ServerPool* nextAlike = nullptr;  // among those whose names have the same hash
  char name[kNameSize] = {};        // in upper case
  std::int32_t nameLength = 0;
  std::int16_t serverCount = 0;
  std::unique_ptr<PoolServer[]> servers;  // in the order of the profile
  std::int32_t pollInterval = 0;          // milliseconds
  PollRequest pollRequest{};

  UseCount users;  // the list of pools, and every polling thread

  // Guards the lists and the servers' state. Order: a pool's lock, then the log lock; never two pools' locks,
  // and none during network calls or sleeps.
  SemaphoreLock lock;
  std::int32_t allocationSequence NIMBOXI_GUARDED_BY(poolGuard) = 1;  // one more with every attempt
  ServerList allocationLists[kAllocationLists] NIMBOXI_GUARDED_BY(poolGuard);
  ServerList unallocatedList NIMBOXI_GUARDED_BY(poolGuard);  // being polled, or failed the last

  ServerPool();
  ~ServerPool();
};

struct PoolServer {
  // Constant once the loader has filled the server and before its thread starts; `thread` is main's alone.
  ServerPool* pool = nullptr;
  char address[kNameSize] = {};  // the text as configured, which front ends are given
  std::int32_t addressLength = 0;
  std::uint32_t ipAddress = 0;  // network order; 0 for 127.0.0.1
  std::int32_t port = 0;
  HANDLE thread = nullptr;

  // Set and cleared by the server's own thread alone, under the lock; that thread reads it without.
  std::atomic<bool> unavailable{false};

  // Load, last allocation and mark stand in the one list that holds the server.
  Statistics statistics NIMBOXI_GUARDED_BY(poolGuard);       // of the last good reply, and requests since
  std::int16_t listIndex NIMBOXI_GUARDED_BY(poolGuard) = 0;  // 0 to 9; -1 for the unallocated list
};

// Holds a pool's lock to the end of the scope; the analysis is told that it is `poolGuard`, and looks no
// further. Blocks until it is free.
class NIMBOXI_SCOPED_CAPABILITY PoolHold {
 public:
  explicit PoolHold(ServerPool* pool) NIMBOXI_ACQUIRE(poolGuard)
      NIMBOXI_EXCLUDES(logLock) NIMBOXI_NO_THREAD_SAFETY_ANALYSIS : lock_(pool->lock) {
    lock_.take();
  }
  ~PoolHold() NIMBOXI_RELEASE() NIMBOXI_NO_THREAD_SAFETY_ANALYSIS { lock_.release(); }
  PoolHold(const PoolHold&) = delete;
  PoolHold& operator=(const PoolHold&) = delete;

 private:
  SemaphoreLock& lock_;
};

// All pools, newest first. The main thread's alone.
extern ServerPool* poolList;

// Set once, when the pools are torn down; polling threads read it between polls.
extern std::atomic<bool> stopPolling;

// Creates a pool with `serverCount` servers, all zero, and puts it at the head of `poolList`.
//   name          cut to 255 characters and converted to upper case
//   pollInterval  milliseconds
ServerPool* createPool(const char* name, std::int16_t serverCount, std::int32_t pollInterval);

// Ends one use of a pool; the last one frees its memory, without the layer.
void letGoOfPool(ServerPool* pool);

// Tells the polling threads to stop, waits until they are out of the layer for good, closes the pools' locks
// and thread handles, and lets go of the pools. Main's last use of them.
void destroyAllPools();

// The pool with a name, which is converted to upper case in place; null when there is none. Main's alone.
ServerPool* findPool(char* name, std::size_t length);

// A server's place among its pool's servers, from 0: what a list knows it by.
std::int16_t numberOf(const PoolServer* server);

// The list that holds a server, by its index.
ServerList& listOf(PoolServer* server) NIMBOXI_REQUIRES(poolGuard);

// Stores a server's load, in per cent.
void setLoad(PoolServer* server, std::int16_t load) NIMBOXI_REQUIRES(poolGuard);

// Withholds a server from allocation: moves it to the unallocated list. Does nothing for one that is already.
void markUnavailable(PoolServer* server) NIMBOXI_EXCLUDES(logLock);

// Makes a server available, and files it into an allocation list, 0 to 9, at its head; one that is there
// already stays where it is.
void placeServer(ServerPool* pool, PoolServer* server, std::int16_t list) NIMBOXI_REQUIRES(poolGuard)
    NIMBOXI_EXCLUDES(logLock);

}  // namespace nimbolsp
