#include "tools/http/http_connections.h"

#include <sys/socket.h>

#include <cstring>

namespace nimbolsp::tools {

namespace {

using Clock = std::chrono::steady_clock;

// The peer's address, both kinds as 16 bytes.
in6_addr peerOf(const sockaddr* address) {
  in6_addr peer{};
  if (address == nullptr) return peer;
  if (address->sa_family == AF_INET6) {
    std::memcpy(&peer, &reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr, sizeof peer);
  } else if (address->sa_family == AF_INET) {
    std::memcpy(&peer, &reinterpret_cast<const sockaddr_in*>(address)->sin_addr, sizeof(in_addr));
  }
  return peer;
}

// The library sees the end of the connection, and closes it.
void end(HttpConnections::Open& open) {
  open.ending = true;
  shutdown(open.descriptor, SHUT_RDWR);
}

}  // namespace

// Of those that count: ends the oldest when there are as many as `places`. Returns whether it did.
template <typename Condition>
bool HttpConnections::endOldest(std::size_t places, Condition counts) {
  std::size_t count = 0;
  Open* oldest = nullptr;
  for (Open& open : open_) {
    if (open.ending || !counts(open)) continue;
    if (oldest == nullptr) oldest = &open;
    ++count;
  }
  if (count < places || oldest == nullptr) return false;
  end(*oldest);
  return true;
}

HttpConnections::Place HttpConnections::add(int descriptor, const sockaddr* address) {
  const in6_addr peer = peerOf(address);
  const std::lock_guard hold(mutex_);
  const auto isSame = [&](const Open& open) { return std::memcmp(&open.peer, &peer, sizeof peer) == 0; };
  if (!endOldest(limits_.perAddress, isSame)) {
    endOldest(limits_.connections, [](const Open&) { return true; });
  }
  return open_.insert(open_.end(), {descriptor, peer, Clock::now(), false});
}

void HttpConnections::remove(Place place) {
  const std::lock_guard hold(mutex_);
  open_.erase(place);
}

void HttpConnections::endLate() {
  const std::lock_guard hold(mutex_);
  const Clock::time_point latest = Clock::now() - limits_.longest;
  for (Open& open : open_) {
    if (open.since < latest) end(open);
  }
}

}  // namespace nimbolsp::tools
