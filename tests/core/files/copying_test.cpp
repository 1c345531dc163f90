// Copies of whole files, those that fail among them.
#include <sys/stat.h>

#include "tests/core/core_test.h"

using Copying = CoreTest;

TEST_F(Copying, ACopyIsCompleteAndKeepsTheAttributes) {
  for (std::size_t size : {0U, 65535U, 65536U, 65537U}) {
    folder_.write("from", std::string(size, 'x'));
    folder_.write("to", "longer or shorter than what is copied over it");
    EXPECT_TRUE(CopyFile("from", "to", FALSE));
    EXPECT_TRUE(folder_.read("to") == std::string(size, 'x')) << size;
  }
  ASSERT_EQ(chmod("from", 0555), 0);
  EXPECT_TRUE(CopyFile("from", "copy", TRUE) && GetLastError() == 0);
  EXPECT_EQ(GetFileAttributes("copy"), 33U) << "read-only";
}

TEST_F(Copying, ACopyThatFailsSaysWhyAndLosesNothing) {
  folder_.write("from", "source");
  folder_.write("to", "target");
  std::filesystem::create_symlink("from", "link");
  std::filesystem::create_hard_link("from", "hard");
  layer_.setPorts("COM3=/proc/self/mem,rs232\nDelay=-1\n");  // opens, and fails to read its first byte
  const struct {
    const char *existingName, *newName;
    BOOL failIfExists;
    int32_t lastError;
  } cases[] = {{"from", "to", TRUE, ERROR_FILE_EXISTS},
               {"missing", "to", FALSE, ERROR_FILE_NOT_FOUND},
               {"from", "no/folder", FALSE, ERROR_FILE_NOT_FOUND},
               {"COM3", "new", FALSE, ERROR_READ_FAULT},
               {"from", "link", FALSE, ERROR_GEN_FAILURE},
               {"hard", "from", FALSE, ERROR_GEN_FAILURE},
               {"from", "/dev/full", FALSE, ERROR_WRITE_FAULT}};
  for (const auto& [existingName, newName, failIfExists, lastError] : cases) {
    SCOPED_TRACE(newName);
    EXPECT_EQ(failure(CopyFile(existingName, newName, failIfExists)), lastError);
    EXPECT_EQ(folder_.read("from"), "source");
    EXPECT_EQ(folder_.read("to"), "target");
  }
}
