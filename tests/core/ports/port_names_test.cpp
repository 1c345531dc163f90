// Port names and their entries in the layer profile.
#include "compat/core/ports/port_names.h"

#include <gtest/gtest.h>

#include "nimboxi/ports.h"
#include "tests/support/locked_layer.h"

using namespace nimboxi;

// Pins(one-digit-port)
TEST(Ports, ANameGivesDeviceAndLineType) {
  LockedLayer layer;
  layer.setPorts("COM3=/dev/a,some Modem on rs232\nCOM3:=/dev/b\nCOM8X=/dev/d,RS423\n");
  const struct {
    const char* label;
    std::string name;
    int32_t size;
    DWORD deviceType;
    const char* device;
  } cases[] = {
      {"default", "COM9:", 32, DEVICE_RS232, "/dev/ttyS8"},
      {"one digit counts", "COM12", 32, DEVICE_RS232, "/dev/ttyS0"},
      {"EPT: anywhere", "COMEPT:", 32, DEVICE_RS232, "/dev/ttyS0"},
      {"COM0 is a file", "COM0", 32, DEVICE_FILE, "untouched"},
      {"the first word of the list decides", "COM3", 32, DEVICE_MODEM, "/dev/a"},
      {"entry without line type", "COM3:", 32, DEVICE_FILE, "/dev/b"},
      {"the key is in upper case", "COM8x", 32, DEVICE_RS423, "/dev/d"},
      {"an entry that loses its line type", "COM3", 5, DEVICE_FILE, "/dev"},
      {"a negative size", "COM1", -4, DEVICE_FILE, "untouched"},
      {"longer than any path", "COM1" + std::string(100'000, 'a'), 32, DEVICE_RS232, "/dev/ttyS0"},
  };
  for (const auto& [label, name, size, deviceType, device] : cases) {
    char path[32] = "untouched";
    EXPECT_EQ(MapDeviceName(name.c_str(), path, size), deviceType) << label;
    EXPECT_STREQ(path, device) << label;
  }
}
