// The HTTP server: sockets and the library's thread around the pages. Bounded in connections, memory and
// time: a connection carries one request; who is slow is sent away first when a place is wanted, and in any
// case after a while.
#pragma once

#include <memory>

#include "service/wire/descriptor.h"
#include "tools/http/http_connections.h"
#include "tools/http/pages.h"

namespace nimbolsp::tools {

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
