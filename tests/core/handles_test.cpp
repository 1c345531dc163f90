// What all calls on handles share: handles of the wrong kind, devices, the last errors of errno. Semaphores,
// threads and waits.
#include "compat/core/handles.h"

#include <csignal>
#include <ctime>
#include <thread>

#include "compat/core/errors/errno_map.h"
#include "nimboxi/ports.h"
#include "nimboxi/synch.h"
#include "tests/core/core_test.h"
#include "tests/support/eventually.h"

using namespace nimboxi;
using Handles = CoreTest;

TEST_F(Handles, OfTheWrongKindAreReported) {
  HandleRecord closed{kFileHandle, {}, DEVICE_PARALLEL, false};  // as a close that failed leaves it
  HandleRecord semaphore{kSemaphoreHandle, {}, 0, false}, none{}, beyond{kFileHandle + 1, {}, 0, false};
  for (HANDLE h : {HANDLE{nullptr}, INVALID_HANDLE_VALUE, HANDLE{&closed}, HANDLE{&semaphore}}) {
    EXPECT_EQ((Errors{errorOf(ReadFile(h, nullptr, 0, nullptr)), errorOf(WriteFile(h, "", 0, nullptr)),
                      errorOf(FlushFileBuffers(h)), errorOf(LookupFileHandle(h) != nullptr),
                      errorOf(LockFile(h, 0, 0, 1, 0)), errorOf(UnlockFile(h, 0, 0, 1, 0)),
                      errorOf(GetCommState(h, nullptr)), errorOf(SetCommState(h, nullptr)),
                      errorOf(GetPortTimeouts(h, nullptr)), errorOf(SetPortTimeouts(h, nullptr))}),
              Errors(10, ERROR_GEN_FAILURE));
    EXPECT_EQ((Errors{errorOf(GetFileSizeEx(h, nullptr)), errorOf(GetFileSize(h, nullptr) != ~0U),
                      errorOf(SetFilePointerEx(h, 0, nullptr, 0)), errorOf(SetEndOfFile(h)),
                      errorOf(SetFilePointer(h, 0, nullptr, 0) != ~0U)}),
              Errors(5, ERROR_INVALID_HANDLE));
  }
  for (HANDLE h : {HANDLE{nullptr}, INVALID_HANDLE_VALUE, HANDLE{&none}, HANDLE{&beyond}})
    EXPECT_EQ((Errors{errorOf(CloseHandle(h)), errorOf(ReleaseSemaphore(h, 1, nullptr)),
                      errorOf(WaitForSingleObject(h, INFINITE) != WAIT_FAILED)}),
              Errors(3, ERROR_GEN_FAILURE));
}

TEST_F(Handles, AFileHasADevice) {
  layer_.setPorts("LPT2=/dev/null,parallelport\n");
  HandleRecord semaphore{kSemaphoreHandle, {}, 9, false};
  HANDLE port = open("LPT2");
  for (HANDLE handle : {INVALID_HANDLE_VALUE, HANDLE{&semaphore}, port}) {
    SetLastError(kMark);
    HandleDeviceType type{9, 9};
    EXPECT_TRUE(GetHandleDeviceType(handle, &type) && GetHandleDeviceType(handle, nullptr));
    EXPECT_EQ(errorOf(false), handle == port ? kMark : ERROR_GEN_FAILURE);
    EXPECT_TRUE(type.reserved == 0 && type.deviceType == (handle == port ? DEVICE_PARALLEL : 0));
  }
  EXPECT_TRUE(LookupFileHandle(port) != nullptr && GetLastError() == kMark);
  EXPECT_TRUE(done(CloseHandle(port)));
  for (DWORD type = 0; type < 9; ++type) EXPECT_EQ(isSerialLine(type), "010111100"[type] == '1') << type;
}

// A port that cannot drain is given up on after the seconds that four characters of the entry say.
TEST_F(Handles, ASerialPortDrainsBeforeItCloses) {
  layer_.setPorts("COM3=/dev/null,rs232\nDelay=00019\n");
  HANDLE port = open("COM3");
  const std::time_t start = std::time(nullptr);
  EXPECT_TRUE(done(CloseHandle(port)));
  const std::time_t seconds = std::time(nullptr) - start;
  EXPECT_TRUE(seconds >= 1 && seconds < 15) << seconds;
}

TEST_F(Handles, HaveTheLastErrorsOfErrno) {
  std::string listed;  // those that have one of their own
  for (int error = -1; error < 50; ++error)
    if (const int32_t lastError = lastErrorOfErrno(error); lastError != ERROR_GEN_FAILURE)
      listed += std::to_string(error) + "=" + std::to_string(lastError) + " ";
  EXPECT_EQ(listed, "1=19 2=2 12=8 13=5 14=115 16=148 17=80 18=17 20=123 21=123 22=12 30=19 36=154 39=145 ");
}

class Synch : public CoreTest {
 protected:
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
  EXPECT_EQ((Errors{made(CreateSemaphore(nullptr, 1, 1, "pool")), made(CreateSemaphore(&self, 1, 1, nullptr)),
                    made(CreateSemaphore(nullptr, -1, 1, nullptr)), made(start(nullptr, nullptr)),
                    made(CreateThread(&self, 0, routine, nullptr, 0, nullptr)),
                    made(CreateThread(nullptr, 1, routine, nullptr, 0, nullptr)), errorOf(waitFor(self)),
                    errorOf(waitFor(detached)), errorOf(ReleaseSemaphore(self, 1, nullptr)),
                    errorOf(WaitForSingleObject(semaphore_, 1000) != WAIT_FAILED)}),
            Errors(10, ERROR_GEN_FAILURE));
  EXPECT_EQ(guardDepth(), 0U);
  sem_getvalue(&recordOf(semaphore_)->object.semaphore, &freePlaces);
  EXPECT_EQ(freePlaces, 3) << "one place a release, whatever it says; a wait that failed takes nothing";
  EXPECT_TRUE(CloseHandle(detached) && CloseHandle(self));
}

// A handle may be closed before its thread is waited for, and while it is: the thread stays as it is.
TEST_F(Synch, AThreadOutlivesItsHandle) {
  const auto routine = [](void* semaphore) { return waitFor(semaphore) ? semaphore : nullptr; };
  EXPECT_TRUE(waitFor(semaphore_));
  uintptr_t left = 0;
  EXPECT_TRUE(CloseHandle(start(routine, semaphore_, &left)));
  HANDLE waited = start(routine, semaphore_);
  std::thread waiter([waited] { EXPECT_TRUE(waitFor(waited)); });
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
