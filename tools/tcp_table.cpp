#include "tools/tcp_table.h"

#include <netinet/in.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string_view>

namespace nimbolsp::tools {

namespace {

constexpr std::size_t kFourDigits = 8;  // of an IPv4 address in hexadecimal
constexpr std::size_t kSixDigits = 32;
constexpr std::string_view kMappedFour = "0000000000000000FFFF0000";  // in front of IPv4 within IPv6

std::uint32_t addressIn(std::string_view digits) {
  if (digits.size() == kSixDigits) {
    if (digits.find_first_not_of('0') == std::string_view::npos) return INADDR_ANY;
    if (!digits.starts_with(kMappedFour)) return kNoAddress;
    digits.remove_prefix(kSixDigits - kFourDigits);
  }
  return static_cast<std::uint32_t>(std::stoul(std::string(digits), nullptr, 16));
}

}  // namespace

void forEachTcpSocket(const std::string& path, const std::function<void(const TcpTableRow&)>& use) {
  std::ifstream table(path);
  std::string line;
  std::getline(table, line);
  while (std::getline(table, line)) {
    // sl: local:port remote:port state tx:rx timer:when retransmits uid timeout inode
    char local[kSixDigits + 1] = "";
    unsigned port = 0;
    unsigned state = 0;
    unsigned long number = 0;
    const int fields =
        std::sscanf(line.c_str(), " %*d: %32[0-9A-F]:%4X %*[0-9A-F]:%*4X %2X %*s %*s %*s %*s %*s %lu", local,
                    &port, &state, &number);
    const std::size_t digits = std::strlen(local);
    if (fields == 4 && (digits == kFourDigits || digits == kSixDigits)) {
      use({addressIn(local), static_cast<std::uint16_t>(port), static_cast<int>(state), number});
    }
  }
}

PortUse useOf(const SimulatedAddress& port) {
  PortUse found;
  for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
    forEachTcpSocket(table, [&](const TcpTableRow& socket) {
      if (socket.port != port.port) return;
      const bool isOurs = port.ip == INADDR_ANY || socket.address == htonl(port.ip);
      if (socket.state == kEstablished && isOurs) ++found.connections;
      if (socket.state == kListening && (isOurs || socket.address == INADDR_ANY)) found.isServed = true;
    });
  }
  return found;
}

}  // namespace nimbolsp::tools
