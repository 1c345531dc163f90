// The TCP sockets of this machine, as the system's tables list them, and what they tell of a port.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tools/server_options.h"

namespace nimbolsp::tools {

// One socket, with its own address and port.
struct TcpTableRow {
  std::uint32_t address = 0;  // network order; 0: all addresses
  std::uint16_t port = 0;
  int state = 0;
  std::uint64_t number = 0;  // that no other socket has had since the machine started
};

inline constexpr std::uint32_t kNoAddress = 0xFFFFFFFF;  // of a socket with an address of IPv6
inline constexpr int kEstablished = 0x01;
inline constexpr int kListening = 0x0A;

// Calls `use` with every socket of a table, /proc/net/tcp or /proc/net/tcp6; never where that cannot be read.
void forEachTcpSocket(const std::string& path, const std::function<void(const TcpTableRow&)>& use);

struct PortUse {
  bool isServed = false;  // somebody listens there
  std::int32_t connections = 0;
};

// What goes on at a port of this machine; at address 0 of any of its addresses, those of IPv6 included.
PortUse useOf(const SimulatedAddress& port);

}  // namespace nimbolsp::tools
