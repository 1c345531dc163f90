// Opening files and devices: what a creation disposition and a port's entry make of a name.
#include <unistd.h>

#include "tests/core/files/files_fixture.h"

namespace {

struct Opening {
  const char* label;
  const char* name;
  DWORD disposition;
  DWORD access;
  int32_t lastError;
  const char* contents;  // afterwards, with "N" written where it opens
};

// Pins(entry-without-type)
TEST_F(Files, OpenAsTheDispositionSays) {
  const Opening cases[] = {
      {"truncate existing does not", "old", TRUNCATE_EXISTING, GENERIC_WRITE, 0, "Nld"},
      {"open always creates for reading too", "new", OPEN_ALWAYS, GENERIC_READ, 2, "N"},
      {"and what was looked for stays the last error", "new", CREATE_NEW, GENERIC_WRITE, 2, "N"},
      {"create new finds a name that a search hides", ".x", CREATE_NEW, GENERIC_WRITE, 80, "old"},
      {"create new finds what a search finds", "old", CREATE_NEW, GENERIC_WRITE, 80, "old"},
      {"create always for reading empties too", "old", CREATE_ALWAYS, GENERIC_READ, 0, "N"},
      {"a disposition of no name opens", "new", 9, GENERIC_WRITE, 2, ""},
      {"a port without a device", "COM3", OPEN_ALWAYS, GENERIC_WRITE, 31, ""},
      {"an entry without a line type is a file", "COM4", OPEN_EXISTING, GENERIC_WRITE, 0, "Nld"},
  };
  layer_.setPorts("COM3=missing,rs232\nCOM4=/dev/null\n");
  for (const Opening& opening : cases) {
    SCOPED_TRACE(opening.label);
    for (const char* old : {"old", ".x", "COM4"}) folder_.write(old, "old");
    std::filesystem::remove("new");
    SetLastError(kMark);
    HANDLE file = open(opening.name, opening.access, opening.disposition);
    EXPECT_EQ(GetLastError(), opening.lastError);
    const bool opens = *opening.contents == 'N';
    EXPECT_EQ(write(file, "N"), opens);
    EXPECT_EQ(CloseHandle(file), opens);
    EXPECT_EQ(folder_.read(opening.name), opening.contents);
  }
  EXPECT_EQ(open(nullptr), INVALID_HANDLE_VALUE);
}

// A file that is made anew without GENERIC_WRITE can be written, and not read.
TEST_F(Files, AFileMadeForReadingCannotBeRead) {
  HANDLE file = open("new", GENERIC_READ, CREATE_ALWAYS);
  EXPECT_TRUE(write(file, "abc"));
  EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_BEGIN), 0U);
  EXPECT_EQ(read(file, 3), "");
  EXPECT_TRUE(CloseHandle(file));
}

// Pins(device-zero): a device, and a device only, that opens as descriptor 0 counts as not opened.
TEST_F(Files, ADeviceCannotBeDescriptorZero) {
  layer_.setPorts("COM3=/dev/null,rs232\n");
  const int input = dup(STDIN_FILENO);
  for (const auto& [name, lastError] : {std::pair("COM3", 31), {"nimboxi.ini", -1}}) {
    close(STDIN_FILENO);
    HANDLE file = open(name);
    EXPECT_EQ(failure(file != INVALID_HANDLE_VALUE), lastError) << name;
    CloseHandle(file);
    EXPECT_EQ(dup2(input, STDIN_FILENO), STDIN_FILENO);
  }
  EXPECT_EQ(close(input), 0);
}

}  // namespace
