#include "service/layer_gate.h"

#include <atomic>
#include <cstdint>

namespace nimbolsp {

namespace {

constexpr std::uint32_t kClosed = 1U << 31;

// The number of visits under way, and `kClosed`. Without a destructor: late threads still ask it.
constinit std::atomic<std::uint32_t> gate{kClosed};

void leave() {
  if (gate.fetch_sub(1) - 1 == kClosed) gate.notify_all();
}

}  // namespace

LayerVisit::LayerVisit() : admitted_((gate.fetch_add(1) & kClosed) == 0) {
  if (!admitted_) leave();
}

LayerVisit::~LayerVisit() {
  if (admitted_) leave();
}

void closeLayerGate() {
  std::uint32_t visits = gate.fetch_or(kClosed) | kClosed;
  while (visits != kClosed) {
    gate.wait(visits);
    visits = gate.load();
  }
}

void openLayerGate() {
  gate.fetch_and(~kClosed);
}

}  // namespace nimbolsp
