// Files and devices behind handles: opening, reading, writing, positions, locks and closing; handles of the
// wrong kind, and the last errors of errno.
#include "compat/core/handles.h"

#include <ctime>

#include "compat/core/errors/errno_map.h"
#include "nimboxi/ports.h"
#include "nimboxi/synch.h"
#include "tests/core/core_test.h"
#include "tests/support/test_client.h"

using namespace nimboxi;
using Handles = CoreTest;

TEST_F(Handles, OfTheWrongKindAreReported) {
  HandleRecord closed{kFileHandle, {}, DEVICE_PARALLEL, false};  // as a close that failed leaves it
  HandleRecord semaphore{kSemaphoreHandle, {}, 0, false}, none{}, beyond{kFileHandle + 1, {}, 0, false};
  for (HANDLE h : {HANDLE{nullptr}, INVALID_HANDLE_VALUE, HANDLE{&closed}, HANDLE{&semaphore}}) {
    expectAll(ERROR_GEN_FAILURE,
              {errorOf(ReadFile(h, nullptr, 0, nullptr)), errorOf(WriteFile(h, "", 0, nullptr)),
               errorOf(FlushFileBuffers(h)), errorOf(LookupFileHandle(h) != nullptr),
               errorOf(LockFile(h, 0, 0, 1, 0)), errorOf(UnlockFile(h, 0, 0, 1, 0)),
               errorOf(GetCommState(h, nullptr)), errorOf(SetCommState(h, nullptr)),
               errorOf(GetPortTimeouts(h, nullptr)), errorOf(SetPortTimeouts(h, nullptr))});
    expectAll(ERROR_INVALID_HANDLE,
              {errorOf(GetFileSizeEx(h, nullptr)), errorOf(GetFileSize(h, nullptr) != ~0U),
               errorOf(SetFilePointerEx(h, 0, nullptr, 0)), errorOf(SetEndOfFile(h)),
               errorOf(SetFilePointer(h, 0, nullptr, 0) != ~0U)});
  }
  for (HANDLE h : {HANDLE{nullptr}, INVALID_HANDLE_VALUE, HANDLE{&none}, HANDLE{&beyond}})
    expectAll(ERROR_GEN_FAILURE, {errorOf(CloseHandle(h)), errorOf(ReleaseSemaphore(h, 1, nullptr)),
                                  errorOf(WaitForSingleObject(h, INFINITE) != WAIT_FAILED)});
}

TEST_F(Handles, TellTheDeviceOfAFile) {
  layer_.setPorts("LPT2=/dev/null,parallelport\n");
  HANDLE port = open("LPT2");
  HandleDeviceType type{9, 9}, none{9, 9};
  EXPECT_TRUE(GetHandleDeviceType(nullptr, &none) && errorOf(false) == ERROR_GEN_FAILURE);
  EXPECT_TRUE(GetHandleDeviceType(nullptr, nullptr) && errorOf(false) == ERROR_GEN_FAILURE);
  EXPECT_TRUE(LookupFileHandle(port) != nullptr && GetHandleDeviceType(port, &type));
  EXPECT_EQ(GetLastError(), kMark) << "left alone";
  EXPECT_TRUE(type.reserved + none.reserved + none.deviceType == 0 && type.deviceType == DEVICE_PARALLEL);
  EXPECT_TRUE(done(CloseHandle(port)));
}

// A port that cannot drain is given up on after the seconds that four characters of the entry say.
TEST_F(Handles, ASerialPortDrainsBeforeItCloses) {
  layer_.setPorts("COM3=/dev/null,rs232\nDelay=00019\n");
  HANDLE port = open("COM3");
  const std::time_t start = std::time(nullptr);
  EXPECT_TRUE(done(CloseHandle(port)));
  EXPECT_TRUE(std::time(nullptr) > start && std::time(nullptr) < start + 15);
  for (DWORD line = 0; line < 9; ++line) EXPECT_EQ(isSerialLine(line), "010111100"[line] == '1') << line;
}

TEST_F(Handles, HaveTheLastErrorsOfErrno) {
  std::string listed;  // those that have one of their own
  for (int error = -1; error < 50; ++error)
    if (const int32_t lastError = lastErrorOfErrno(error); lastError != ERROR_GEN_FAILURE)
      listed += std::to_string(error) + "=" + std::to_string(lastError) + " ";
  EXPECT_EQ(listed, "1=19 2=2 12=8 13=5 14=115 16=148 17=80 18=17 20=123 21=123 22=12 30=19 36=154 39=145 ");
}

// Pins(entry-without-type)
TEST_F(Handles, OpenAsTheDispositionSays) {
  layer_.setPorts("COM3=missing,rs232\nCOM4=/dev/null\nCOM5=COM5,rs232\nCOM6=old,rs232\nDelay=-1\n");
  // The last error; "w" and "r" for a handle that takes an "N" and gives it back; the contents afterwards.
  const auto opened = [this](const char* name, DWORD disposition, DWORD access = GENERIC_WRITE) {
    for (const char* old : {"old", ".x", "COM4", "COM5"}) folder_.write(old, "old");
    std::filesystem::remove("new");
    SetLastError(kMark);
    HANDLE file = open(name, access, disposition);
    std::string result = std::to_string(GetLastError()) + " ";
    const bool opens = file != INVALID_HANDLE_VALUE;
    if (write(file, "N")) result += "w";
    if (opens && SetFilePointer(file, 0, nullptr, FILE_BEGIN) == 0 && read(file, 1) == "N") result += "r";
    EXPECT_TRUE(!opens || fcntl(fileno(LookupFileHandle(file)), F_GETFD) == FD_CLOEXEC);
    EXPECT_EQ(CloseHandle(file), opens);
    return result + " " + folder_.read(name);
  };
  EXPECT_EQ(opened("old", TRUNCATE_EXISTING), "0 wr Nld") << "not truncated";
  EXPECT_EQ(opened("old", OPEN_EXISTING, GENERIC_READ), "0  old");
  EXPECT_EQ(opened("old", CREATE_ALWAYS, GENERIC_READ), "0 w N");
  EXPECT_EQ(opened("new", OPEN_ALWAYS, GENERIC_READ), "2 w N") << "made anew for reading, it is for writing";
  std::filesystem::create_symlink("new", "link");
  EXPECT_EQ(opened("link", OPEN_ALWAYS), "2 wr N") << "made where the link leads";
  EXPECT_EQ(opened("new", CREATE_NEW), "2 wr N") << "what was looked for stays the last error";
  EXPECT_EQ(opened(".x", CREATE_NEW), "80  old") << "also what a search hides";
  EXPECT_EQ(opened("COM6", CREATE_NEW), "80  ") << "the device is there";
  EXPECT_EQ(opened("new", 9), "2  ") << "any other disposition opens";
  EXPECT_EQ(opened("COM3", OPEN_ALWAYS), "31  ") << "a port without a device";
  EXPECT_EQ(opened("COM5", OPEN_ALWAYS, 0), "0 wr Nld") << "a port is for both";
  EXPECT_EQ(opened("COM4", OPEN_EXISTING), "0 wr Nld") << "an entry without a line type is a file";
  HANDLE nameless = CreateFile(nullptr, 0, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_TRUE(nameless == INVALID_HANDLE_VALUE && GetLastError() == ERROR_FILE_NOT_FOUND);
}

// Pins(device-zero): a device, and no other, that opens as descriptor 0 counts as not opened.
TEST_F(Handles, NoDeviceIsDescriptorZero) {
  layer_.setPorts("COM3=/dev/null,rs232\n");
  const int input = dup(STDIN_FILENO);
  for (const bool device : {true, false}) {
    close(STDIN_FILENO);
    HANDLE file = open(device ? "COM3" : "nimboxi.ini");
    EXPECT_EQ(errorOf(file != INVALID_HANDLE_VALUE), device ? ERROR_GEN_FAILURE : 0);
    EXPECT_TRUE(CloseHandle(file) != device && fcntl(STDIN_FILENO, F_GETFD) == -1) << "left open";
  }
  dup2(input, STDIN_FILENO);
}

TEST_F(Handles, MayAlternateReadsWritesAndSeeks) {
  HANDLE file = open(folder_.write("file", "abcdefgh"));
  EXPECT_EQ(read(file, 2), "ab");
  EXPECT_TRUE(done(write(file, "XY")));
  EXPECT_EQ(GetFileSize(file, nullptr), 8U) << "leaves the position";
  EXPECT_EQ(read(file, 2), "ef");
  EXPECT_TRUE(done(SetEndOfFile(file)));
  EXPECT_TRUE(write(file, "Z") && FlushFileBuffers(file));
  EXPECT_EQ(folder_.read("file"), "abXYefZ") << "what was read ahead is gone";
  EXPECT_EQ(SetFilePointer(file, 2, nullptr, 9), 2U) << "an unknown method is from the start";
  EXPECT_EQ(errorOf(SetFilePointer(file, -1, nullptr, FILE_BEGIN) == 1), ERROR_INVALID_ACCESS);
  EXPECT_EQ(SetFilePointer(file, -1, nullptr, FILE_END), 6U);
  EXPECT_EQ(read(file, 9), "Z") << "to the end";
  std::ofstream("file", std::ios::app) << "more";
  EXPECT_EQ(read(file, 9), "more") << "a file may grow";
  DWORD taken = 9, written = 9;
  EXPECT_TRUE(done(ReadFile(file, nullptr, 2, &taken)) && taken == 0);
  EXPECT_TRUE(errorOf(WriteFile(file, nullptr, 2, &written)) == ERROR_WRITE_FAULT && written == 0);
  EXPECT_TRUE(CloseHandle(file));
}

TEST_F(Handles, HavePositionsAndSizesOf64Bits) {
  constexpr int64_t kFar = (int64_t{1} << 32) + 5;
  HANDLE file = open(folder_.write("file", "")), reader = open("file", GENERIC_READ);
  int64_t size = 0;
  EXPECT_TRUE(done(SetFilePointerEx(file, kFar, nullptr, FILE_BEGIN)) && SetEndOfFile(file));
  EXPECT_TRUE(done(GetFileSizeEx(file, nullptr)) && GetFileSizeEx(file, &size) && size == kFar);
  EXPECT_EQ(GetFileSize(file, nullptr) + SetFilePointer(file, 0, nullptr, FILE_CURRENT), 5U + 5U);
  EXPECT_EQ(errorOf(SetEndOfFile(reader)), ERROR_INVALID_ACCESS);
  EXPECT_TRUE(CloseHandle(file) && CloseHandle(reader));
}

// What a flush, or a read, could not write is lost, and the close does not tell of it any more.
TEST_F(Handles, AFullDiskShowsInTheCloseUnlessAFlushHidesIt) {
  HANDLE file = open("/dev/full");
  EXPECT_TRUE(write(file, "lost") && done(FlushFileBuffers(file)) && done(CloseHandle(file)));
  file = open("/dev/full");
  EXPECT_TRUE(write(file, "still in the buffer"));
  EXPECT_EQ(errorOf(CloseHandle(file)), ERROR_GEN_FAILURE);
  EXPECT_EQ(errorOf(write(file, "there is no stream any more")), ERROR_GEN_FAILURE);
  EXPECT_TRUE(done(CloseHandle(file))) << "the handle stayed";
}

// Pins(range-lock-announces)
TEST_F(Handles, ALockThatAnotherHoldsIsNotReported) {
  HANDLE file = open(folder_.write("file", ""));
  const Descriptor other(::open("file", O_RDWR | O_CLOEXEC));
  EXPECT_TRUE(done(LockFile(file, 0xFFFFFFF0, 0, 0xFFFFFFF1, 0)));
  struct flock all {
    F_WRLCK, SEEK_SET, 0, 0, 0
  }, found = all;  // of the open file: as another process's
  EXPECT_EQ(fcntl(other.number(), F_OFD_GETLK, &found), 0);
  EXPECT_TRUE(found.l_type == F_WRLCK && found.l_start == 0xFFFFFFF0 && found.l_len == 0xFFFFFFF1);
  EXPECT_TRUE(done(UnlockFile(file, 0xFFFFFFF0, 0, 0xFFFFFFF1, 0)));
  EXPECT_EQ(fcntl(other.number(), F_OFD_SETLK, &all), 0);
  EXPECT_TRUE(done(LockFile(file, 2, 0, 3, 0)));
  EXPECT_TRUE(errorOf(LockFile(file, 0, 1, 1, 0)) == 31 && errorOf(LockFile(file, 0, 0, 1, 1)) == 31);
  EXPECT_TRUE(CloseHandle(file));
}
