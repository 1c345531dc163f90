#include "tools/service_client.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "service/wire/addresses.h"
#include "service/wire/descriptor.h"
#include "service/wire/request_protocol.h"
#include "tools/polling/shortage.h"

namespace nimbolsp::tools {

namespace {

using Clock = std::chrono::steady_clock;

// A connection whose every step has to be done by the deadline. Each step returns false with errno: ETIMEDOUT
// when the deadline is past, ECANCELED when the stop came, 0 at the peer's orderly end.
class Call {
 public:
  Call(std::chrono::milliseconds timeout, int stopDescriptor)
      : endless_(timeout.count() == 0),
        deadline_(Clock::now() + timeout),
        stopDescriptor_(stopDescriptor),
        socket_(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {}

  bool connectTo(const ServiceAddress& service) {
    const sockaddr_in peer = addressOf(inet_addr(service.host.c_str()), service.port);
    if (socket_.number() < 0) return false;
    if (connect(socket_.number(), reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0) {
      if (errno != EINPROGRESS || !wait(POLLOUT)) return false;
      socklen_t size = sizeof errno;
      if (getsockopt(socket_.number(), SOL_SOCKET, SO_ERROR, &errno, &size) != 0 || errno != 0) return false;
    }
    if (!isConnectedToItself(socket_.number())) return true;
    resetOnClose(socket_.number());  // the daemon may want the port
    errno = ECONNREFUSED;
    return false;
  }

  bool sendAll(const std::string& bytes) {
    std::size_t at = 0;
    while (at < bytes.size()) {
      const ssize_t sent = send(socket_.number(), bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
      if (sent >= 0) {
        at += static_cast<std::size_t>(sent);
      } else if (errno != EAGAIN || !wait(POLLOUT)) {
        return false;
      }
    }
    return true;
  }

  bool receiveExactly(void* bytes, std::size_t length) {
    char* at = static_cast<char*>(bytes);
    while (length > 0) {
      if (!wait(POLLIN)) return false;
      const ssize_t received = recv(socket_.number(), at, length, 0);
      if (received == 0) errno = 0;
      if (received == 0 || (received < 0 && errno != EAGAIN)) return false;
      if (received < 0) continue;
      at += received;
      length -= static_cast<std::size_t>(received);
    }
    return true;
  }

 private:
  bool wait(short events) const {
    pollfd watched[] = {{socket_.number(), events, 0}, {stopDescriptor_, POLLIN, 0}};
    int ready;
    do {
      ready = poll(watched, std::size(watched), timeLeft());
    } while (ready < 0 && errno == EINTR);
    if (ready == 0) errno = ETIMEDOUT;
    if (ready > 0 && watched[0].revents == 0) errno = ECANCELED;
    return ready > 0 && watched[0].revents != 0;
  }

  int timeLeft() const {
    if (endless_) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<int>::max()));
  }

  const bool endless_;
  const Clock::time_point deadline_;
  const int stopDescriptor_;
  const Descriptor socket_;
};

std::string requestFor(const std::string& pool) {
  std::string request{static_cast<char>(kServerRequest), static_cast<char>(pool.size())};
  return request += pool;
}

// The exchange on a connection that stands. Returns what went wrong, empty when nothing did.
std::string exchange(Call& call, const std::string& pool, std::string& server) {
  const auto brokenOff = [] {
    if (errno == ECANCELED) return "was not waited for";
    return errno == ETIMEDOUT ? "gave no answer in time" : "closed the connection without an answer";
  };
  MessageHeader answer{};
  if (!call.sendAll(requestFor(pool)) || !call.receiveExactly(&answer, kHeaderSize)) return brokenOff();
  if (answer.type != kServerAnswer) return "sent something that is no answer";
  server.resize(answer.length);
  if (call.receiveExactly(server.data(), server.size())) return {};
  return errno == ETIMEDOUT || errno == ECANCELED ? brokenOff() : "sent something that is no answer";
}

}  // namespace

std::string ServiceAddress::text() const {
  return host + ":" + std::to_string(port & 0xFFFF);
}

ServiceAnswer askService(const ServiceAddress& service, const std::string& pool,
                         std::chrono::milliseconds timeout, int stopDescriptor) {
  const Clock::time_point start = Clock::now();
  ServiceAnswer answer;
  Call call(timeout, stopDescriptor);
  if (!call.connectTo(service)) {
    answer.shortage = isShortage(errno);
    answer.failure = answer.shortage ? service.text() + " was not asked: " + shortageText(errno)
                                     : "cannot connect to " + service.text() + ": " + std::strerror(errno);
  } else if (const std::string fault = exchange(call, pool, answer.server); !fault.empty()) {
    answer.failure = service.text() + " " + fault;
  }
  answer.answered = answer.failure.empty();
  if (!answer.answered) answer.server.clear();
  answer.took = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
  return answer;
}

}  // namespace nimbolsp::tools
