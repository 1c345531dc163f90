// Files and serial ports behind handles, copies, attributes, and the last errors of all these calls.
#include "nimboxi/files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "nimboxi/errors.h"
#include "nimboxi/handles.h"
#include "tests/support/locked_layer.h"
#include "tests/support/test_client.h"

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

TEST_F(Files, OpenAsTheDispositionSays) {
  // The last error, 0 when it opens, and the contents afterwards, with "N" written when it opens.
  const std::tuple<const char*, const char*, DWORD, DWORD, int32_t, const char*> cases[] = {
      {"truncate existing does not", "old", TRUNCATE_EXISTING, GENERIC_WRITE, 0, "Nld"},
      {"open always creates for reading too", "new", OPEN_ALWAYS, GENERIC_READ, 0, "N"},
      {"create new finds a name that a search hides", ".x", CREATE_NEW, GENERIC_WRITE, 80, "old"},
      {"create always for reading empties too", "old", CREATE_ALWAYS, GENERIC_READ, 0, "N"},
      {"a port without a device", "COM3", OPEN_ALWAYS, GENERIC_WRITE, ERROR_GEN_FAILURE, ""},
      {"an entry without a line type is a file", "COM4", OPEN_EXISTING, GENERIC_WRITE, 0, "Nld"},
  };
  layer_.setPorts("COM3=missing,rs232\nCOM4=/dev/null\n");
  for (const auto& [label, name, disposition, access, lastError, contents] : cases) {
    SCOPED_TRACE(label);
    for (const char* old : {"old", ".x", "COM4"}) folder_.write(old, "old");
    HANDLE file = open(name, access, disposition);
    EXPECT_EQ(file == INVALID_HANDLE_VALUE ? GetLastError() : 0, lastError);
    EXPECT_EQ(write(file, "N"), lastError == 0);
    EXPECT_EQ(CloseHandle(file), lastError == 0);
    EXPECT_EQ(folder_.read(name), contents);
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
  EXPECT_TRUE(write(file, "Z") && FlushFileBuffers(file));
  EXPECT_EQ(folder_.read("file"), "abXYefZ") << "what was read ahead is gone";
  EXPECT_EQ(SetFilePointer(file, 2, nullptr, 9), 2U) << "an unknown method is from the start";
  EXPECT_EQ(SetFilePointer(file, -1, nullptr, FILE_BEGIN), INVALID_SET_FILE_POINTER);
  EXPECT_TRUE(CloseHandle(file));
}

TEST_F(Files, ACloseThatFailedKeepsTheHandle) {
  HANDLE file = open("/dev/full");
  EXPECT_TRUE(write(file, "still in the buffer"));
  EXPECT_FALSE(CloseHandle(file));
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

TEST_F(Files, ACopyIsCompleteAndKeepsTheAttributes) {
  for (std::size_t size : {0U, 65535U, 65536U, 65537U}) {
    folder_.write("from", std::string(size, 'x'));
    folder_.write("to", "longer or shorter than what is copied over it");
    EXPECT_TRUE(CopyFile("from", "to", FALSE));
    EXPECT_TRUE(folder_.read("to") == std::string(size, 'x')) << size;
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
  const std::tuple<const char*, const char*, BOOL, int32_t> cases[] = {
      {"from", "to", TRUE, ERROR_FILE_EXISTS},
      {"COM3", "new", FALSE, ERROR_READ_FAULT},
      {"from", "link", FALSE, ERROR_GEN_FAILURE},
      {"hard", "from", FALSE, ERROR_GEN_FAILURE},
      {"from", "/dev/full", FALSE, ERROR_WRITE_FAULT}};
  for (const auto& [existingName, newName, failIfExists, lastError] : cases) {
    SCOPED_TRACE(newName);
    EXPECT_FALSE(CopyFile(existingName, newName, failIfExists));
    EXPECT_EQ(GetLastError(), lastError);
    EXPECT_EQ(folder_.read("from"), "source");
    EXPECT_EQ(folder_.read("to"), "target");
  }
}

}  // namespace
}  // namespace nimboxi
