// A Nimbo Server as a test scripts it: listens on a port of its own of 127.0.0.1 and answers polls on a
// thread of its own, well or badly. The script may change at any time and holds from the next poll on.
#pragma once

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "service/wire/poll_protocol.h"
#include "tests/support/test_client.h"

// The statistics of an idle server, whose load a test's requests hardly raise.
inline constexpr nimbolsp::Statistics kIdle{1, 0, 0, 1000000};

// A message as text.
std::string bytesOf(const auto& message) {
  return {message.begin(), message.end()};
}

class FakeServer {
 public:
  // How it answers: and closes, byte by byte, and resets, and keeps the connection open.
  enum Manner { kClose, kDribble, kReset, kKeepOpen };

  FakeServer(const nimbolsp::Statistics& statistics = kIdle) {
    answer(statistics);
    listenAgain();
  }
  ~FakeServer() { halt(); }
  std::uint16_t port() const { return port_; }
  std::string entry() const { return "127.0.0.1:" + std::to_string(port_); }
  // What it does with the next polls.
  void answer(const nimbolsp::Statistics& statistics) {
    answerWith(bytesOf(nimbolsp::encodePollReply(statistics)));
  }
  void answerWith(const std::string& bytes, Manner manner = kClose) {
    const std::lock_guard lock(mutex_);
    bytes_ = bytes;
    manner_ = manner;
  }
  void refuse() {  // does not listen
    halt();
    listening_.close();
    listening_.replace(bindPort(port_));
  }
  void listenAgain() {
    listen(listening_.number(), 128);
    thread_ = std::jthread([this] {
      const auto next = [this] { return accept4(listening_.number(), nullptr, nullptr, SOCK_CLOEXEC); };
      for (int c; (c = next()) != -1;) dealWith(TestClient(Descriptor(c)));
    });
  }

  // How many polls it has answered or is about to, and the bytes of the last request.
  int polls() const { return polls_; }
  std::string lastRequest() {
    const std::lock_guard lock(mutex_);
    return lastRequest_;
  }
  // Waits until `count` more polls have come. False at the far deadline.
  bool waitForPolls(int count) {
    return eventually([this, wanted = polls_ + count] { return polls_ >= wanted; });
  }

 private:
  void halt() {
    shutdown(listening_.number(), SHUT_RDWR);  // ends the thread's accept
    thread_ = {};
    keptOpen_.clear();
  }
  void dealWith(TestClient connection) {
    const std::string request = connection.receive(nimbolsp::kPollRequestSize);
    const std::lock_guard lock(mutex_);
    lastRequest_ = request;
    ++polls_;  // before the answer, which may end what waits for it
    const std::size_t packet = manner_ == kDribble ? 1 : bytes_.size();
    for (std::size_t at = 0; at < bytes_.size(); at += packet) connection.send(bytes_.substr(at, packet));
    if (manner_ == kReset) connection.reset();
    if (manner_ == kKeepOpen) keptOpen_.push_back(std::move(connection));
    connection.close();
  }

  Descriptor listening_{bindPort()};  // only bound while it refuses
  std::uint16_t port_ = portOf(listening_.number());
  std::jthread thread_;
  std::vector<TestClient> keptOpen_;  // the thread's, while it runs
  std::atomic<int> polls_{0};
  std::mutex mutex_;  // guards all that follows
  Manner manner_ = kClose;
  std::string bytes_, lastRequest_;
};
