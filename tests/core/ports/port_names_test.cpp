// Port names and their entries in the layer profile.
#include "compat/core/ports/port_names.h"

#include <gtest/gtest.h>

#include "nimboxi/ports.h"
#include "tests/support/locked_layer.h"

// Pins(one-digit-port)
TEST(Ports, ANameGivesDeviceAndLineType) {
  LockedLayer layer;
  layer.setPorts("COM3=/dev/a,some Modem on rs232\nCOM3:=/dev/b\nCOM8X=/dev/d,RS423\n");
  char path[32];
  const auto device = [&path](const std::string& name, int32_t size = 32) {
    const DWORD type = MapDeviceName(name.c_str(), strcpy(path, "untouched"), size);
    return std::to_string(type) + " " + path;
  };
  using Texts = std::vector<std::string>;
  EXPECT_EQ((Texts{device("COM9:"), device("COM12"), device("COMEPT:"), device("EPT2"), device("COM1", 1),
                   device("COM1" + std::string(100'000, 'a'))}),
            (Texts{"1 /dev/ttyS8", "1 /dev/ttyS0", "1 /dev/ttyS0", "2 /dev/lp1", "1 ", "1 /dev/ttyS0"}));
  EXPECT_EQ((Texts{device("COM0"), device("LPT:"), device("com1"), device("COM1", 0)}),
            Texts(4, "0 untouched"));
  EXPECT_EQ(device("COM3"), "6 /dev/a") << "the first word of the list decides";
  EXPECT_EQ(device("COM3:"), "0 /dev/b") << "without line type";
  EXPECT_EQ(device("COM8x"), "4 /dev/d") << "the key is in upper case";
  EXPECT_EQ(device("COM3", 5), "0 /dev") << "cut, with its line type";
  EXPECT_EQ(MapDeviceName("COM1", nullptr, 32) + MapDeviceName(nullptr, path, 32), 0U);
  const char* entries[] = {"x,none", "x,RS232", "x,parallelport", "x,rs422", "x,rs423", "x,rs449", "x,modem"};
  for (DWORD type = DEVICE_FILE; type <= DEVICE_MODEM; ++type)
    EXPECT_TRUE(ParseLineType(strcpy(path, entries[type])) == type && path == std::string("x")) << type;
  EXPECT_EQ(ParseLineType(nullptr) + ParseLineType(strcpy(path, "modem")), 0U);
}
