#include "tools/simulate.h"

#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>

#include "service/balance.h"
#include "service/wire/addresses.h"
#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

constexpr int kEventsAtOnce = 256;
constexpr int kAcceptsAtOnce = 64;  // then the other sockets have their turn
constexpr std::size_t kReadSize = 4096;
constexpr std::int64_t kIdleLimit = 60'000;  // for a peer that sends nothing and does not close
constexpr std::int64_t kDrainLimit = 5'000;  // for a peer to close after us
constexpr std::int64_t kAcceptPause = 50;
constexpr std::int64_t kLongestWait = 3'600'000;

std::int64_t steadyMilliseconds() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

[[noreturn]] void fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

std::string addressText(std::uint16_t port) {
  return "127.0.0.1:" + std::to_string(port);
}

bool wouldBlock(int error) {
  return error == EAGAIN || error == EWOULDBLOCK;
}

bool outOfResources(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

}  // namespace

Simulation::Simulation(const std::vector<ServerOptions>& servers) : epoll_(epoll_create1(EPOLL_CLOEXEC)) {
  if (epoll_.number() < 0) fail("epoll_create1");
  for (const ServerOptions& options : servers) openPlace(options);
}

void Simulation::openPlace(const ServerOptions& options) {
  Descriptor opened(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (opened.number() < 0) fail("a socket for " + addressText(options.port));
  if (!bindToLoopback(opened.number(), options.port)) fail("cannot bind " + addressText(options.port));
  const bool listens = options.behaviour != Behaviour::kRefuse;
  if (listens) allowReuse(opened.number());
  if (listens && listen(opened.number(), SOMAXCONN) != 0)
    fail("cannot listen on " + addressText(options.port));

  Place& place = places_.emplace_back(Place{SimulatedServer(options), std::move(opened), 0});
  place.port = portOf(place.socket.number());
  if (!listens) return;
  listeners_.emplace(place.socket.number(), &place.server);
  if (!watch(place.socket.number(), EPOLLIN, EPOLL_CTL_ADD)) fail("epoll_ctl");
}

bool Simulation::watch(int descriptor, std::uint32_t events, int operation) {
  epoll_event event{};
  event.events = events;
  event.data.fd = descriptor;
  return epoll_ctl(epoll_.number(), operation, descriptor, &event) == 0;
}

// Files and /dev/null cannot be waited for. They are at their end as soon as they are read.
void Simulation::watchEnds(const RunUntil& until) {
  stopped_ = false;
  for (const int descriptor : {until.stopDescriptor, until.inputDescriptor}) {
    if (descriptor >= 0 && !watch(descriptor, EPOLLIN, EPOLL_CTL_ADD)) stopped_ = true;
  }
}

void Simulation::unwatchEnds(const RunUntil& until) {
  for (const int descriptor : {until.stopDescriptor, until.inputDescriptor}) {
    if (descriptor >= 0) epoll_ctl(epoll_.number(), EPOLL_CTL_DEL, descriptor, nullptr);
  }
}

void Simulation::run(const RunUntil& until) {
  now_ = steadyMilliseconds();
  const std::int64_t end = until.milliseconds < 0 ? -1 : now_ + until.milliseconds;
  watchEnds(until);
  std::array<epoll_event, kEventsAtOnce> events;
  while (!stopped_ && (end < 0 || now_ < end)) {
    const int count = epoll_wait(epoll_.number(), events.data(), kEventsAtOnce, waitTime(end));
    if (count < 0 && errno != EINTR) fail("epoll_wait");
    now_ = steadyMilliseconds();
    for (int i = 0; i < count; ++i) {
      const epoll_event& event = events[static_cast<std::size_t>(i)];
      dispatch(event.data.fd, event.events, until);
    }
    passDeadlines();
  }
  unwatchEnds(until);
}

// Milliseconds until the next deadline.
int Simulation::waitTime(std::int64_t end) const {
  std::int64_t next = now_ + kLongestWait;
  if (end >= 0) next = std::min(next, end);
  if (acceptAgain_ >= 0) next = std::min(next, acceptAgain_);
  if (!deadlines_.empty()) next = std::min(next, deadlines_.begin()->first);
  return static_cast<int>(std::max<std::int64_t>(next - now_, 0));
}

// A descriptor may have been closed, and used again, since its event was taken: every handler bears an event
// that means nothing.
void Simulation::dispatch(int descriptor, std::uint32_t events, const RunUntil& until) {
  if (descriptor == until.stopDescriptor) {
    stopped_ = true;
  } else if (descriptor == until.inputDescriptor) {
    readInput(descriptor);
  } else if (auto listener = listeners_.find(descriptor); listener != listeners_.end()) {
    acceptAll(descriptor, *listener->second);
  } else if (auto found = connections_.find(descriptor); found != connections_.end()) {
    Connection& connection = found->second;
    if (connection.state != State::kSending) {
      readMore(connection);
    } else if ((events & (EPOLLERR | EPOLLHUP)) != 0) {
      drop(connection);
    } else if ((events & EPOLLOUT) != 0) {
      sendMore(connection);
    }
  }
}

void Simulation::readInput(int descriptor) {
  std::array<char, kReadSize> dropped;
  const ssize_t length = read(descriptor, dropped.data(), dropped.size());
  if (length == 0 || (length < 0 && errno != EINTR && !wouldBlock(errno))) stopped_ = true;
}

void Simulation::acceptAll(int listening, SimulatedServer& server) {
  for (int i = 0; i < kAcceptsAtOnce; ++i) {
    Descriptor accepted(accept4(listening, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (accepted.number() >= 0) {
      addConnection(std::move(accepted), server);
    } else if (outOfResources(errno)) {
      pauseAccepting();
      return;
    } else if (wouldBlock(errno)) {
      return;
    }
    // Any other error is that of one connection, which is gone.
  }
}

// Without descriptors a connection that waits would wake the loop for ever; it is looked at again later.
void Simulation::pauseAccepting() {
  if (acceptAgain_ < 0) {
    for (const auto& [descriptor, server] : listeners_) watch(descriptor, 0, EPOLL_CTL_MOD);
  }
  acceptAgain_ = now_ + kAcceptPause;
}

void Simulation::resumeAccepting() {
  acceptAgain_ = -1;
  for (const auto& [descriptor, server] : listeners_) watch(descriptor, EPOLLIN, EPOLL_CTL_MOD);
}

void Simulation::addConnection(Descriptor socket, SimulatedServer& server) {
  if (server.options().behaviour == Behaviour::kClose) return;  // closes with the scope
  const int descriptor = socket.number();
  const int immediately = 1;
  setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &immediately, sizeof immediately);
  Connection& connection = connections_[descriptor];
  connection.socket = std::move(socket);
  connection.server = &server;
  if (server.options().behaviour != Behaviour::kSilent) setDeadline(connection, now_ + kIdleLimit);
  if (!watch(descriptor, EPOLLIN, EPOLL_CTL_ADD)) drop(connection);
}

// Reads once: what is left wakes the loop again, after the others had their turn.
void Simulation::readMore(Connection& connection) {
  std::array<std::uint8_t, kReadSize> bytes;
  const ssize_t length = recv(connection.socket.number(), bytes.data(), bytes.size(), 0);
  if (length < 0 && (errno == EINTR || wouldBlock(errno))) return;
  if (length <= 0) {
    peerClosed(connection);
  } else if (connection.state == State::kReading) {
    const Caller caller = connection.reader.take({bytes.data(), static_cast<std::size_t>(length)});
    if (caller != Caller::kUndecided) start(connection, caller);
  }
}

void Simulation::peerClosed(Connection& connection) {
  if (connection.state == State::kReading) connection.server->react(Caller::kVisit, now_);
  drop(connection);
}

void Simulation::start(Connection& connection, Caller caller) {
  connection.reaction = connection.server->react(caller, now_);
  connection.state = State::kSending;
  sendMore(connection);
}

void Simulation::sendMore(Connection& connection) {
  const int descriptor = connection.socket.number();
  const std::vector<std::uint8_t>& bytes = connection.reaction.bytes;
  const std::int32_t pause = connection.reaction.pause;
  while (connection.sent < bytes.size()) {
    const std::size_t length = pause > 0 ? 1 : bytes.size() - connection.sent;
    const ssize_t taken = send(descriptor, &bytes[connection.sent], length, MSG_NOSIGNAL);
    if (taken < 0 && errno == EINTR) continue;
    if (taken < 0 && wouldBlock(errno)) {
      watch(descriptor, EPOLLOUT, EPOLL_CTL_MOD);
      return;
    }
    if (taken < 0) return drop(connection);
    connection.sent += static_cast<std::size_t>(taken);
    if (pause > 0 && connection.sent < bytes.size()) {
      setDeadline(connection, now_ + pause);
      watch(descriptor, 0, EPOLL_CTL_MOD);
      return;
    }
  }
  finish(connection);
}

// An end that the peer sees behind the last byte: what it still sends is read until it closes too, for unread
// bytes would turn the close into a reset.
void Simulation::finish(Connection& connection) {
  const int descriptor = connection.socket.number();
  connection.server->sent(connection.sent);
  if (connection.reaction.end == Reaction::End::kReset) {
    resetOnClose(descriptor);
    return drop(connection);
  }
  const bool keep = connection.reaction.end == Reaction::End::kKeep;
  if (!keep) shutdown(descriptor, SHUT_WR);
  connection.state = State::kDraining;
  setDeadline(connection, keep ? -1 : now_ + kDrainLimit);
  watch(descriptor, EPOLLIN, EPOLL_CTL_MOD);
}

void Simulation::setDeadline(Connection& connection, std::int64_t time) {
  const int descriptor = connection.socket.number();
  if (connection.deadline >= 0) deadlines_.erase({connection.deadline, descriptor});
  connection.deadline = time;
  if (time >= 0) deadlines_.emplace(time, descriptor);
}

void Simulation::passDeadlines() {
  if (acceptAgain_ >= 0 && acceptAgain_ <= now_) resumeAccepting();
  while (!deadlines_.empty() && deadlines_.begin()->first <= now_) {
    Connection& connection = connections_.at(deadlines_.begin()->second);
    setDeadline(connection, -1);
    if (connection.state == State::kSending && connection.reaction.pause > 0) {
      sendMore(connection);
    } else {
      peerClosed(connection);
    }
  }
}

void Simulation::drop(Connection& connection) {
  setDeadline(connection, -1);
  connections_.erase(connection.socket.number());
}

std::vector<std::string> Simulation::addresses() const {
  std::vector<std::string> result;
  for (const Place& place : places_) result.push_back(addressText(place.port));
  return result;
}

std::string Simulation::listServers() const {
  std::string lines;
  for (const Place& place : places_) {
    lines += addressText(place.port) + " " + describe(place.server.options()) + "\n";
  }
  return lines;
}

std::string Simulation::report(std::int32_t bucketSize) {
  std::vector<std::vector<std::string>> rows{{"ADDRESS", "ANSWERED", "VISITS", "LOAD", "LIST"}};
  for (Place& place : places_) {
    const Statistics now = place.server.statistics(steadyMilliseconds());
    rows.push_back({addressText(place.port), std::to_string(place.server.pollsAnswered()),
                    std::to_string(place.server.visits()),
                    std::to_string(loadPercent(now.loadUsed, now.loadLimit)) + "%",
                    std::to_string(allocationListOf(now.ratioDivisor, now.ratioDividend, bucketSize))});
  }
  return formatTable(rows, "lrrrr");
}

}  // namespace nimbolsp::tools
