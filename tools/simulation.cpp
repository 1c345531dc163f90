#include "tools/simulation.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <iterator>
#include <stdexcept>

#include "service/balance.h"
#include "service/wire/addresses.h"

namespace nimbolsp::tools {

namespace {

constexpr int kEventsAtOnce = 256;
constexpr int kAcceptsAtOnce = 64;  // then the other sockets have their turn
constexpr std::size_t kReadSize = 4096;
constexpr std::int64_t kAcceptPause = 50;
constexpr std::int64_t kLongestWait = 3'600'000;

std::int64_t steadyMilliseconds() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

[[noreturn]] void fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

// A socket that is bound, and so far refuses connections.
Descriptor boundSocket(const SimulatedAddress& address) {
  Descriptor opened(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (opened.number() < 0) fail("a socket for " + address.text());
  if (!bindToLoopback(opened.number(), address.port, address.ip)) fail("cannot bind " + address.text());
  return opened;
}

bool outOfResources(int error) {
  return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

}  // namespace

Simulation::Simulation(const std::vector<ServerOptions>& servers, std::vector<Change> changes)
    : changes_(std::move(changes)),
      epoll_(epoll_create1(EPOLL_CLOEXEC)),
      start_(steadyMilliseconds()),
      now_(start_) {
  if (epoll_.number() < 0) fail("epoll_create1");
  for (const ServerOptions& options : servers) openPlace(options);
  makeChanges({});
}

void Simulation::openPlace(const ServerOptions& options) {
  Place& place = places_.emplace_back(
      Place{SimulatedServer(options, start_), boundSocket(options.address), options.address});
  place.address.port = portOf(place.socket.number());
  if (options.behaviour != Behaviour::kRefuse) startListening(place);
}

void Simulation::startListening(Place& place) {
  const int descriptor = place.socket.number();
  allowReuse(descriptor);
  if (listen(descriptor, SOMAXCONN) != 0) fail("cannot listen on " + place.address.text());
  listeners_.emplace(descriptor, &place.server);
  if (!watch(descriptor, EPOLLIN, EPOLL_CTL_ADD)) fail("epoll_ctl");
}

void Simulation::stopListening(Place& place) {
  listeners_.erase(place.socket.number());
  place.socket.close();  // the only way out of listening that keeps no waiting connection
  place.socket = boundSocket(place.address);
}

void Simulation::dropConnections(const SimulatedServer& server) {
  for (auto at = connections_.begin(); at != connections_.end();) {
    const auto next = std::next(at);
    if (&at->second.connection.server() == &server) drop(at);
    at = next;
  }
}

void Simulation::change(Place& place, const std::string& keys) {
  const auto behaviour = [&place] {
    const ServerOptions& options = place.server.options();
    return std::pair(options.behaviour, options.behaviourNumber);
  };
  const auto before = behaviour();
  place.server.change(keys, now_);
  if (behaviour() == before) return;
  dropConnections(place.server);
  const bool refuses = behaviour().first == Behaviour::kRefuse;
  if (refuses) stopListening(place);
  if (!refuses && before.first == Behaviour::kRefuse) startListening(place);
}

void Simulation::change(std::size_t server, const std::string& keys) {
  now_ = steadyMilliseconds();
  change(places_[server], keys);
}

void Simulation::makeChanges(const std::function<void(const Change&)>& tell) {
  for (; nextChange_ < changes_.size() && start_ + changes_[nextChange_].time <= now_; ++nextChange_) {
    const Change& due = changes_[nextChange_];
    if (due.server) {
      change(places_[*due.server], due.keys);
    } else {
      for (Place& place : places_) change(place, due.keys);
    }
    if (tell) tell(due);
  }
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

void Simulation::run(const RunUntil& until, const std::function<void(const Change&)>& tell) {
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
    makeChanges(tell);
  }
  unwatchEnds(until);
}

// Milliseconds until the next deadline.
int Simulation::waitTime(std::int64_t end) const {
  std::int64_t next = now_ + kLongestWait;
  if (end >= 0) next = std::min(next, end);
  if (acceptAgain_ >= 0) next = std::min(next, acceptAgain_);
  if (nextChange_ < changes_.size()) next = std::min(next, start_ + changes_[nextChange_].time);
  if (!deadlines_.empty()) next = std::min(next, deadlines_.begin()->time);
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
    found->second.connection.handle(events, now_);
    refile(found);
  }
}

void Simulation::readInput(int descriptor) {
  std::array<char, kReadSize> dropped;
  const ssize_t length = read(descriptor, dropped.data(), dropped.size());
  if (length == 0 || (length < 0 && errno != EINTR && errno != EAGAIN)) stopped_ = true;
}

void Simulation::acceptAll(int listening, SimulatedServer& server) {
  for (int i = 0; i < kAcceptsAtOnce; ++i) {
    Descriptor accepted(accept4(listening, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (accepted.number() >= 0) {
      addConnection(std::move(accepted), server);
    } else if (outOfResources(errno)) {
      pauseAccepting();
      return;
    } else if (errno == EAGAIN) {
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
  const auto [at, added] = connections_.try_emplace(descriptor, std::move(socket), server, now_);
  Entry& entry = at->second;
  entry.filed = entry.connection.wait();
  if (entry.filed.deadline >= 0) deadlines_.insert({entry.filed.deadline, descriptor});
  if (!watch(descriptor, entry.filed.events, EPOLL_CTL_ADD)) drop(at);
}

// Files what a connection waits for after a step.
void Simulation::refile(Connections::iterator at) {
  const int descriptor = at->first;
  Entry& entry = at->second;
  const SimulatedConnection::Wait& wait = entry.connection.wait();
  if (wait.over) return drop(at);
  if (wait.events != entry.filed.events) watch(descriptor, wait.events, EPOLL_CTL_MOD);
  if (wait.deadline != entry.filed.deadline) {
    deadlines_.erase({entry.filed.deadline, descriptor});
    if (wait.deadline >= 0) deadlines_.insert({wait.deadline, descriptor});
  }
  entry.filed = wait;
}

void Simulation::drop(Connections::iterator at) {
  deadlines_.erase({at->second.filed.deadline, at->first});
  connections_.erase(at);
}

void Simulation::passDeadlines() {
  if (acceptAgain_ >= 0 && acceptAgain_ <= now_) resumeAccepting();
  while (!deadlines_.empty() && deadlines_.begin()->time <= now_) {
    const auto at = connections_.find(deadlines_.begin()->descriptor);
    at->second.connection.passDeadline(now_);
    refile(at);
  }
}

std::vector<ServerFigures> Simulation::figures() {
  std::vector<ServerFigures> result;
  for (Place& place : places_) {
    result.push_back({place.address.text(), place.server.options(), place.server.pollsAnswered(),
                      place.server.visits(), place.server.statistics(steadyMilliseconds())});
  }
  return result;
}

}  // namespace nimbolsp::tools
