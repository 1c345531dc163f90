// A front end as a test drives it, byte by byte, and the ports that tests use. All on 127.0.0.1.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "service/wire/addresses.h"
#include "service/wire/descriptor.h"

using nimbolsp::Descriptor;
using nimbolsp::portOf;

// A TCP socket bound to a port of 127.0.0.1, 0 for any, that does not listen: connections are refused, and
// nobody gets the port but a program that binds it with address reuse.
int bindPort(std::uint16_t port = 0);

class TestClient {
 public:
  explicit TestClient(std::uint16_t port);

  bool connected() const { return socket_.number() != -1; }

  // False when the peer has gone.
  bool send(std::string_view bytes) {
    return ::send(socket_.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL) == std::ssize(bytes);
  }

  // The next `size` bytes; fewer when the peer closes or resets before, or at the far deadline.
  std::string receive(std::size_t size);

  // Wait until the peer has ended the connection, one way or the other. False when bytes come instead.
  bool isEnded() { return awaitEnd() != kNone; }
  bool isClosed() { return awaitEnd() == kClosed; }
  bool isReset() { return awaitEnd() == kReset; }

  void close() { socket_.close(); }
  void reset() {  // closes so that the peer sees a reset
    nimbolsp::resetOnClose(socket_.number());
    close();
  }

 private:
  enum End { kNone, kClosed, kReset };
  End awaitEnd();

  Descriptor socket_;
};

// The bytes of a request for a server of a pool.
inline std::string requestFor(std::string_view pool) {
  return std::string{'\0', static_cast<char>(pool.size())}.append(pool);
}

// Asks the service for a server of a pool. Returns its text, empty for none; "(no answer)" when the answer is
// not one, or the connection does not end in order behind it.
std::string ask(std::uint16_t port, std::string_view pool);
