#include "tools/simulated_connection.h"

#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

#include "service/wire/addresses.h"

namespace nimbolsp::tools {

namespace {

constexpr std::size_t kReadSize = 4096;
constexpr std::int64_t kIdleLimit = 60'000;  // for a peer that sends nothing and does not close
constexpr std::int64_t kDrainLimit = 5'000;  // for a peer to close after us

}  // namespace

SimulatedConnection::SimulatedConnection(Descriptor socket, SimulatedServer& server, std::int64_t now)
    : socket_(std::move(socket)), server_(server) {
  const int immediately = 1;
  setsockopt(socket_.number(), IPPROTO_TCP, TCP_NODELAY, &immediately, sizeof immediately);
  wait_.events = EPOLLIN;
  if (server.options().behaviour != Behaviour::kSilent) wait_.deadline = now + kIdleLimit;
}

void SimulatedConnection::handle(std::uint32_t events, std::int64_t now) {
  if (state_ != State::kSending) {
    readMore(now);
  } else if ((events & (EPOLLERR | EPOLLHUP)) != 0) {
    wait_.over = true;
  } else if ((events & EPOLLOUT) != 0) {
    sendMore(now);
  }
}

void SimulatedConnection::passDeadline(std::int64_t now) {
  wait_.deadline = -1;
  if (state_ == State::kSending && reaction_.pause > 0) {
    sendMore(now);
  } else {
    peerClosed(now);
  }
}

// Reads once: what is left wakes the loop again, after the others had their turn.
void SimulatedConnection::readMore(std::int64_t now) {
  std::array<std::uint8_t, kReadSize> bytes;
  const ssize_t length = recv(socket_.number(), bytes.data(), bytes.size(), 0);
  if (length < 0 && (errno == EINTR || errno == EAGAIN)) return;
  if (length <= 0) {
    peerClosed(now);
  } else if (state_ == State::kReading) {
    const Caller caller = reader_.take({bytes.data(), static_cast<std::size_t>(length)});
    if (caller != Caller::kUndecided) start(caller, now);
  }
}

void SimulatedConnection::peerClosed(std::int64_t now) {
  if (state_ == State::kReading) server_.react(Caller::kVisit, now);
  wait_.over = true;
}

void SimulatedConnection::start(Caller caller, std::int64_t now) {
  reaction_ = server_.react(caller, now);
  state_ = State::kSending;
  sendMore(now);
}

void SimulatedConnection::sendMore(std::int64_t now) {
  const std::vector<std::uint8_t>& bytes = reaction_.bytes;
  while (sent_ < bytes.size()) {
    const std::size_t length = reaction_.pause > 0 ? 1 : bytes.size() - sent_;
    const ssize_t taken = send(socket_.number(), &bytes[sent_], length, MSG_NOSIGNAL);
    if (taken < 0 && errno == EINTR) continue;
    if (taken < 0) {
      wait_.events = EPOLLOUT;
      wait_.over = errno != EAGAIN;
      return;
    }
    sent_ += static_cast<std::size_t>(taken);
    if (reaction_.pause > 0 && sent_ < bytes.size()) {
      wait_ = {0, now + reaction_.pause};
      return;
    }
  }
  finish(now);
}

// An end that the peer sees behind the last byte: what it still sends is read until it closes too, for unread
// bytes would turn the close into a reset.
void SimulatedConnection::finish(std::int64_t now) {
  server_.sent(sent_);
  if (reaction_.end == Reaction::End::kReset) {
    resetOnClose(socket_.number());
    wait_.over = true;
    return;
  }
  const bool keep = reaction_.end == Reaction::End::kKeep;
  if (!keep) shutdown(socket_.number(), SHUT_WR);
  state_ = State::kDraining;
  wait_ = {EPOLLIN, keep ? -1 : now + kDrainLimit};
}

}  // namespace nimbolsp::tools
