// What all handles share: the kinds, the two values that are no handle, and closing.
#include "compat/core/handles.h"

#include "tests/core/core_test.h"

using namespace nimboxi;
using Handles = CoreTest;

TEST_F(Handles, OnlyAFileHasAStreamAndADevice) {
  layer_.setPorts("LPT2=/dev/null,parallelport\n");
  HandleRecord* semaphore = newHandle(kSemaphoreHandle);
  HANDLE port = open("LPT2");
  for (HANDLE handle : {HANDLE{nullptr}, INVALID_HANDLE_VALUE, HANDLE{semaphore}, port}) {
    SetLastError(kMark);
    const int32_t lastError = handle == port ? kMark : ERROR_GEN_FAILURE;  // left alone on success
    HandleDeviceType type{9, 9};
    EXPECT_EQ(LookupFileHandle(handle) != nullptr, handle == port);
    EXPECT_EQ(failure(false), lastError);
    EXPECT_TRUE(GetHandleDeviceType(handle, &type) && GetHandleDeviceType(handle, nullptr));
    EXPECT_EQ(failure(false), lastError);
    EXPECT_TRUE(type.reserved == 0 && type.deviceType == (handle == port ? DEVICE_PARALLEL : 0));
  }
  EXPECT_EQ(failure(CloseHandle(nullptr)), ERROR_GEN_FAILURE);
  semaphore->kind = 4;
  EXPECT_EQ(failure(CloseHandle(semaphore)), ERROR_GEN_FAILURE);
  std::free(semaphore);
  EXPECT_TRUE(CloseHandle(port) && GetLastError() == 0);
}

TEST_F(Handles, ACloseThatFailedKeepsTheHandle) {
  HANDLE file = open("/dev/full");
  EXPECT_TRUE(write(file, "still in the buffer"));
  EXPECT_EQ(failure(CloseHandle(file)), ERROR_GEN_FAILURE);
  EXPECT_EQ(failure(write(file, "there is no stream any more")), ERROR_GEN_FAILURE);
  EXPECT_TRUE(CloseHandle(file));
}
