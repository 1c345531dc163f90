// Files and serial ports behind handles, copies, attributes, and the last errors of all these calls.
#include "nimboxi/files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "compat/core/errno_map.h"
#include "nimboxi/errors.h"
#include "nimboxi/handles.h"
#include "tests/support/locked_layer.h"
#include "tests/support/pseudo_terminal.h"

namespace nimboxi {
namespace {

class Files : public testing::Test {
 protected:
  static HANDLE open(const char* name, DWORD access = GENERIC_WRITE, DWORD disposition = OPEN_EXISTING) {
    return CreateFile(name, access, 0, nullptr, disposition, 0, nullptr);
  }
  static std::string read(HANDLE file, DWORD count) {
    std::string bytes(count, '#');
    DWORD size = 0;
    EXPECT_TRUE(ReadFile(file, bytes.data(), count, &size));
    return bytes.substr(0, size);
  }
  static bool write(HANDLE file, const std::string& bytes) {
    return WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr);
  }

  LockedLayer layer_;
  const TempFolder& folder_ = layer_.folder();
};

TEST(ErrnoMap, GivesTheLastError) {
  const std::pair<int, int32_t> cases[] = {
      {EPERM, 19},  {ENOENT, 2},         {ENOMEM, 8},      {EACCES, 5},   {EFAULT, 115}, {EBUSY, 148},
      {EEXIST, 80}, {EXDEV, 17},         {ENOTDIR, 123},   {EISDIR, 123}, {EINVAL, 12},  {EROFS, 19},
      {EIO, 31},    {ENAMETOOLONG, 154}, {ENOTEMPTY, 145}, {ELOOP, 31},   {0, 31},       {-1, 31},
  };
  for (const auto& [error, lastError] : cases) EXPECT_EQ(lastErrorOfErrno(error), lastError) << error;
}

TEST_F(Files, OpenAsTheDispositionSays) {
  struct Case {
    const char* label;
    const char* name;
    DWORD disposition;
    DWORD access;
    int32_t lastError;     // 0: it opens
    const char* contents;  // afterwards, with "N" written when it opens
  };
  const Case cases[] = {
      {"truncate existing does not", "old", TRUNCATE_EXISTING, GENERIC_WRITE, 0, "Nld"},
      {"open always creates for reading too", "new", OPEN_ALWAYS, GENERIC_READ, 0, "N"},
      {"create new finds one", "old", CREATE_NEW, GENERIC_WRITE, 80, "old"},
      {"create new finds a name that a search hides", ".x", CREATE_NEW, GENERIC_WRITE, 80, "old"},
      {"create always for reading empties too", "old", CREATE_ALWAYS, GENERIC_READ, 0, "N"},
      {"a port without a device", "COM3", OPEN_ALWAYS, GENERIC_WRITE, ERROR_GEN_FAILURE, ""},
      {"an entry without a line type is a file", "COM4", OPEN_EXISTING, GENERIC_WRITE, 0, "Nld"},
  };
  layer_.setPorts("COM3=missing,rs232\nCOM4=/dev/null\n");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    std::filesystem::remove("new");
    for (const char* name : {"old", ".x", "COM4"}) folder_.write(name, "old");
    HANDLE file = open(c.name, c.access, c.disposition);
    EXPECT_EQ(file == INVALID_HANDLE_VALUE ? GetLastError() : 0, c.lastError);
    EXPECT_EQ(write(file, "N"), c.lastError == 0);
    EXPECT_EQ(CloseHandle(file), c.lastError == 0);
    EXPECT_EQ(folder_.read(c.name), c.contents);
  }
}

TEST_F(Files, BadHandlesAreReportedTwoWays) {
  for (HANDLE handle : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
    EXPECT_FALSE(write(handle, "a") || LockFile(handle, 0, 0, 1, 0) || ReadFile(handle, nullptr, 0, nullptr));
    EXPECT_EQ(GetLastError(), 31);
    EXPECT_FALSE(SetEndOfFile(handle) || GetFileSizeEx(handle, nullptr));
    EXPECT_EQ(GetLastError(), 6);
  }
}

TEST_F(Files, ReadsWritesAndSeeksMayAlternate) {
  HANDLE file = open(folder_.write("file", "abcdefgh").c_str());
  EXPECT_EQ(read(file, 2), "ab");
  EXPECT_TRUE(write(file, "XY"));
  EXPECT_EQ(GetFileSize(file, nullptr), 8U) << "leaves the position";
  EXPECT_EQ(read(file, 2), "ef");
  EXPECT_TRUE(SetEndOfFile(file));
  EXPECT_EQ(read(file, 5), "") << "what was read ahead is gone";
  EXPECT_TRUE(write(file, "Z"));
  EXPECT_TRUE(FlushFileBuffers(file));
  EXPECT_EQ(folder_.read("file"), "abXYefZ");
  EXPECT_EQ(SetFilePointer(file, 2, nullptr, 9), 2U) << "an unknown method is from the start";
  EXPECT_EQ(SetFilePointer(file, -1, nullptr, FILE_BEGIN), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_ACCESS);
  EXPECT_TRUE(CloseHandle(file));
}

TEST_F(Files, ACloseThatFailedKeepsTheHandle) {
  HANDLE file = open("/dev/full");
  EXPECT_TRUE(write(file, "still in the buffer"));
  EXPECT_FALSE(CloseHandle(file));
  EXPECT_EQ(GetLastError(), ERROR_GEN_FAILURE);
  EXPECT_FALSE(write(file, "there is no stream any more"));
  EXPECT_TRUE(CloseHandle(file));
}

TEST_F(Files, ALockThatAnotherHoldsIsNotReported) {
  HANDLE file = open(folder_.write("file", "").c_str());
  const Descriptor other(::open("file", O_RDWR | O_CLOEXEC));
  EXPECT_TRUE(LockFile(file, 2, 0, 3, 0));
  struct flock lock {};
  lock.l_type = F_WRLCK;  // of all bytes, for the open file: it conflicts as another process's would
  EXPECT_EQ(fcntl(other.number(), F_OFD_SETLK, &lock), -1);
  EXPECT_TRUE(UnlockFile(file, 2, 0, 3, 0));
  EXPECT_EQ(fcntl(other.number(), F_OFD_SETLK, &lock), 0);
  EXPECT_TRUE(LockFile(file, 2, 0, 3, 0));
  EXPECT_TRUE(CloseHandle(file));
}

TEST_F(Files, ASerialPortGivesWhatHasArrivedAndIsWrittenPastTheBuffer) {
  PseudoTerminal terminal(5);  // a read would wait for the first byte for ever
  layer_.setPorts("COM3=" + terminal.path() + ",rs232\nDelay=-1\n");
  HANDLE port = open("COM3");
  EXPECT_EQ(read(port, 10), "");
  EXPECT_EQ(terminal.settings().c_cc[VTIME], 5) << "restored";
  EXPECT_TRUE(write(port, "hello"));
  char bytes[8] = "";
  EXPECT_EQ(::read(terminal.farEnd(), bytes, sizeof bytes), 5);
  terminal.hangUp();
  EXPECT_FALSE(write(port, "lost"));
  EXPECT_EQ(GetLastError(), ERROR_WRITE_FAULT);
  EXPECT_TRUE(CloseHandle(port));
}

// A file cannot be drained: it is tried again until the delay has passed, 120 seconds if none is set.
TEST_F(Files, ASerialLineDrainsNoLongerThanTheDelay) {
  layer_.setPorts("COM1=" + folder_.write("plain", "") + ",modem\nDelay=1\n");
  HANDLE port = open("COM1");
  const std::time_t start = std::time(nullptr);
  EXPECT_TRUE(CloseHandle(port));
  EXPECT_LT(std::time(nullptr) - start, 60);
}

TEST_F(Files, ACopyIsCompleteAndKeepsTheAttributes) {
  for (std::size_t size : {0U, 65535U, 65536U, 65537U}) {
    const std::string contents(size, 'x');
    folder_.write("from", contents);
    folder_.write("to", "longer or shorter than what is copied over it");
    EXPECT_TRUE(CopyFile("from", "to", FALSE));
    EXPECT_TRUE(folder_.read("to") == contents) << size;
  }
  ASSERT_EQ(chmod("from", 0555), 0);
  EXPECT_TRUE(CopyFile("from", "copy", TRUE));
  EXPECT_EQ(GetFileAttributes("copy"), 33U) << "read-only";
}

TEST_F(Files, ACopyThatFailsSaysWhyAndLosesNothing) {
  folder_.write("from", "source");
  folder_.write("to", "target");
  std::filesystem::create_symlink("from", "link");
  std::filesystem::create_hard_link("from", "hard");
  // It opens for reading and writing and fails to read its first byte: 0xFFFFFFFF bytes.
  layer_.setPorts("COM3=/proc/self/mem,rs232\nDelay=-1\n");
  struct Case {
    const char* label;
    const char* existingName;
    const char* newName;
    BOOL failIfExists;
    int32_t lastError;
  };
  const Case cases[] = {
      {"the target is there", "from", "to", TRUE, ERROR_FILE_EXISTS},
      {"a port that cannot be read", "COM3", "new", FALSE, ERROR_READ_FAULT},
      {"onto itself by a link", "from", "link", FALSE, ERROR_GEN_FAILURE},
      {"onto itself by another name", "hard", "from", FALSE, ERROR_GEN_FAILURE},
      {"a full disk that shows at the end", "from", "/dev/full", FALSE, ERROR_WRITE_FAULT},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    EXPECT_FALSE(CopyFile(c.existingName, c.newName, c.failIfExists));
    EXPECT_EQ(GetLastError(), c.lastError);
    EXPECT_EQ(folder_.read("from"), "source");
    EXPECT_EQ(folder_.read("to"), "target");
  }
}

}  // namespace
}  // namespace nimboxi
