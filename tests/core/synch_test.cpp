// Semaphores, threads and waits through their handles.
#include "nimboxi/synch.h"

#include <csignal>
#include <thread>

#include "compat/core/handles.h"
#include "tests/core/core_test.h"
#include "tests/support/eventually.h"

using namespace nimboxi;

class Synch : public CoreTest {
 protected:
  ~Synch() override { EXPECT_TRUE(CloseHandle(semaphore_)); }

  static HANDLE start(THREAD_START_ROUTINE routine, void* parameter, DWORD flags = CREATE_JOINABLE_THREAD) {
    return CreateThread(nullptr, 0, routine, parameter, flags, nullptr);
  }
  static HandleRecord* recordOf(HANDLE handle) { return static_cast<HandleRecord*>(handle); }

  HANDLE semaphore_ = CreateSemaphore(nullptr, 0, 1, nullptr);
};

// Pins(release-one)
TEST_F(Synch, AReleaseAddsOnePlaceAndWhatFailsTakesNone) {
  const auto finish = [](void* parameter) { return parameter; };
  HANDLE detached = start(finish, nullptr, 0), joined = start(finish, nullptr);
  EXPECT_EQ(WaitForSingleObject(joined, INFINITE), WAIT_OBJECT_0);
  for (int32_t count : {1, 5, -1}) EXPECT_TRUE(ReleaseSemaphore(semaphore_, count, nullptr));
  EXPECT_EQ(failure(CreateSemaphore(nullptr, 1, 1, "pool") != nullptr), ERROR_GEN_FAILURE);
  EXPECT_EQ(failure(start(nullptr, nullptr) != nullptr), ERROR_GEN_FAILURE);
  EXPECT_EQ(failure(ReleaseSemaphore(joined, 1, nullptr)), ERROR_GEN_FAILURE);
  EXPECT_EQ(failure(WaitForSingleObject(semaphore_, 1000) != WAIT_FAILED), ERROR_GEN_FAILURE);
  for (HANDLE handle : {INVALID_HANDLE_VALUE, joined, detached})
    EXPECT_EQ(failure(WaitForSingleObject(handle, INFINITE) != WAIT_FAILED), ERROR_GEN_FAILURE);
  EXPECT_EQ(guardDepth(), 0U);
  int freePlaces = -1;
  sem_getvalue(&recordOf(semaphore_)->object.semaphore, &freePlaces);
  EXPECT_EQ(freePlaces, 3) << "one place a release, whatever it says; a wait that failed takes nothing";
  EXPECT_TRUE(CloseHandle(detached) && CloseHandle(joined));
}

// A handle may be closed before its thread is waited for, and while it is: the thread stays as it is.
TEST_F(Synch, AThreadOutlivesItsHandle) {
  const auto wait = [](void* semaphore) -> void* {
    EXPECT_EQ(WaitForSingleObject(semaphore, INFINITE), WAIT_OBJECT_0);
    return semaphore;
  };
  uintptr_t left = 0;
  EXPECT_TRUE(CloseHandle(CreateThread(nullptr, 0, wait, semaphore_, CREATE_JOINABLE_THREAD, &left)));
  HANDLE waited = start(wait, semaphore_);
  std::thread waiter([waited] { EXPECT_EQ(WaitForSingleObject(waited, INFINITE), WAIT_OBJECT_0); });
  EXPECT_TRUE(eventually([waited] {
    const CallGuard guard;
    return !recordOf(waited)->joinable;  // the waiter is on its way
  }));
  EXPECT_TRUE(CloseHandle(waited));
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(ReleaseSemaphore(semaphore_, 1, nullptr));
  waiter.join();
  void* result = nullptr;
  EXPECT_EQ(pthread_join(left, &result), 0) << "it can be joined as before";
  EXPECT_EQ(result, semaphore_);
}

// Threads that pass one place around: whoever waits inside the guard stops them all. Signals break no wait.
TEST_F(Synch, AWaitLetsOthersIntoTheLayer) {
  static int count = 0;  // behind the semaphore
  const auto routine = [](void* semaphore) -> void* {
    for (int i = 0; i < 500; ++i) {
      EXPECT_EQ(WaitForSingleObject(semaphore, INFINITE), WAIT_OBJECT_0);
      ++count;
      ReleaseSemaphore(semaphore, 1, nullptr);
    }
    return nullptr;
  };
  HANDLE threads[4];
  for (HANDLE& thread : threads) thread = start(routine, semaphore_);
  struct sigaction action {};  // without SA_RESTART
  action.sa_handler = [](int) {};
  sigaction(SIGUSR1, &action, nullptr);
  for (int i = 0; i < 1000; ++i) {
    pthread_kill(recordOf(threads[i % 4])->object.thread, SIGUSR1);
    YieldThread();
  }
  ReleaseSemaphore(semaphore_, 1, nullptr);
  for (HANDLE thread : threads)
    EXPECT_TRUE(WaitForSingleObject(thread, INFINITE) == WAIT_OBJECT_0 && CloseHandle(thread));
  EXPECT_EQ(count, 2000);
}
