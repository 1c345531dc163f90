// The tick count and sleeping.
#include "compat/services/system/ticks.h"

#include <sys/select.h>
#include <sys/time.h>

#include <atomic>

#include "nimboxi/system.h"

namespace nimboxi {
namespace {

constexpr std::uint32_t kTickMs = 25;

// Atomic, as GetTickCount does not enter the guard.
std::atomic<std::uint32_t> startTickMs{0};

// Milliseconds modulo 2^32, the part below a second cut to steps of `stepMs`.
std::uint32_t nowMs(std::uint32_t stepMs) {
  timeval now{};
  gettimeofday(&now, nullptr);
  const auto microseconds = static_cast<std::uint32_t>(now.tv_usec);
  return static_cast<std::uint32_t>(now.tv_sec) * 1000 + microseconds / (stepMs * 1000) * stepMs;
}

}  // namespace

void startTickCount() {
  // Required(tick-steps): the start is exact, the readings are in steps; so the first readings can be below
  // 0.
  startTickMs.store(nowMs(1), std::memory_order_relaxed);
}

}  // namespace nimboxi

using namespace nimboxi;

DWORD GetTickCount() {
  return nowMs(kTickMs) - startTickMs.load(std::memory_order_relaxed);
}

void Sleep(DWORD milliseconds) {
  if (milliseconds == 0) return;
  timeval timeout{};
  timeout.tv_sec = static_cast<time_t>(milliseconds / 1000);
  timeout.tv_usec = static_cast<suseconds_t>(milliseconds % 1000 * 1000);
  select(0, nullptr, nullptr, nullptr, &timeout);
}
