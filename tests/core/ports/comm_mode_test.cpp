// Mode strings of serial lines.
#include "compat/core/ports/comm_mode.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

using namespace nimboxi;

constexpr DWORD kEnabled = DCB_DTR_CONTROL_ENABLE | DCB_RTS_CONTROL_ENABLE;

// Pins(two-stops-at-110), Pins(keyword-values-dropped), Pins(parity-ninth-character)
TEST(CommMode, GivesALine) {
  const struct {
    const char* mode;
    DWORD baudRate, flags;
    BYTE byteSize, parity, stopBits;
  } cases[] = {
      {"110,n,8,1", 110, kEnabled, 8, NOPARITY, TWOSTOPBITS},
      {"COM1:9600,n,8,1", 9600, kEnabled, 8, NOPARITY, ONESTOPBIT},
      {"comX: 14400 E , 7  2,x", 14400, DCB_PARITY | 0x300 | kEnabled, 7, EVENPARITY, TWOSTOPBITS},
      {"4294967295,m,0,1,P", 4294967295, DCB_PARITY | 0xC | 2 * kEnabled, 0, MARKPARITY, ONESTOPBIT},
      {"75,Odd,5,1,?,x", 75, DCB_PARITY | kEnabled, 5, ODDPARITY, ONESTOPBIT},
      {"baud=110 data=8  stop=1", 0, 0, 0, NOPARITY, ONESTOPBIT},
      {"parity=e", 0, DCB_PARITY, 0, NOPARITY, 0},
      {"COM2: parity=nE baud=1", 0, DCB_PARITY, 0, EVENPARITY, 0},
      {"parity=?o parity=?N", 0, 0, 0, NOPARITY, 0},
  };
  for (const auto& [mode, baudRate, flags, byteSize, parity, stopBits] : cases) {
    DCB dcb;
    std::memset(&dcb, 0xA5, sizeof dcb);
    EXPECT_EQ(parseCommMode(mode, dcb), 0) << mode;
    const DCB expected{28, baudRate, flags, 0, 0, 0, byteSize, parity, stopBits, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(std::memcmp(&dcb, &expected, sizeof dcb), 0) << mode << dcb.flags;
  }
}

TEST(CommMode, SaysWhatIsWrong) {
  DCB dcb{};
  EXPECT_EQ(parseCommMode(nullptr, dcb), -5);
  EXPECT_EQ(parseCommMode("com0:9600,n,8,1", dcb), -5);
  EXPECT_EQ(dcb.DCBlength, 0U) << "untouched";
  const auto errorOf = [&dcb](const std::string& mode) { return parseCommMode(mode.c_str(), dcb); };
  for (const char* mode : {",,,,,", "     ,", "0,n,8,1", "9x,n,8,1", "4294967296,n,8,1", "-9600,n,8,1"})
    EXPECT_EQ(errorOf(mode), -12) << mode;
  for (const char* mode : {"COM0:9600,n,8,1", "COM10:9600,n,8,1", "command", "9600,s,8,1", "9600,,8,1",
                           "9600,n", "9600,n,x,1", "9600,n,18,1", "9600,n,8", "9600,n,8,1.5", "9600,n,8,0,x",
                           "BAUD=9600", "baud=1 mode=2", "parity= e=?", "\xFF\xFE\x80\x81\x82"}) {
    EXPECT_EQ(errorOf(mode), -5) << mode;
  }
  const std::string lengths[] = {"", "1,n,", "9600,n,8,1" + std::string(41, ' '), std::string(100'000, ',')};
  for (const std::string& mode : lengths) EXPECT_EQ(errorOf(mode), 31) << mode.size();
}
