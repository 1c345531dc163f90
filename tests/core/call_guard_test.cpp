// Lock objects and the call guard's nesting; that it keeps threads apart is seen in handles_test.cpp.
#include "compat/core/call_guard.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "nimboxi/text.h"
#include "tests/support/locked_layer.h"

using namespace nimboxi;

static std::string reports;

class Guard : public testing::Test {
 protected:
  Guard() {
    reports.clear();
    SetDiagnosticHook([](const char* text, int32_t e) { reports += text + std::to_string(e) + " "; });
  }
  ~Guard() override { SetDiagnosticHook(nullptr); }

 private:
  LockedLayer layer_;
};

TEST_F(Guard, MisuseOfALockIsReported) {
  LayerLock none = nullptr, lock = nullptr;
  for (LayerLock* missing : {&none, static_cast<LayerLock*>(nullptr)}) {
    Lock(missing);
    Unlock(missing);
    EXPECT_FALSE(TryLock(missing));
    DestroyLock(missing);
  }
  CreateLock(nullptr);
  CreateLock(&lock);
  Lock(&lock);
  EXPECT_TRUE(TryLock(&lock)) << "it is recursive";
  Unlock(&lock);
  std::thread([&lock] {
    EXPECT_FALSE(TryLock(&lock));
#if defined(__SANITIZE_THREAD__)  // which takes it for a fault of the program
    reports += "leave1 ";
#else
    Unlock(&lock);
#endif
  }).join();
  Unlock(&lock);
  DestroyLock(&lock);
  EXPECT_EQ(lock, nullptr);
  EXPECT_EQ(reports, "badenter0 badleave0 badtryenter0 badenter0 badleave0 badtryenter0 leave1 ");
}

// Pins(leave-wraps)
TEST_F(Guard, CallsNestAndComeBackToZero) {
  CallGuard outer;
  createLayerLock();  // it stands already
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
  EXPECT_EQ(reports, "");
}
