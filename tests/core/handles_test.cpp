// What all calls on handles share: handles of the wrong kind, devices, the last errors of errno.
#include "compat/core/handles.h"

#include <ctime>

#include "compat/core/errors/errno_map.h"
#include "nimboxi/ports.h"
#include "nimboxi/synch.h"
#include "tests/core/core_test.h"

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
  HandleDeviceType type{9, 9}, none{9, 9};
  SetLastError(kMark);
  EXPECT_TRUE(LookupFileHandle(port) != nullptr && GetHandleDeviceType(port, &type) &&
              GetLastError() == kMark);
  EXPECT_TRUE(GetHandleDeviceType(&semaphore, &none) && errorOf(false) == ERROR_GEN_FAILURE);
  EXPECT_TRUE(GetHandleDeviceType(nullptr, nullptr) && errorOf(false) == ERROR_GEN_FAILURE);
  EXPECT_TRUE(type.reserved + none.reserved + none.deviceType == 0 && type.deviceType == DEVICE_PARALLEL);
  EXPECT_TRUE(done(CloseHandle(port)));
  for (DWORD line = 0; line < 9; ++line) EXPECT_EQ(isSerialLine(line), "010111100"[line] == '1') << line;
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
