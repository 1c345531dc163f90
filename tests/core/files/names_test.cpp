// Calls by name, against what the system itself says afterwards.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include "nimboxi/errors.h"
#include "nimboxi/files.h"
#include "nimboxi/finding.h"
#include "tests/support/locked_layer.h"

namespace nimboxi {
namespace {

using Filled = std::pair<DWORD, std::string>;

// What a call returns and leaves in a buffer of `size` bytes, which holds "#" before.
Filled fill(DWORD size, DWORD (*call)(DWORD, char*)) {
  const auto bytes = std::make_unique<char[]>(size);  // the sanitizers see its end
  if (size > 1) bytes[0] = '#';
  const DWORD length = call(size, bytes.get());
  return {length, size == 0 ? "" : bytes.get()};
}

class FileSystem : public testing::Test {
 protected:
  // Why a call failed; -1 when it did not.
  static int32_t failure(BOOL answer) { return answer ? -1 : GetLastError(); }

  LockedLayer layer_;
  const std::string& folder_ = layer_.folder().path();
  const DWORD length_ = static_cast<DWORD>(folder_.size());
};

TEST_F(FileSystem, TheWorkingDirectoryIsTheSystems) {
  EXPECT_EQ(fill(length_ + 1, GetCurrentDirectory), Filled(length_, folder_));
  EXPECT_EQ(fill(length_, GetCurrentDirectory), Filled(length_ + 1, "#"));
  EXPECT_TRUE(CreateDirectory("sub", nullptr) && SetCurrentDirectory("sub") && RemoveDirectory("../sub"));
  EXPECT_EQ(failure(GetFullPathName("x", 0, nullptr, nullptr) != 0), ERROR_CURRENT_DIRECTORY);
}

TEST_F(FileSystem, DirectoriesAndFilesComeAndGo) {
  EXPECT_TRUE(CreateDirectory("sub", nullptr));
  layer_.folder().write("sub/file", "");
  EXPECT_EQ(failure(RemoveDirectory("sub")), ERROR_DIR_NOT_EMPTY);
  EXPECT_TRUE(DeleteFile("sub/file") && DeleteFile("sub")) << "an empty directory too";
  for (const auto call : {SetCurrentDirectory, RemoveDirectory, DeleteFile})
    EXPECT_EQ(failure(call(nullptr)), ERROR_FILE_NOT_FOUND);
}

TEST_F(FileSystem, AttributesAreThePermissionsOfEverybody) {
  layer_.folder().write("f", "");
  ASSERT_EQ(chmod("f", 0750), 0);
  struct stat status;
  const std::pair<DWORD, mode_t> changes[] = {{1, 0554}, {0, 0776}};
  for (const auto& [attributes, mode] : changes) {
    EXPECT_TRUE(SetFileAttributes("f", attributes));
    ASSERT_EQ(stat("f", &status), 0);
    EXPECT_EQ(status.st_mode & 0777, mode);
    EXPECT_EQ(GetFileAttributes("f"), 32 + attributes);
  }
  EXPECT_TRUE(IsDirectory("."));
  EXPECT_EQ(GetFileAttributes("missing"), 0U);
  EXPECT_EQ(GetLastError(), ERROR_GEN_FAILURE);
}

TEST_F(FileSystem, AMoveOntoAWritableDirectoryGoesIntoIt) {
  for (const char* name : {"a", "d", "locked"}) std::filesystem::create_directory(name);
  ASSERT_EQ(chmod("locked", 0555), 0);
  layer_.folder().write("x:b.txt", "");
  EXPECT_TRUE(MoveFile("x:b.txt", "d") && FileExists("d/b.txt")) << "without its drive";
  EXPECT_EQ(failure(MoveFile("d/b.txt", "locked")), ERROR_INVALID_NAME);
  EXPECT_TRUE(MoveFile("d", "a")) << "a writable directory replaces an empty one";
  EXPECT_EQ(failure(MoveFile("a/b.txt", std::string(4092, '/').c_str())), ERROR_LABEL_TOO_LONG);
  EXPECT_FALSE(MoveFile("a", nullptr) || MoveFile(nullptr, "a"));
}

TEST_F(FileSystem, ASplitCutsToItsBuffers) {
  std::vector<char> name(MAX_PATH_BYTES, '#'), extension(MAX_PATH_BYTES, '#');
  SplitPath("x/y.z", nullptr, nullptr, nullptr, extension.data());
  EXPECT_STREQ(extension.data(), "") << "it comes with the name alone";
  SplitPath((std::string(5000, 'y') + ".z").c_str(), nullptr, nullptr, name.data(), extension.data());
  EXPECT_EQ(std::string(name.data()) + extension.data(), std::string(4095, 'y') + ".z");
}

TEST_F(FileSystem, TheFolderForTemporaryFilesEndsInABackslash) {
  const std::tuple<const char*, const char*, DWORD, Filled> cases[] = {
      {"/tmp", "/t", 6, {5, "/tmp\\"}},
      {"/tmp", "/t", 5, {4, "/tmp"}},
      {"", "/t\\", 99, {3, "/t\\"}},
      {"", "", MAX_PATH_BYTES, {length_ + 1, folder_ + "\\"}},
  };
  for (const auto& [tmp, temp, size, filled] : cases) {
    setenv("TMP", tmp, 1);
    setenv("TEMP", temp, 1);
    EXPECT_EQ(fill(size, GetTempPath), filled) << tmp << ", " << temp << ", " << size;
  }
  EXPECT_EQ(unsetenv("TMP") + unsetenv("TEMP"), 0);
}

TEST_F(FileSystem, ATemporaryNameIsFree) {
  char buffer[MAX_PATH_BYTES];
  for (int i = 0; i < 50; ++i) {  // many in one tick
    const DWORD number = GetTempFileName(strcpy(buffer, "."), "wexec", 9, buffer);
    EXPECT_TRUE(std::filesystem::create_directory(buffer)) << "neither taken nor created";
    EXPECT_EQ(std::stoul(buffer + 7, nullptr, 16), number);
  }
  EXPECT_EQ(failure(GetTempFileName(".", std::string(4086, 'x').c_str(), 0, buffer) != 0), 154);
  EXPECT_STREQ(buffer, "") << "too long by one";
}

TEST_F(FileSystem, AFullPathIsCutToItsBuffer) {
  for (DWORD size : {1U, 5U, length_ + 2, length_ + 3}) {
    std::vector<char> buffer(size, '#');
    char* filePart;
    EXPECT_EQ(GetFullPathName("./x", size, buffer.data(), &filePart), length_ + 2);
    EXPECT_EQ(filePart, buffer.data() + std::min(size - 1, 3U));
    EXPECT_EQ(std::string(buffer.data()), (folder_ + "/x").substr(0, size - 1));
  }
}

TEST_F(FileSystem, TheDiskCountsItsOwnBlocksAndTheAnswerIsFalse) {
  DWORD sectors = 9, bytes = 9, unused = 9, total = 9;
  struct statfs status;
  EXPECT_TRUE(statfs(".", &status) == 0 && !GetDiskFreeSpace(".", &sectors, &bytes, &unused, &total));
  EXPECT_TRUE(sectors == 1 && bytes == 1024 && total == static_cast<DWORD>(status.f_blocks));
  EXPECT_FALSE(GetDiskFreeSpace("missing", &sectors, &bytes, &unused, &total) || sectors || bytes || total);
}

}  // namespace
}  // namespace nimboxi
