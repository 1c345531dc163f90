// Reading, writing, positions and locks of files behind handles.
#include <fcntl.h>

#include "tests/core/core_test.h"
#include "tests/support/test_client.h"

using Streams = CoreTest;

TEST_F(Streams, BadHandlesAreReportedTwoWays) {
  for (HANDLE handle : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
    EXPECT_EQ(failure(ReadFile(handle, nullptr, 0, nullptr)), 31);
    EXPECT_EQ(failure(LockFile(handle, 0, 0, 1, 0)), 31);
    EXPECT_EQ(failure(write(handle, "a")), 31);
    EXPECT_EQ(failure(FlushFileBuffers(handle)), 31);
    EXPECT_EQ(failure(SetEndOfFile(handle)), 6);
    EXPECT_EQ(failure(GetFileSizeEx(handle, nullptr)), 6);
    EXPECT_EQ(failure(SetFilePointer(handle, 0, nullptr, 0) != INVALID_SET_FILE_POINTER), 6);
  }
}

TEST_F(Streams, ReadsWritesAndSeeksMayAlternate) {
  HANDLE file = open(folder_.write("file", "abcdefgh").c_str());
  EXPECT_EQ(read(file, 2), "ab");
  EXPECT_TRUE(write(file, "XY"));
  EXPECT_EQ(GetFileSize(file, nullptr), 8U) << "leaves the position";
  EXPECT_EQ(read(file, 2), "ef");
  EXPECT_TRUE(SetEndOfFile(file));
  EXPECT_TRUE(write(file, "Z") && FlushFileBuffers(file));
  EXPECT_EQ(folder_.read("file"), "abXYefZ") << "what was read ahead is gone";
  EXPECT_EQ(SetFilePointer(file, 2, nullptr, 9), 2U) << "an unknown method is from the start";
  EXPECT_EQ(failure(SetFilePointer(file, -1, nullptr, FILE_BEGIN) == 1), ERROR_INVALID_ACCESS);
  EXPECT_EQ(SetFilePointer(file, -1, nullptr, FILE_END), 6U);
  EXPECT_EQ(read(file, 9), "Z") << "to the end";
  EXPECT_TRUE(CloseHandle(file));
}

// What a flush, or a read, could not write is lost, and the close does not tell of it any more.
TEST_F(Streams, AFlushHidesAFullDisk) {
  HANDLE file = open("/dev/full");
  EXPECT_TRUE(write(file, "lost") && FlushFileBuffers(file));
  EXPECT_EQ(GetLastError(), 0);
  EXPECT_TRUE(CloseHandle(file));
}

// Pins(range-lock-announces)
TEST_F(Streams, ALockThatAnotherHoldsIsNotReported) {
  HANDLE file = open(folder_.write("file", "").c_str());
  const Descriptor other(::open("file", O_RDWR | O_CLOEXEC));
  EXPECT_TRUE(LockFile(file, 2, 0, 3, 0));
  struct flock lock {};
  lock.l_type = F_WRLCK;  // of all bytes, for the open file: it conflicts as another process's would
  EXPECT_EQ(fcntl(other.number(), F_OFD_SETLK, &lock), -1);
  EXPECT_TRUE(UnlockFile(file, 2, 0, 3, 0));
  EXPECT_EQ(fcntl(other.number(), F_OFD_SETLK, &lock), 0);
  EXPECT_TRUE(LockFile(file, 2, 0, 3, 0));
  EXPECT_EQ(failure(LockFile(file, 0, 1, 1, 0)), ERROR_GEN_FAILURE);
  EXPECT_EQ(failure(UnlockFile(file, 0, 0, 1, 1)), ERROR_GEN_FAILURE);
  EXPECT_TRUE(CloseHandle(file));
}
