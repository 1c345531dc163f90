// A Nimbo Server as a test scripts it: listens on a port of its own of 127.0.0.1 and answers polls on a
// thread of its own, well or badly. The script may change at any time and holds from the next poll on.
#pragma once

#include <atomic>
#include <deque>
#include <mutex>
#include <thread>

#include "service/wire/poll_protocol.h"
#include "tests/support/eventually.h"
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

  FakeServer(const nimbolsp::Statistics& statistics = kIdle);
  ~FakeServer() { halt(); }

  std::uint16_t port() const { return port_; }
  std::string entry() const { return "127.0.0.1:" + std::to_string(port_); }

  // What it does with the next polls.
  void answer(const nimbolsp::Statistics& statistics) {
    answerWith(bytesOf(nimbolsp::encodePollReply(statistics)));
  }
  void answerWith(const std::string& bytes, Manner manner = kClose);
  void refuse();  // does not listen
  void listenAgain();

  // How many polls it has seen and dealt with, and the bytes of the last request.
  int polls() const { return polls_; }
  std::string lastRequest() {
    const std::lock_guard lock(mutex_);
    return lastRequest_;
  }

  // Waits until `count` more polls have been dealt with. False at the far deadline.
  bool waitForPolls(int count) {
    return eventually([this, wanted = polls_ + count] { return polls_ >= wanted; });
  }

 private:
  void halt();
  void serve();
  void dealWith(int connection);

  Descriptor listening_;  // only bound while it refuses
  std::uint16_t port_;
  std::jthread thread_;
  std::deque<Descriptor> keptOpen_;  // the thread's, while it runs
  std::atomic<int> polls_{0};

  std::mutex mutex_;  // guards all that follows
  Manner manner_ = kClose;
  std::string bytes_;
  std::string lastRequest_;
};
