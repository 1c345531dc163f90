// The small change of IPv4 sockets, for the service, its companions and their tests.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>

namespace nimbolsp {

// A socket address; `address` in network order. The low 16 bits of `port` count.
inline sockaddr_in addressOf(std::uint32_t address, std::int32_t port) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_addr.s_addr = address;
  result.sin_port = htons(static_cast<std::uint16_t>(port));
  return result;
}

// The port that a socket is bound to; 0, with errno, when it is none.
inline std::uint16_t portOf(int descriptor) {
  sockaddr_in local{};
  socklen_t size = sizeof local;
  const bool bound = getsockname(descriptor, reinterpret_cast<sockaddr*>(&local), &size) == 0;
  return bound ? ntohs(local.sin_port) : std::uint16_t{0};
}

// Whether a connection has both its ends here: one to a port that nobody listens on may come from that very
// port.
inline bool isConnectedToItself(int descriptor) {
  sockaddr_in local{};
  sockaddr_in peer{};
  socklen_t localSize = sizeof local;
  socklen_t peerSize = sizeof peer;
  return getsockname(descriptor, reinterpret_cast<sockaddr*>(&local), &localSize) == 0 &&
         getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &peerSize) == 0 &&
         local.sin_port == peer.sin_port && local.sin_addr.s_addr == peer.sin_addr.s_addr;
}

// Lets a port be taken whose former connections the system still remembers; these must have allowed it too.
inline void allowReuse(int descriptor) {
  const int reuse = 1;
  setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
}

// Binds to a port of 127.0.0.1, or of another address of this machine, in host order; port 0 for a free one.
// False, with errno, when it cannot be had.
inline bool bindToLoopback(int descriptor, std::uint16_t port, std::uint32_t address = INADDR_LOOPBACK) {
  // Not before a free port is chosen: the system could choose one that another program refuses connections
  // on.
  if (port != 0) allowReuse(descriptor);
  const sockaddr_in local = addressOf(htonl(address), port);
  return bind(descriptor, reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0;
}

// Makes the close that follows a reset instead of an orderly end.
inline void resetOnClose(int descriptor) {
  const linger reset{1, 0};
  setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
}

}  // namespace nimbolsp
