// The front end: asks the daemon for a server of a pool, from any number of threads, and counts the answers.
// Each request has a connection of its own, as the daemon wants it.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "tools/answer_count.h"
#include "tools/duration_count.h"
#include "tools/service_client.h"

namespace nimbolsp::tools {

struct AskOptions {
  std::string pool;        // at most kMaximumBodySize bytes
  std::int64_t count = 1;  // of all clients together; 0: until stopped
  ServiceAddress service;
  std::chrono::milliseconds timeout{0};   // of one request; 0: none
  bool visit = false;                     // bring a request to the server of every answer: connect and close
  std::int32_t clients = 1;               // threads
  std::chrono::milliseconds interval{0};  // between two requests of one client
};

struct AskOutcome {
  AnswerCount answers;
  DurationCount times;                   // of the requests that were answered
  std::chrono::microseconds elapsed{0};  // from the first request to the last answer
  bool interrupted = false;              // the stop came before all was done
  bool shortage = false;                 // this program itself lacked a descriptor, memory or a port
  std::string failure;                   // why the daemon could not be asked any more; empty when it could
};

// Asks until every request is answered, one of them fails, or `stopDescriptor` (-1: none) becomes readable. A
// client that the daemon leaves waiting after a stop is left behind. A visit gives up after five seconds.
AskOutcome ask(const AskOptions& options, int stopDescriptor);

}  // namespace nimbolsp::tools
