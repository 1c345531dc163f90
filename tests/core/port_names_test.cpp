// Port names and their entries in the layer profile.
#include "compat/core/port_names.h"

#include <gtest/gtest.h>

#include "nimboxi/ports.h"
#include "tests/support/locked_layer.h"

namespace nimboxi {
namespace {

TEST(Ports, ANameGivesDeviceAndLineType) {
  LockedLayer layer;
  layer.setPorts(
      "COM3=/dev/a,some Modem on "
      "rs232\nCOM3:=/dev/b\nLPT2:=/dev/c,ParallelPort\nCOM7=,rs232\nCOM8X=/dev/d,RS423\n");
  struct Case {
    const char* label;
    std::string name;
    int32_t size;
    DWORD deviceType;
    const char* path;
  };
  const Case cases[] = {
      {"default", "COM9:", 32, DEVICE_RS232, "/dev/ttyS8"},
      {"one digit counts", "COM12", 32, DEVICE_RS232, "/dev/ttyS0"},
      {"EPT: anywhere", "COMEPT:", 32, DEVICE_RS232, "/dev/ttyS0"},
      {"COM0 is a file", "COM0", 32, DEVICE_FILE, "untouched"},
      {"lower case is a file", "com1", 32, DEVICE_FILE, "untouched"},
      {"the first word of the list decides", "COM3", 32, DEVICE_MODEM, "/dev/a"},
      {"entry without line type", "COM3:", 32, DEVICE_FILE, "/dev/b"},
      {"the key is in upper case", "COM8x", 32, DEVICE_RS423, "/dev/d"},
      {"an entry that loses its line type", "COM3", 5, DEVICE_FILE, "/dev"},
      {"a negative size", "COM1", -4, DEVICE_FILE, "untouched"},
      {"longer than any path", "COM1" + std::string(100'000, 'a'), 32, DEVICE_RS232, "/dev/ttyS0"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    char path[32] = "untouched";
    EXPECT_EQ(MapDeviceName(c.name.c_str(), path, c.size), c.deviceType);
    EXPECT_STREQ(path, c.path);
  }
}

TEST(Ports, AProfileWhosePathLooksLikeAPortIsStillAFile) {
  LockedLayer layer;
  std::filesystem::create_directory("COM1");
  layer.folder().write("COM1/nimboxi.ini", "[Ports]\r\nCOM2=/dev/m,modem\r\n");
  setLayerProfilePath("COM1/nimboxi.ini");
  for (const char* reading : {"first", "again"}) {
    dropProfileCache();
    char path[32];
    EXPECT_EQ(MapDeviceName("COM2", path, sizeof path), DEVICE_MODEM) << reading;
  }
}

}  // namespace
}  // namespace nimboxi
