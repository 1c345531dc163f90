// Lock objects and the call guard; semaphores, threads and waits through their handles.
#include "nimboxi/synch.h"

#include <csignal>
#include <thread>

#include "compat/core/handles.h"
#include "nimboxi/text.h"
#include "tests/core/core_test.h"
#include "tests/support/eventually.h"

using namespace nimboxi;

static std::string reports;

struct Guard : CoreTest {
  Guard() {
    SetDiagnosticHook([](const char* text, int32_t e) { reports += text + std::to_string(e) + " "; });
  }
};

TEST_F(Guard, MisuseOfALockIsReported) {
  LayerLock none = nullptr, lock = nullptr;
  for (LayerLock* missing : {&none, static_cast<LayerLock*>(nullptr)}) {
    for (const auto call : {Lock, Unlock, DestroyLock}) call(missing);
    EXPECT_FALSE(TryLock(missing));
  }
  CreateLock(nullptr);
  for (const auto call : {CreateLock, Lock, Lock, Unlock}) call(&lock);  // it is recursive
  std::thread([&lock] {
    EXPECT_FALSE(TryLock(&lock));
#if defined(__SANITIZE_THREAD__)  // which takes it for a fault of the program
    reports += "leave1 ";
#else
    Unlock(&lock);
#endif
  }).join();
  EXPECT_TRUE(TryLock(&lock));
  for (const auto call : {Unlock, Unlock, DestroyLock}) call(&lock);
  EXPECT_TRUE(lock == nullptr &&
              reports == "badenter0 badleave0 badtryenter0 badenter0 badleave0 badtryenter0 leave1 ");
}

// Pins(leave-wraps)
TEST_F(Guard, CallsNestAndComeBackToZero) {
  reports.clear();
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
  EXPECT_EQ(std::to_string(guardDepth()) + reports, "0");
}

struct Synch : CoreTest {
  ~Synch() override { EXPECT_TRUE(done(CloseHandle(semaphore_))); }

  static HANDLE start(THREAD_START_ROUTINE routine, void* parameter, uintptr_t* id = nullptr) {
    return CreateThread(nullptr, 0, routine, parameter, CREATE_JOINABLE_THREAD, id);
  }
  static HandleRecord* recordOf(HANDLE handle) { return static_cast<HandleRecord*>(handle); }
  static bool waitFor(HANDLE handle) { return WaitForSingleObject(handle, INFINITE) == WAIT_OBJECT_0; }

  HANDLE semaphore_ = CreateSemaphore(nullptr, 1, 1, nullptr);
};

// Pins(release-one)
TEST_F(Synch, AReleaseAddsOnePlaceAndWhatFailsTakesNone) {
  static HANDLE self = INVALID_HANDLE_VALUE;
  const auto routine = [](void* semaphore) -> void* {
    EXPECT_TRUE(done(waitFor(semaphore)));
    EXPECT_FALSE(waitFor(self)) << "not for itself";
    return nullptr;
  };
  EXPECT_TRUE(waitFor(semaphore_));
  self = start(routine, semaphore_);
  EXPECT_TRUE(done(ReleaseSemaphore(semaphore_, 1, nullptr)) && done(waitFor(self)));
  const auto finish = [](void* parameter) { return parameter; };
  HANDLE detached = CreateThread(nullptr, 0, finish, nullptr, 0, nullptr);
  EXPECT_TRUE(done(detached != nullptr));
  int freePlaces = 9;
  for (int32_t count : {1, 5, -1}) EXPECT_TRUE(ReleaseSemaphore(semaphore_, count, nullptr));
  const auto made = [](HANDLE handle) { return errorOf(handle != nullptr); };
  expectAll(ERROR_GEN_FAILURE,
            {made(CreateSemaphore(nullptr, 1, 1, "pool")), made(CreateSemaphore(&self, 1, 1, nullptr)),
             made(CreateSemaphore(nullptr, -1, 1, nullptr)), made(start(nullptr, nullptr)),
             made(CreateThread(&self, 0, routine, nullptr, 0, nullptr)),
             made(CreateThread(nullptr, 1, routine, nullptr, 0, nullptr)), errorOf(waitFor(self)),
             errorOf(waitFor(detached)), errorOf(ReleaseSemaphore(self, 1, nullptr)),
             errorOf(WaitForSingleObject(semaphore_, 1000) != WAIT_FAILED)});
  sem_getvalue(&recordOf(semaphore_)->object.semaphore, &freePlaces);
  EXPECT_TRUE(freePlaces == 3 && guardDepth() == 0) << freePlaces;
  EXPECT_TRUE(CloseHandle(detached) && CloseHandle(self));
}

// A handle may be closed while its thread is waited for.
TEST_F(Synch, AThreadOutlivesItsHandle) {
  uintptr_t id = 0;
  const auto routine = [](void* semaphore) { return waitFor(semaphore) ? semaphore : nullptr; };
  EXPECT_TRUE(waitFor(semaphore_));
  HANDLE thread = start(routine, semaphore_, &id);
  EXPECT_EQ(id, recordOf(thread)->object.thread);
  std::thread waiter([thread] { EXPECT_TRUE(waitFor(thread)); });
  EXPECT_TRUE(eventually([thread] {
    const CallGuard guard;
    return !recordOf(thread)->joinable;  // the waiter is on its way
  }));
  EXPECT_TRUE(CloseHandle(thread) && ReleaseSemaphore(semaphore_, 1, nullptr));
  waiter.join();
  EXPECT_TRUE(CloseHandle(start(routine, semaphore_, &id)) && ReleaseSemaphore(semaphore_, 1, nullptr));
  EXPECT_EQ(pthread_join(id, nullptr), 0) << "a joinable one stays so";
}

// Threads that pass one place around: whoever waits inside the guard stops them all. Signals break no wait.
TEST_F(Synch, OneThreadIsInsideTheLayerAndAWaitLetsOthersIn) {
  static int count = 0;  // behind the guard
  const auto routine = [](void* semaphore) -> void* {
    for (int i = 0; i < 500; ++i) {
      EXPECT_TRUE(waitFor(semaphore));
      ReleaseSemaphore(semaphore, 1, nullptr);
      const CallGuard guard;
      const int seen = count;
      if (i % 16 == 0) YieldThread();
      count = seen + 1;
    }
    return nullptr;
  };
  struct sigaction action {};  // without SA_RESTART
  action.sa_handler = [](int) {};
  sigaction(SIGUSR1, &action, nullptr);
  EXPECT_TRUE(waitFor(semaphore_));
  HANDLE threads[4];
  for (HANDLE& thread : threads) thread = start(routine, semaphore_);
  for (int i = 0; i < 1000; ++i) {
    pthread_kill(recordOf(threads[i % 4])->object.thread, SIGUSR1);
    YieldThread();
  }
  ReleaseSemaphore(semaphore_, 1, nullptr);
  for (HANDLE thread : threads) EXPECT_TRUE(waitFor(thread) && CloseHandle(thread));
  EXPECT_EQ(count, 2000);
}
