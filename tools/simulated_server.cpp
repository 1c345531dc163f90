#include "tools/simulated_server.h"

#include <algorithm>

#include "tools/simulated_load.h"

namespace nimbolsp::tools {

namespace {

constexpr std::size_t kExtraBytes = kPollReplySize;
constexpr std::uint8_t kExtraByte = 0xFF;

}  // namespace

Caller CallReader::take(std::span<const std::uint8_t> bytes) {
  static const PollRequest request = encodePollRequest();
  const std::size_t length = std::min(bytes.size(), kPollRequestSize - matched_);
  if (!std::equal(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length),
                  request.begin() + static_cast<std::ptrdiff_t>(matched_))) {
    return Caller::kVisit;
  }
  matched_ += length;
  return matched_ == kPollRequestSize ? Caller::kPoll : Caller::kUndecided;
}

SimulatedServer::SimulatedServer(const ServerOptions& options, std::int64_t start)
    : options_(options), start_(start), random_(std::random_device{}()) {
}

void SimulatedServer::change(const std::string& keys, std::int64_t now) {
  options_ = changed(options_, keys, now - start_);
}

Reaction SimulatedServer::react(Caller caller, std::int64_t now) {
  Reaction reaction;
  if (options_.behaviour == Behaviour::kSilent) reaction.end = Reaction::End::kKeep;
  if (options_.behaviour == Behaviour::kReset) reaction.end = Reaction::End::kReset;
  if (caller != Caller::kPoll) {
    addVisit(now);
    return reaction;
  }
  if (options_.behaviour == Behaviour::kGarbage) reaction.bytes = garbage();
  if (reaction.end != Reaction::End::kClose || !reaction.bytes.empty()) return reaction;

  const PollReply reply = encodePollReply(statistics(now));
  reaction.bytes.assign(reply.begin(), reply.end());
  if (options_.behaviour == Behaviour::kShort) {
    reaction.bytes.resize(static_cast<std::size_t>(options_.behaviourNumber));
  } else if (options_.behaviour == Behaviour::kExtra) {
    reaction.bytes.insert(reaction.bytes.end(), kExtraBytes, kExtraByte);
  } else if (options_.behaviour == Behaviour::kDribble) {
    reaction.pause = options_.behaviourNumber;
  }
  return reaction;
}

void SimulatedServer::sent(std::size_t bytes) {
  if (bytes >= kPollReplySize) ++pollsAnswered_;
}

Statistics SimulatedServer::statistics(std::int64_t now) {
  while (!finishes_.empty() && finishes_.begin()->first <= now) {
    visitsUnderWay_ -= finishes_.begin()->second;
    finishes_.erase(finishes_.begin());
  }
  return figuresAt(options_, visitsUnderWay_, now - start_);
}

void SimulatedServer::addVisit(std::int64_t now) {
  ++visits_;
  if (!options_.follow) return;
  ++finishes_[now + options_.holdMilliseconds];
  ++visitsUnderWay_;
  statistics(now);  // lets go of those that have ended, also where nobody polls
}

std::vector<std::uint8_t> SimulatedServer::garbage() {
  std::vector<std::uint8_t> bytes(kPollReplySize);
  std::uniform_int_distribution<int> byte(0, 255);
  for (std::uint8_t& b : bytes) b = static_cast<std::uint8_t>(byte(random_));
  return bytes;
}

}  // namespace nimbolsp::tools
