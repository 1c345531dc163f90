// Calls by name and temporary names, against what the system itself says afterwards.
#include <sys/stat.h>
#include <sys/vfs.h>

#include "nimboxi/finding.h"
#include "tests/core/core_test.h"

using ByName = CoreTest;

TEST_F(ByName, TheWorkingDirectoryIsTheSystems) {
  EXPECT_EQ(fill(length_ + 1, GetCurrentDirectory), Filled(length_, folder_.path()));
  EXPECT_EQ(fill(length_, GetCurrentDirectory), Filled(length_ + 1, "#"));
  EXPECT_TRUE(CreateDirectory("sub", nullptr) && SetCurrentDirectory("sub") && RemoveDirectory("../sub"));
  EXPECT_EQ(failure(GetCurrentDirectory(0, nullptr) != 0), ERROR_CURRENT_DIRECTORY);
  EXPECT_EQ(failure(GetFullPathName("x", 0, nullptr, nullptr) != 0), ERROR_CURRENT_DIRECTORY);
}

// Pins(delete-takes-directories)
TEST_F(ByName, DirectoriesAndFilesComeAndGo) {
  EXPECT_TRUE(CreateDirectory("sub", nullptr));
  EXPECT_EQ(failure(CreateDirectory("sub", nullptr)), ERROR_FILE_EXISTS);
  folder_.write("sub/file", "");
  EXPECT_EQ(failure(RemoveDirectory("sub")), ERROR_DIR_NOT_EMPTY);
  EXPECT_TRUE(DeleteFile("sub/file") && DeleteFile("sub")) << "an empty directory too";
  EXPECT_EQ(GetLastError(), 0);
  for (const auto call : {SetCurrentDirectory, RemoveDirectory, DeleteFile})
    EXPECT_EQ(failure(call(nullptr)), ERROR_FILE_NOT_FOUND);
}

TEST_F(ByName, AttributesAreThePermissionsOfEverybody) {
  folder_.write("f", "");
  ASSERT_EQ(chmod("f", 0750), 0);
  struct stat status;
  for (const auto& [attributes, mode] : {std::pair<DWORD, mode_t>(1, 0554), {0, 0776}}) {
    EXPECT_TRUE(SetFileAttributes("f", attributes));
    ASSERT_EQ(stat("f", &status), 0);
    EXPECT_EQ(status.st_mode & 0777, mode);
    EXPECT_EQ(GetFileAttributes("f"), 32 + attributes);
  }
  EXPECT_TRUE(IsDirectory(".") && GetLastError() == 0);
  EXPECT_EQ(failure(GetFileAttributes("missing") != 0), ERROR_GEN_FAILURE);
  EXPECT_EQ(failure(SetFileAttributes("missing", 1)), ERROR_FILE_NOT_FOUND);
}

// Pins(move-into-writable), Pins(move-drops-drive)
TEST_F(ByName, AMoveOntoAWritableDirectoryGoesIntoIt) {
  for (const char* name : {"a", "d", "locked"}) std::filesystem::create_directory(name);
  ASSERT_EQ(chmod("locked", 0555), 0);
  folder_.write("x:b.txt", "");
  EXPECT_TRUE(MoveFile("x:b.txt", "d") && FileExists("d/b.txt")) << "without its drive";
  EXPECT_EQ(failure(MoveFile("d/b.txt", "locked")), ERROR_INVALID_NAME);
  EXPECT_TRUE(MoveFile("d", "a")) << "a writable directory replaces an empty one";
  EXPECT_TRUE(MoveFile("locked", "a") && IsDirectory("a/locked")) << "a read-only one goes in";
  EXPECT_EQ(failure(MoveFile("a/b.txt", std::string(4092, '/').c_str())), ERROR_LABEL_TOO_LONG);
  EXPECT_FALSE(MoveFile("a", nullptr) || MoveFile(nullptr, "a"));
}

// Pins(disk-blocks-1024), Pins(disk-space-false)
TEST_F(ByName, TheDiskCountsItsOwnBlocksAndTheAnswerIsFalse) {
  DWORD sectors = 9, bytes = 9, unused = 9, total = 9;
  struct statfs status;
  EXPECT_TRUE(statfs(".", &status) == 0 && !GetDiskFreeSpace(".", &sectors, &bytes, &unused, &total));
  EXPECT_TRUE(sectors == 1 && bytes == 1024 && total == static_cast<DWORD>(status.f_blocks));
  EXPECT_FALSE(GetDiskFreeSpace("missing", &sectors, &bytes, &unused, &total) || sectors || bytes || total);
  EXPECT_EQ(GetLastError(), kMark);
}

// Pins(temp-path-backslash)
TEST_F(ByName, TheFolderForTemporaryFilesEndsInABackslash) {
  const auto tempPath = [](const char* tmp, const char* temp, DWORD size) {
    EXPECT_EQ(setenv("TMP", tmp, 1) + setenv("TEMP", temp, 1), 0);
    return fill(size, GetTempPath);
  };
  EXPECT_EQ(tempPath("/tmp", "/t", 6), Filled(5, "/tmp\\"));
  EXPECT_EQ(tempPath("/tmp", "/t", 5), Filled(4, "/tmp"));
  EXPECT_EQ(tempPath("/tmp", "/t", 4), Filled(5, "#"));
  EXPECT_EQ(tempPath("", "/t\\", 99), Filled(3, "/t\\"));
  EXPECT_EQ(tempPath("", "", MAX_PATH_BYTES), Filled(length_ + 1, folder_.path() + "\\"));
  EXPECT_EQ(unsetenv("TMP") + unsetenv("TEMP"), 0);
}

TEST_F(ByName, ATemporaryNameIsFree) {
  char buffer[MAX_PATH_BYTES];
  for (int i = 0; i < 50; ++i) {  // many in one tick
    const DWORD number = GetTempFileName(strcpy(buffer, "."), "wexec", 9, buffer);
    EXPECT_EQ(GetLastError(), 0);
    EXPECT_TRUE(std::filesystem::create_directory(buffer)) << "neither taken nor created";
    EXPECT_EQ(std::stoul(buffer + 7, nullptr, 16), number);
  }
  EXPECT_EQ(failure(GetTempFileName(".", nullptr, 0, buffer) != 0), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(failure(GetTempFileName(".", std::string(4086, 'x').c_str(), 0, buffer) != 0), 154);
  EXPECT_STREQ(buffer, "") << "too long by one";
}
