// The HTTP server: sockets and the library's thread around the pages. Bounded in connections, memory and
// time: a connection carries one request; who is slow is sent away first when a place is wanted, and in any
// case after a while.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>

#include "service/wire/descriptor.h"
#include "tools/http/pages.h"

namespace nimbolsp::tools {

struct HttpLimits {
  std::size_t connections = 256;     // a new one takes the place of the oldest one
  std::size_t perAddress = 256;      // of one peer's address; likewise
  std::chrono::seconds longest{15};  // from the connect to the last byte
};

class HttpServer {
 public:
  // Serves the pages on its own thread. Takes over a socket that listens. Throws std::runtime_error with a
  // sentence.
  HttpServer(Descriptor listening, Pages pages, const HttpLimits& limits);
  // Ends the thread and all connections.
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // Ends the connections that have taken too long. To be called once a second or so, from any thread.
  void endLateConnections();

 private:
  struct Shared;
  std::unique_ptr<Shared> shared_;
};

}  // namespace nimbolsp::tools
