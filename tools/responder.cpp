#include "tools/responder.h"

#include <poll.h>
#include <unistd.h>

#include <utility>

#include "tools/process.h"

namespace nimbolsp::tools {

namespace {

constexpr std::int64_t kLook = 100;  // milliseconds between two looks at the source

ServerOptions refusing(const SimulatedAddress& address) {
  ServerOptions options;
  options.address = address;
  options.behaviour = Behaviour::kRefuse;
  return options;
}

bool isReadable(int descriptor) {
  pollfd watched{descriptor, POLLIN, 0};
  return poll(&watched, 1, 0) > 0;
}

}  // namespace

Responder::Responder(RespondOptions options, std::unique_ptr<LoadSource> source)
    : options_(std::move(options)), source_(std::move(source)), simulation_({refusing(options_.address)}) {
}

void Responder::run(int stopDescriptor) {
  while (!isReadable(stopDescriptor)) {
    look();
    simulation_.run({stopDescriptor, -1, kLook});
  }
}

void Responder::look() {
  try {
    LoadReport report = source_->look(LoadSource::Clock::now());
    if (!options_.drainFile.empty() && access(options_.drainFile.c_str(), F_OK) == 0) report.drain = true;
    std::string keys = serverKeys(report);
    const State next = report.drain ? State::kDrained : State::kAnswering;
    if (next == State::kAnswering && state_ != next)
      keys += ",warmup=" + std::to_string(options_.warmUpSeconds);
    simulation_.change(0, keys);
    enter(next, "");
  } catch (const LoadUnknown& unknown) {
    simulation_.change(0, "behave=refuse");
    enter(State::kUnknown, unknown.what());
  }
}

void Responder::enter(State state, const std::string& why) {
  if (state == state_ && why == why_) return;
  state_ = state;
  why_ = why;
  if (state == State::kAnswering) print("answering\n");
  if (state == State::kDrained) print("drained: no requests as long as others have room\n");
  if (state == State::kUnknown) complain("polls are refused: " + why);
}

}  // namespace nimbolsp::tools
