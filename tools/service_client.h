// One request to the daemon, as a front end makes it, on a connection of its own. Any number of threads may.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace nimbolsp::tools {

struct ServiceAddress {
  std::string host = "127.0.0.1";  // dotted
  std::int32_t port = 0;           // the low 16 bits count

  // "HOST:PORT".
  std::string text() const;
};

struct ServiceAnswer {
  bool answered = false;
  bool shortage = false;  // was not asked: this program itself lacked a descriptor, memory or a port
  std::string server;     // the server's text; empty for none
  std::string failure;    // a sentence; empty when it answered
  std::chrono::microseconds took{0};  // from the connect to the last byte
};

// Asks for a server of a pool, whose name has at most 255 bytes. The empty name asks for no pool: the daemon
// answers, and nothing in it changes.
//   timeout         for the whole of it; 0: none
//   stopDescriptor  gives it up when it becomes readable; -1: none
ServiceAnswer askService(const ServiceAddress& service, const std::string& pool,
                         std::chrono::milliseconds timeout, int stopDescriptor = -1);

}  // namespace nimbolsp::tools
