// Lock objects, the call guard's nesting and its mutual exclusion.
#include "compat/core/call_guard.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "nimboxi/text.h"
#include "tests/support/locked_layer.h"

namespace nimboxi {
namespace {

std::string reports;

void failToTry(LayerLock* lock) {
  EXPECT_FALSE(TryLock(lock));
}

TEST(LockObjects, MisuseIsReported) {
  const struct {
    bool busy;  // the lock exists, and another thread holds it
    void (*use)(LayerLock*);
    const char* reported;
  } cases[] = {
    {false, Lock, "badenter 0"},
    {false, Unlock, "badleave 0"},
    {false, failToTry, "badtryenter 0"},
    {true, failToTry, ""},
#if !defined(__SANITIZE_THREAD__)  // which takes the wrong thread's unlock for a fault of the program
    {true, Unlock, "leave 1"},
#endif
  };
  for (const auto& [busy, use, reported] : cases) {
    LayerLock lock = nullptr;
    if (busy) CreateLock(&lock);
    if (busy) Lock(&lock);
    reports.clear();
    SetDiagnosticHook([](const char* text, int32_t e) { reports += text + (" " + std::to_string(e)); });
    std::thread(use, &lock).join();
    SetDiagnosticHook(nullptr);
    EXPECT_EQ(reports, reported);
    Unlock(&lock);
    DestroyLock(&lock);
  }
}

class Guard : public testing::Test {
  LockedLayer layer_;
};

// Pins(leave-wraps)
TEST_F(Guard, CallsNestAndComeBackToZero) {
  CallGuard outer;
  EnterLayer();
  lstrlen("a call of the layer's own");
  EXPECT_EQ(guardDepth(), 2U);
  LeaveLayer();
  std::thread([] {
    LeaveLayer();
    EXPECT_EQ(guardDepth(), 0xFFFFFFFF);
    LeaveLayer();
    CallGuard unlocked;  // the other thread holds the lock meanwhile
  }).join();
  outer.leave();
  EXPECT_EQ(guardDepth(), 0U);
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

}  // namespace
}  // namespace nimboxi
