// A server's entry, "address:port" or a port alone: as the profile has it and as front ends are given it.
// Pure.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <string>

namespace nimbolsp {

// Where a server listens.
struct ServerEndpoint {
  std::uint32_t ipAddress = 0;  // network order; 0 without an address; all ones for one that is none
  std::int32_t port = 0;        // the low 16 bits count

  // The address to connect to, in network order: 127.0.0.1 without an address.
  std::uint32_t destination() const { return ipAddress != 0 ? ipAddress : htonl(INADDR_LOOPBACK); }

  bool operator==(const ServerEndpoint&) const = default;
};

// Splits an entry at its first colon.
ServerEndpoint parseServerEntry(const std::string& entry);

}  // namespace nimbolsp
