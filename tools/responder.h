// Answers the daemon's polls beside a server that does not: what a source tells becomes the answer of a
// simulated server, which refuses polls while the source tells nothing.
#pragma once

#include <memory>
#include <string>

#include "tools/load_source.h"
#include "tools/simulation.h"

namespace nimbolsp::tools {

struct RespondOptions {
  SimulatedAddress address;
  std::string drainFile;  // drained while it exists; empty for none
  std::int32_t warmUpSeconds = 0;
};

class Responder {
 public:
  // Takes the port. Throws std::runtime_error with a sentence when it cannot be had.
  Responder(RespondOptions options, std::unique_ptr<LoadSource> source);

  // "ADDRESS:PORT".
  std::string address() { return simulation_.figures()[0].address; }

  // Answers until the descriptor is readable, and tells what changes. Throws as the constructor does.
  void run(int stopDescriptor);

 private:
  enum class State { kUnknown, kDrained, kAnswering };

  void look();
  void enter(State state, const std::string& why);

  const RespondOptions options_;
  const std::unique_ptr<LoadSource> source_;
  Simulation simulation_;
  State state_ = State::kUnknown;
  std::string why_;
};

}  // namespace nimbolsp::tools
