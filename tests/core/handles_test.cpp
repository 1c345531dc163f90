// What all handles share: the kinds, the two values that are no handle, and closing.
#include "compat/core/handles.h"

#include "tests/core/files/files_fixture.h"

namespace nimboxi {
namespace {

TEST_F(Files, OnlyAFileHandleHasAStreamAndADevice) {
  layer_.setPorts("LPT2=/dev/null,parallelport\n");
  HandleRecord* semaphore = newHandle(kSemaphoreHandle);
  HANDLE port = open("LPT2");
  for (HANDLE handle : {HANDLE{nullptr}, INVALID_HANDLE_VALUE, HANDLE{semaphore}, port}) {
    const bool isFile = handle == port;
    const int32_t lastError = isFile ? kMark : ERROR_GEN_FAILURE;
    HandleDeviceType type{9, 9};
    EXPECT_EQ(LookupFileHandle(handle) != nullptr, isFile);
    EXPECT_EQ(failure(FALSE), lastError) << "left alone on success";
    EXPECT_TRUE(GetHandleDeviceType(handle, &type) && GetHandleDeviceType(handle, nullptr));
    EXPECT_EQ(failure(FALSE), lastError);
    EXPECT_TRUE(type.reserved == 0 && type.deviceType == (isFile ? DEVICE_PARALLEL : 0));
  }
  EXPECT_EQ(failure(CloseHandle(nullptr)), ERROR_GEN_FAILURE);
  semaphore->kind = 4;
  EXPECT_EQ(failure(CloseHandle(semaphore)), ERROR_GEN_FAILURE);
  std::free(semaphore);
  EXPECT_TRUE(CloseHandle(port) && GetLastError() == 0);
}

TEST_F(Files, ACloseThatFailedKeepsTheHandle) {
  HANDLE file = open("/dev/full");
  EXPECT_TRUE(write(file, "still in the buffer"));
  EXPECT_EQ(failure(CloseHandle(file)), ERROR_GEN_FAILURE);
  EXPECT_EQ(failure(write(file, "there is no stream any more")), ERROR_GEN_FAILURE);
  EXPECT_TRUE(CloseHandle(file));
}

}  // namespace
}  // namespace nimboxi
