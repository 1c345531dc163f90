// Blocking IPv4 TCP. A socket belongs to the scope that holds it: an exchange that went well ends with
// orderlyClose, and every other way out of the scope resets the connection. Nothing here reports or logs.
#pragma once

#include <cstddef>
#include <cstdint>

namespace nimbolsp {

class TcpSocket {
 public:
  TcpSocket() = default;
  explicit TcpSocket(std::int32_t descriptor) : descriptor_(descriptor) {}
  ~TcpSocket() { abortiveClose(); }
  TcpSocket(const TcpSocket&) = delete;
  TcpSocket& operator=(const TcpSocket&) = delete;

  // Creates the socket. A failure shows in the operations that follow.
  void create();

  // Connects to a dotted address (no names), null for 127.0.0.1; the low 16 bits of `port` count. Blocks
  // until the system's own limit. False when the address is none, or the connection fails. One that
  // reaches itself succeeds: ask isConnectedToItself, or receiveExactly ends it.
  [[nodiscard]] bool connectToHost(const char* host, std::int32_t port);

  // The same to an address in network order, 0 for 127.0.0.1.
  [[nodiscard]] bool connectToAddress(std::uint32_t address, std::int32_t port);

  // Whether the connection leads back to this very socket: one to a port of this machine on which nobody
  // listens may by chance come from that port. It would wait for its own answer for ever, and keep the port
  // from the server.
  [[nodiscard]] bool isConnectedToItself() const;

  // Sends all bytes, blocking until the system took them. False on an error.
  bool sendAll(const void* bytes, std::size_t length);

  // Receives exactly `length` bytes, waiting without limit. False on an error, or when the peer closes
  // before.
  [[nodiscard]] bool receiveExactly(void* bytes, std::size_t length);

  // Binds to the port on every address and listens. False when the port is taken or not allowed.
  [[nodiscard]] bool bindAndListen(std::int32_t port);

  // Waits for a connection. Returns its descriptor, or -1.
  std::int32_t accept();

  // Ends both directions and closes; nothing is left to close afterwards. True always.
  bool orderlyClose();

  // Closes, if still open, resetting the connection.
  void abortiveClose();

  std::int32_t descriptor() const { return descriptor_; }

 private:
  std::int32_t descriptor_ = 0;  // 0: no socket; -1: creation failed
  bool hasConnected_ = false;    // by this end, not accepted
};

}  // namespace nimbolsp
