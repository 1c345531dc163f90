// Waiting for what another thread or process will bring about.
#pragma once

#include <chrono>
#include <thread>

// How long a test waits before it gives up: far beyond what a loaded machine needs.
inline constexpr std::chrono::seconds kFarDeadline{60};

// True as soon as the condition holds; false when it still does not at the far deadline.
template <typename Condition>
bool eventually(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + kFarDeadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}
