// Opening files and devices: what a creation disposition and a port's entry make of a name.
#include <unistd.h>

#include "tests/core/core_test.h"

using Opening = CoreTest;

// Pins(entry-without-type)
TEST_F(Opening, IsAsTheDispositionSays) {
  const struct {
    const char *label, *name;
    DWORD disposition, access;
    int32_t lastError;
    const char* contents;  // afterwards, with "N" written where it opens
  } cases[] = {
      {"truncate existing does not", "old", TRUNCATE_EXISTING, GENERIC_WRITE, 0, "Nld"},
      {"open always creates for reading too", "new", OPEN_ALWAYS, GENERIC_READ, 2, "N"},
      {"what was looked for stays the last error", "new", CREATE_NEW, GENERIC_WRITE, 2, "N"},
      {"create new finds a name that a search hides", ".x", CREATE_NEW, GENERIC_WRITE, 80, "old"},
      {"create always for reading empties too", "old", CREATE_ALWAYS, GENERIC_READ, 0, "N"},
      {"any other disposition opens", "new", 9, GENERIC_WRITE, 2, ""},
      {"a port without a device", "COM3", OPEN_ALWAYS, GENERIC_WRITE, 31, ""},
      {"an entry without a line type is a file", "COM4", OPEN_EXISTING, GENERIC_WRITE, 0, "Nld"},
  };
  layer_.setPorts("COM3=missing,rs232\nCOM4=/dev/null\n");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    for (const char* old : {"old", ".x", "COM4"}) folder_.write(old, "old");
    std::filesystem::remove("new");
    HANDLE file = open(c.name, c.access, c.disposition);
    EXPECT_EQ(failure(false), c.lastError);
    const bool opens = *c.contents == 'N';
    EXPECT_EQ(write(file, "N"), opens);
    const bool reads = SetFilePointer(file, 0, nullptr, FILE_BEGIN) == 0 && read(file, 1) == "N";
    EXPECT_EQ(reads, opens && c.access == GENERIC_WRITE) << "not what is made anew for reading";
    EXPECT_EQ(CloseHandle(file), opens);
    EXPECT_EQ(folder_.read(c.name), c.contents);
  }
}

// Pins(device-zero): a device, and no other, that opens as descriptor 0 counts as not opened.
TEST_F(Opening, NoDeviceIsDescriptorZero) {
  layer_.setPorts("COM3=/dev/null,rs232\n");
  const int input = dup(STDIN_FILENO);
  for (const auto& [name, lastError] : {std::pair("COM3", 31), {"nimboxi.ini", -1}}) {
    close(STDIN_FILENO);
    HANDLE file = open(name);
    EXPECT_EQ(failure(file != INVALID_HANDLE_VALUE), lastError) << name;
    CloseHandle(file);
    dup2(input, STDIN_FILENO);
  }
  close(input);
}
