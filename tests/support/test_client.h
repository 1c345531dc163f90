// A front end as a test drives it, byte by byte, and the ports that tests use. All on 127.0.0.1.
#pragma once

#include <cerrno>
#include <stdexcept>
#include <string>
#include <string_view>

#include "service/wire/addresses.h"
#include "service/wire/descriptor.h"
#include "tests/support/eventually.h"

using nimbolsp::Descriptor;
using nimbolsp::portOf;

// A TCP socket bound to a port of 127.0.0.1, 0 for any, that does not listen: connections are refused, and
// nobody gets the port but a program that binds it with address reuse.
inline int bindPort(std::uint16_t port = 0) {
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (!nimbolsp::bindToLoopback(descriptor, port)) throw std::runtime_error("no port");
  nimbolsp::allowReuse(descriptor);
  return descriptor;
}

class TestClient {
 public:
  explicit TestClient(std::uint16_t port) {
    const timeval limit{kFarDeadline.count(), 0};
    setsockopt(socket_.number(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    const sockaddr_in address = nimbolsp::addressOf(htonl(INADDR_LOOPBACK), port);
    if (connect(socket_.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) close();
  }

  explicit TestClient(Descriptor accepted) : socket_(std::move(accepted)) {}

  bool connected() const { return socket_.number() != -1; }
  // False when the peer has gone.
  bool send(std::string_view bytes) {
    return ::send(socket_.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL) == std::ssize(bytes);
  }

  // The next `size` bytes; fewer when the peer closes or resets before, or at the far deadline.
  std::string receive(std::size_t size) {
    if (size == 0) return {};  // even so a call would take the reset that isReset is to see
    std::string bytes(size, '\0');
    const ssize_t received = recv(socket_.number(), bytes.data(), size, MSG_WAITALL);
    return received < 0 ? "" : bytes.substr(0, static_cast<std::size_t>(received));
  }

  // Wait until the peer ends the connection: in order, or with an error. False when it does otherwise.
  bool isEnded(int error = 0) {
    char byte;
    errno = 0;
    return recv(socket_.number(), &byte, 1, 0) <= 0 && errno == error;
  }
  bool isReset() { return isEnded(ECONNRESET); }

  void close() { socket_.close(); }
  void reset() {  // closes so that the peer sees a reset
    nimbolsp::resetOnClose(socket_.number());
    close();
  }

 private:
  Descriptor socket_{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

// The bytes of a request for a server of a pool, and of the answer.
inline std::string requestFor(std::string_view pool) {
  return std::string{'\0', static_cast<char>(pool.size())}.append(pool);
}
inline std::string answerOf(std::string_view server) {
  return std::string{1, static_cast<char>(server.size())}.append(server);
}

// Asks the service for a server of a pool. Returns its text, empty for none; "(no answer)" when the answer is
// not one, or the connection does not end in order behind it.
inline std::string ask(std::uint16_t port, std::string_view pool) {
  TestClient client(port);
  client.send(requestFor(pool));
  const std::string answer = client.receive(2 + 255), server = answer.substr(answer.size() < 2 ? 0 : 2);
  return client.isEnded() && answer == answerOf(server) ? server : "(no answer)";
}
