// Where to listen for browsers and monitoring: an address of this machine, IPv4 or IPv6, and its socket.
#pragma once

#include <sys/socket.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "service/wire/descriptor.h"

namespace nimbolsp::tools {

struct ListenAddress {
  sockaddr_storage socket{};
  socklen_t size = 0;

  // Only programs on this machine reach it.
  bool isLoopback() const;

  // "127.0.0.1:5980", "[::1]:5980".
  std::string text() const;
};

// Whether the text is "localhost", in any case, as host names are.
bool namesThisMachine(std::string_view host);

// Reads "127.0.0.1:5980", "[::1]:5980", "localhost:5980" or "5980", which is on 127.0.0.1. Port 0 is a free
// one. Throws std::invalid_argument with a sentence.
ListenAddress parseListenAddress(const std::string& text);

// A socket that listens there. Makes `address` the one it got. Throws std::runtime_error with a sentence.
Descriptor listenOn(ListenAddress& address);

}  // namespace nimbolsp::tools
