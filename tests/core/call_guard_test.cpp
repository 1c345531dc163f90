// Lock objects, the call guard's nesting and its mutual exclusion, and the end of the layer lock.
#include "compat/core/call_guard.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <tuple>

#include "nimboxi/text.h"
#include "tests/support/eventually.h"
#include "tests/support/locked_layer.h"

namespace nimboxi {
namespace {

std::string reports;

TEST(LockObjects, MisuseIsReported) {
  const auto failToTry = [](LayerLock* lock) { EXPECT_FALSE(TryLock(lock)); };
  // Whether the lock exists and another thread holds it, its use, and what is reported.
  const std::tuple<bool, void (*)(LayerLock*), const char*> cases[] = {
    {false, Lock, "badenter 0"},
    {false, Unlock, "badleave 0"},
    {false, failToTry, "badtryenter 0"},
    {true, failToTry, ""},
#if !defined(__SANITIZE_THREAD__)  // which takes the wrong thread's unlock for a fault of the program
    {true, Unlock, "leave 1"},
#endif
  };
  for (const auto& [busy, use, expected] : cases) {
    LayerLock lock = nullptr;
    if (busy) CreateLock(&lock);
    if (busy) Lock(&lock);
    reports.clear();
    SetDiagnosticHook([](const char* text, int32_t e) { reports += text + (" " + std::to_string(e)); });
    std::thread(use, &lock).join();
    SetDiagnosticHook(nullptr);
    EXPECT_EQ(reports, expected);
    Unlock(&lock);
    DestroyLock(&lock);
  }
}

class Guard : public testing::Test {
  LockedLayer layer_;
};

TEST_F(Guard, CallsNestAndComeBackToZero) {
  CallGuard outer;
  EnterLayer();
  lstrlen("a call of the layer's own");
  EXPECT_EQ(guardDepth(), 2U);
  LeaveLayer();
  outer.leave();
  EXPECT_EQ(guardDepth(), 0U);
  std::thread([] {
    LeaveLayer();
    EXPECT_EQ(guardDepth(), 0xFFFFFFFF) << "an unbalanced leave wraps";
  }).join();
}

TEST_F(Guard, OneThreadIsInside) {
  int count = 0;
  const auto add = [&count] {
    for (int round = 0; round < 2000; ++round) {
      CallGuard outer;
      const int seen = count;
      if (round % 64 == 0) YieldThread();
      count = seen + 1;
    }
  };
  std::thread other(add);
  add();
  other.join();
  EXPECT_EQ(count, 4000);
}

TEST_F(Guard, TheLockGoesAndComesBackWhileThreadsAreInsideAndWait) {
  for (int round = 0; round < 40; ++round) {
    createLayerLock();
    std::atomic<bool> stop{false};
    std::atomic<int> calls{0};
    const auto call = [&] {
      while (!stop) {
        CallGuard outer;
        lstrlen("a call inside");
        ++calls;
      }
    };
    std::thread threads[] = {std::thread(call), std::thread(call), std::thread(call)};
    for (const auto change : {createLayerLock, retireLayerLock, createLayerLock, retireLayerLock}) {
      change();
      const int before = calls;
      EXPECT_TRUE(eventually([&] { return calls > before + 10; }));
    }
    stop = true;
    for (std::thread& thread : threads) thread.join();
  }
}

}  // namespace
}  // namespace nimboxi
