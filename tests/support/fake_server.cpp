#include "tests/support/fake_server.h"

#include <sys/socket.h>

FakeServer::FakeServer(const nimbolsp::Statistics& statistics)
    : listening_(bindPort()), port_(portOf(listening_.number())) {
  answer(statistics);
  listenAgain();
}

void FakeServer::answerWith(const std::string& bytes, Manner manner) {
  const std::lock_guard lock(mutex_);
  bytes_ = bytes;
  manner_ = manner;
}

void FakeServer::halt() {
  shutdown(listening_.number(), SHUT_RDWR);  // ends the thread's accept
  thread_ = {};
  keptOpen_.clear();
}

void FakeServer::refuse() {
  halt();
  listening_.close();
  listening_.replace(bindPort(port_));
}

void FakeServer::listenAgain() {
  listen(listening_.number(), 128);
  thread_ = std::jthread([this] { serve(); });
}

void FakeServer::serve() {
  for (int c; (c = accept4(listening_.number(), nullptr, nullptr, SOCK_CLOEXEC)) != -1;) dealWith(c);
}

void FakeServer::dealWith(int connection) {
  char request[nimbolsp::kPollRequestSize];
  const ssize_t received = recv(connection, request, sizeof request, MSG_WAITALL);
  const std::lock_guard lock(mutex_);
  lastRequest_.assign(request, received < 0 ? 0 : static_cast<std::size_t>(received));
  const std::size_t packet = manner_ == kDribble ? 1 : bytes_.size();
  for (std::size_t at = 0; at < bytes_.size(); at += packet) {
    send(connection, bytes_.data() + at, packet, MSG_NOSIGNAL);
  }
  if (manner_ == kReset) nimbolsp::resetOnClose(connection);
  keptOpen_.emplace_back(connection);
  if (manner_ != kKeepOpen) keptOpen_.pop_back();  // closes it
  ++polls_;
}
