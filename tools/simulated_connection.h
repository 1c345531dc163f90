// One connection to a simulated server, from the first byte that it reads to the end that the peer sees. Owns
// the socket, which never blocks, and says after each step what it waits for; the event loop waits.
#pragma once

#include <cstddef>
#include <cstdint>

#include "service/wire/descriptor.h"
#include "tools/simulated_server.h"

namespace nimbolsp::tools {

class SimulatedConnection {
 public:
  // What wakes the connection again.
  struct Wait {
    std::uint32_t events = 0;    // of epoll
    std::int64_t deadline = -1;  // milliseconds; -1: none
    bool over = false;           // nothing: the connection is to be destroyed, which closes it
  };

  // The server outlives the connection. Each `now` is milliseconds of a steady clock.
  SimulatedConnection(Descriptor socket, SimulatedServer& server, std::int64_t now);

  const Wait& wait() const { return wait_; }
  const SimulatedServer& server() const { return server_; }

  // Takes what epoll reports; events that are not waited for, any more, mean nothing.
  void handle(std::uint32_t events, std::int64_t now);

  // The deadline is past.
  void passDeadline(std::int64_t now);

 private:
  enum class State { kReading, kSending, kDraining };

  void readMore(std::int64_t now);
  void peerClosed(std::int64_t now);
  void start(Caller caller, std::int64_t now);
  void sendMore(std::int64_t now);
  void finish(std::int64_t now);

  Descriptor socket_;
  SimulatedServer& server_;
  State state_ = State::kReading;
  CallReader reader_;
  Reaction reaction_;
  std::size_t sent_ = 0;
  Wait wait_;
};

}  // namespace nimbolsp::tools
