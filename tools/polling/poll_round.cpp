#include "tools/polling/poll_round.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "service/wire/addresses.h"
#include "service/wire/descriptor.h"
#include "tools/polling/shortage.h"

namespace nimbolsp::tools {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kShortageLook = 10;  // milliseconds between two tries to get a descriptor
constexpr std::uint64_t kStopMark = UINT64_MAX;

// One poll under way.
struct Exchange {
  Descriptor socket;
  std::size_t server = 0;
  Clock::time_point start;
  std::size_t sent = 0;
  std::size_t received = 0;
  PollReply reply{};
};

class Round {
 public:
  Round(std::span<const ServerEndpoint> servers, std::chrono::milliseconds timeout, int stopDescriptor,
        std::size_t places)
      : servers_(servers),
        timeout_(timeout),
        stopDescriptor_(stopDescriptor),
        results_(servers.size()),
        exchanges_(std::min(servers.size(), places)) {}

  std::vector<PollResult> run() {
    while (!stopped_) {
      if (openEpoll()) fill();
      if (underWay_ > 0) {
        waitAndStep();
        endLateOnes();
      } else if (next_ == servers_.size() || !waitForDescriptor()) {
        break;
      }
    }
    return std::move(results_);
  }

 private:
  bool openEpoll() {
    if (epoll_.number() >= 0) return true;
    epoll_.replace(epoll_create1(EPOLL_CLOEXEC));
    if (epoll_.number() < 0) {
      shortage_ = errno;
      return false;
    }
    epoll_event stop{EPOLLIN, {.u64 = kStopMark}};
    if (stopDescriptor_ >= 0) epoll_ctl(epoll_.number(), EPOLL_CTL_ADD, stopDescriptor_, &stop);
    return true;
  }

  // Nothing could be started: waits for a while, for others of this program may leave a descriptor. False
  // when that took as long as a poll may; the rest is given up then.
  bool waitForDescriptor() {
    if (!shortSince_) shortSince_ = Clock::now();
    if (Clock::now() - *shortSince_ >= timeout_) {
      for (; next_ < servers_.size(); ++next_) results_[next_] = {PollEnd::kShortage, shortage_, {}, {}};
      return false;
    }
    pollfd stop{stopDescriptor_, POLLIN, 0};
    stopped_ = poll(&stop, 1, kShortageLook) > 0;
    return true;
  }

  // Starts polls in the free places.
  void fill() {
    for (std::size_t place = 0; place < exchanges_.size() && next_ < servers_.size(); ++place) {
      while (exchanges_[place].socket.number() < 0 && next_ < servers_.size()) {
        if (!start(place)) return;
      }
    }
  }

  // False when there is no descriptor for one more just now.
  bool start(std::size_t place) {
    Exchange& exchange = exchanges_[place];
    exchange = {};
    exchange.socket.replace(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (exchange.socket.number() < 0) {
      shortage_ = errno;
      return false;
    }
    shortSince_.reset();
    exchange.server = next_++;
    exchange.start = Clock::now();
    ++underWay_;
    const ServerEndpoint& server = servers_[exchange.server];
    const sockaddr_in peer = addressOf(server.destination(), server.port);
    const int descriptor = exchange.socket.number();
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0 &&
        errno != EINPROGRESS) {
      finish(exchange, isShortage(errno) ? PollEnd::kShortage : PollEnd::kNotConnected, errno);
      return true;
    }
    epoll_event wanted{EPOLLIN | EPOLLOUT, {.u64 = place}};
    if (epoll_ctl(epoll_.number(), EPOLL_CTL_ADD, descriptor, &wanted) != 0) {
      finish(exchange, PollEnd::kShortage, errno);
    }
    return true;
  }

  void waitAndStep() {
    epoll_event events[64];
    const int count = epoll_wait(epoll_.number(), events, std::size(events), waitTime());
    for (int i = 0; i < count; ++i) {
      if (events[i].data.u64 == kStopMark) {
        stopped_ = true;
      } else if (Exchange& exchange = exchanges_[events[i].data.u64]; exchange.socket.number() >= 0) {
        step(exchange, static_cast<std::size_t>(events[i].data.u64));
      }
    }
  }

  int waitTime() const {
    Clock::time_point earliest = Clock::time_point::max();
    for (const Exchange& exchange : exchanges_) {
      if (exchange.socket.number() >= 0) earliest = std::min(earliest, exchange.start);
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(earliest + timeout_ - Clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT32_MAX));
  }

  void step(Exchange& exchange, std::size_t place) {
    if (exchange.sent == 0 && !hasConnected(exchange)) return;
    if (exchange.sent < request_.size()) {
      sendMore(exchange, place);
    } else {
      receiveMore(exchange);
    }
  }

  // False when the connect failed, which ends the poll.
  bool hasConnected(Exchange& exchange) {
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(exchange.socket.number(), SOL_SOCKET, SO_ERROR, &error, &size);
    if (error == 0 && isConnectedToItself(exchange.socket.number())) {
      resetOnClose(exchange.socket.number());
      error = ECONNREFUSED;
    }
    if (error != 0) finish(exchange, PollEnd::kNotConnected, error);
    return error == 0;
  }

  void sendMore(Exchange& exchange, std::size_t place) {
    const ssize_t sent = send(exchange.socket.number(), request_.data() + exchange.sent,
                              request_.size() - exchange.sent, MSG_NOSIGNAL);
    if (sent < 0) {
      if (errno != EAGAIN) finish(exchange, PollEnd::kNoReply, errno);
      return;
    }
    exchange.sent += static_cast<std::size_t>(sent);
    if (exchange.sent < request_.size()) return;
    epoll_event wanted{EPOLLIN, {.u64 = place}};
    epoll_ctl(epoll_.number(), EPOLL_CTL_MOD, exchange.socket.number(), &wanted);
  }

  void receiveMore(Exchange& exchange) {
    const ssize_t received = recv(exchange.socket.number(), exchange.reply.data() + exchange.received,
                                  exchange.reply.size() - exchange.received, 0);
    if (received < 0 && errno == EAGAIN) return;
    if (received <= 0) return finish(exchange, PollEnd::kNoReply, received < 0 ? errno : 0);
    exchange.received += static_cast<std::size_t>(received);
    if (exchange.received == exchange.reply.size()) finish(exchange, PollEnd::kAnswered, 0);
  }

  void endLateOnes() {
    const Clock::time_point now = Clock::now();
    for (Exchange& exchange : exchanges_) {
      if (exchange.socket.number() >= 0 && now - exchange.start >= timeout_) {
        finish(exchange, PollEnd::kTimedOut, 0);
      }
    }
  }

  void finish(Exchange& exchange, PollEnd end, int error) {
    PollResult& result = results_[exchange.server];
    result.end = end;
    result.error = error;
    result.took = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - exchange.start);
    if (end == PollEnd::kAnswered) {
      result.statistics = decodePollReply(exchange.reply);
      shutdown(exchange.socket.number(), SHUT_RDWR);
    }
    exchange.socket.close();
    --underWay_;
  }

  const std::span<const ServerEndpoint> servers_;
  const std::chrono::milliseconds timeout_;
  const int stopDescriptor_;
  const PollRequest request_ = encodePollRequest();
  std::vector<PollResult> results_;
  Descriptor epoll_;
  std::vector<Exchange> exchanges_;  // places; one without a socket is free
  std::size_t next_ = 0;             // the server whose poll starts next
  std::size_t underWay_ = 0;
  bool stopped_ = false;
  int shortage_ = 0;                             // errno of the last try that got no descriptor
  std::optional<Clock::time_point> shortSince_;  // with no poll under way; none while there are descriptors
};

}  // namespace

std::string faultOf(const ServerEndpoint& endpoint) {
  if (endpoint.ipAddress == INADDR_NONE) return "the address is no dotted IPv4 address: never reached";
  if (static_cast<std::uint16_t>(endpoint.port) == 0) return "the port counts as 0: never reached";
  return {};
}

std::string describe(const PollResult& result, std::chrono::milliseconds timeout) {
  switch (result.end) {
    case PollEnd::kAnswered:
      return "answered";
    case PollEnd::kTimedOut:
      return "no answer within " + std::to_string(timeout.count()) + " ms";
    case PollEnd::kInterrupted:
      return "not polled";
    case PollEnd::kShortage:
      return "not polled: " + shortageText(result.error);
    case PollEnd::kNoReply:
      return result.error == 0 ? "closed before the whole reply" : std::strerror(result.error);
    default:
      return std::strerror(result.error);
  }
}

std::string describe(const ServerEndpoint& endpoint, const PollResult& result,
                     std::chrono::milliseconds timeout) {
  const bool wasTried = result.end != PollEnd::kAnswered && result.end != PollEnd::kShortage;
  const std::string fault = wasTried ? faultOf(endpoint) : "";
  return fault.empty() ? describe(result, timeout) : fault;
}

std::vector<PollResult> pollServers(std::span<const ServerEndpoint> servers,
                                    std::chrono::milliseconds timeout, int stopDescriptor,
                                    std::size_t places) {
  return Round(servers, timeout, stopDescriptor, places).run();
}

}  // namespace nimbolsp::tools
