// Semaphores, threads and waits through their handles.
#include "nimboxi/synch.h"

#include <gtest/gtest.h>

#include <csignal>
#include <functional>

#include "compat/core/handles.h"
#include "nimboxi/errors.h"
#include "nimboxi/handles.h"
#include "tests/support/locked_layer.h"

namespace nimboxi {
namespace {

class Synch : public testing::Test {
 protected:
  ~Synch() override { EXPECT_TRUE(CloseHandle(semaphore_)); }

  int freePlaces() const {
    int value = -1;
    sem_getvalue(&static_cast<HandleRecord*>(semaphore_)->object.semaphore, &value);
    return value;
  }
  static HANDLE start(THREAD_START_ROUTINE routine, void* parameter, DWORD flags = CREATE_JOINABLE_THREAD) {
    return CreateThread(nullptr, 0, routine, parameter, flags, nullptr);
  }

  LockedLayer layer_;
  HANDLE semaphore_ = CreateSemaphore(nullptr, 0, 1, nullptr);
};

void* finish(void* parameter) {
  return parameter;
}

TEST_F(Synch, AReleaseAddsOnePlaceAndWhatFailsTakesNone) {
  HANDLE detached = start(finish, nullptr, 0);
  HANDLE joined = start(finish, nullptr);
  EXPECT_EQ(WaitForSingleObject(joined, INFINITE), WAIT_OBJECT_0);
  for (int32_t count : {1, 5, -1}) EXPECT_TRUE(ReleaseSemaphore(semaphore_, count, nullptr));
  const auto waitFails = [](HANDLE handle, DWORD milliseconds) {
    return WaitForSingleObject(handle, milliseconds) == WAIT_FAILED;
  };
  struct Case {
    const char* name;
    std::function<bool()> fails;
  };
  const Case cases[] = {
      {"create a named semaphore", [] { return CreateSemaphore(nullptr, 1, 1, "pool") == nullptr; }},
      {"start a thread without a routine", [] { return start(nullptr, nullptr) == nullptr; }},
      {"wait with a limit", [&] { return waitFails(semaphore_, 1000); }},
      {"wait for the invalid handle", [&] { return waitFails(INVALID_HANDLE_VALUE, INFINITE); }},
      {"wait for a thread a second time", [&] { return waitFails(joined, INFINITE); }},
      {"wait for a detached thread", [&] { return waitFails(detached, INFINITE); }},
      {"release a thread", [&] { return !ReleaseSemaphore(joined, 1, nullptr); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    SetLastError(0);
    EXPECT_TRUE(c.fails());
    EXPECT_EQ(GetLastError(), ERROR_GEN_FAILURE);
    EXPECT_EQ(guardDepth(), 0U);
  }
  EXPECT_EQ(freePlaces(), 3) << "one place a release, whatever it says; a wait that failed takes nothing";
  EXPECT_TRUE(CloseHandle(detached));
  EXPECT_TRUE(CloseHandle(joined));
}

// Threads that pass one place around: whoever waits inside the guard stops them all. Signals break no wait.
TEST_F(Synch, AWaitLetsOthersIntoTheLayer) {
  struct Shared {
    HANDLE semaphore;
    int count = 0;
  } shared{semaphore_};
  const auto routine = [](void* parameter) -> void* {
    auto* data = static_cast<Shared*>(parameter);
    for (int i = 0; i < 500; ++i) {
      EXPECT_EQ(WaitForSingleObject(data->semaphore, INFINITE), WAIT_OBJECT_0);
      EXPECT_EQ(guardDepth(), 0U);
      ++data->count;
      ReleaseSemaphore(data->semaphore, 1, nullptr);
    }
    return nullptr;
  };
  HANDLE threads[4];
  for (HANDLE& thread : threads) thread = start(routine, &shared);
  struct sigaction action {};  // without SA_RESTART
  action.sa_handler = [](int) {};
  sigaction(SIGUSR1, &action, nullptr);
  for (int i = 0; i < 1000; ++i) {
    pthread_kill(static_cast<HandleRecord*>(threads[i % 4])->object.thread, SIGUSR1);
    YieldThread();
  }
  ReleaseSemaphore(semaphore_, 1, nullptr);
  for (HANDLE thread : threads) {
    EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
    EXPECT_TRUE(CloseHandle(thread));
  }
  EXPECT_EQ(shared.count, 2000);
}

}  // namespace
}  // namespace nimboxi
