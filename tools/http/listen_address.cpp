#include "tools/http/listen_address.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <stdexcept>

#include "service/wire/addresses.h"

namespace nimbolsp::tools {

namespace {

constexpr int kBacklog = 256;

const sockaddr_in& fourOf(const ListenAddress& address) {
  return reinterpret_cast<const sockaddr_in&>(address.socket);
}

const sockaddr_in6& sixOf(const ListenAddress& address) {
  return reinterpret_cast<const sockaddr_in6&>(address.socket);
}

const sockaddr* plain(const ListenAddress& address) {
  return reinterpret_cast<const sockaddr*>(&address.socket);
}

bool parsePort(const std::string& text, std::uint16_t& port) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, port);
  return error == std::errc() && stop == end;
}

bool parseHost(const std::string& host, std::uint16_t port, ListenAddress& address) {
  in_addr four{};
  in6_addr six{};
  if (inet_pton(AF_INET, namesThisMachine(host) ? "127.0.0.1" : host.c_str(), &four) == 1) {
    const sockaddr_in socket = addressOf(four.s_addr, port);
    std::memcpy(&address.socket, &socket, sizeof socket);
    address.size = sizeof socket;
    return true;
  }
  const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
  if (!bracketed || inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &six) != 1) return false;
  sockaddr_in6 socket{};
  socket.sin6_family = AF_INET6;
  socket.sin6_addr = six;
  socket.sin6_port = htons(port);
  std::memcpy(&address.socket, &socket, sizeof socket);
  address.size = sizeof socket;
  return true;
}

}  // namespace

bool ListenAddress::isLoopback() const {
  if (socket.ss_family == AF_INET6) return IN6_IS_ADDR_LOOPBACK(&sixOf(*this).sin6_addr);
  return ntohl(fourOf(*this).sin_addr.s_addr) >> 24 == IN_LOOPBACKNET;
}

std::string ListenAddress::text() const {
  char host[INET6_ADDRSTRLEN] = "";
  if (socket.ss_family == AF_INET6) {
    inet_ntop(AF_INET6, &sixOf(*this).sin6_addr, host, sizeof host);
    return "[" + std::string(host) + "]:" + std::to_string(ntohs(sixOf(*this).sin6_port));
  }
  inet_ntop(AF_INET, &fourOf(*this).sin_addr, host, sizeof host);
  return std::string(host) + ":" + std::to_string(ntohs(fourOf(*this).sin_port));
}

bool namesThisMachine(std::string_view host) {
  constexpr std::string_view kName = "localhost";
  return host.size() == kName.size() && strncasecmp(host.data(), kName.data(), kName.size()) == 0;
}

ListenAddress parseListenAddress(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  const std::string host = colon == std::string::npos ? "127.0.0.1" : text.substr(0, colon);
  ListenAddress address;
  std::uint16_t port = 0;
  if (!parsePort(text.substr(colon == std::string::npos ? 0 : colon + 1), port) ||
      !parseHost(host, port, address)) {
    throw std::invalid_argument("\"" + text +
                                "\" is no address to listen on; write ADDRESS:PORT, as 127.0.0.1:5980");
  }
  return address;
}

Descriptor listenOn(ListenAddress& address) {
  Descriptor listening(socket(address.socket.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (listening.number() >= 0) allowReuse(listening.number());
  if (listening.number() < 0 || bind(listening.number(), plain(address), address.size) != 0 ||
      listen(listening.number(), kBacklog) != 0) {
    const int error = errno;
    const std::string remedy =
        error == EADDRINUSE ? "; another program has this port, choose another one with --listen" : "";
    throw std::runtime_error("cannot listen on " + address.text() + ": " + std::strerror(error) + remedy);
  }
  socklen_t size = sizeof address.socket;
  getsockname(listening.number(), reinterpret_cast<sockaddr*>(&address.socket), &size);
  return listening;
}

}  // namespace nimbolsp::tools
