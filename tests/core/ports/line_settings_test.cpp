// DCB and terminal settings, one made from the other.
#include "compat/core/ports/line_settings.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace nimboxi;

constexpr DWORD kDtr = DCB_DTR_CONTROL_ENABLE, kRts = DCB_RTS_CONTROL_ENABLE;
constexpr DWORD kNoSwitch = DCB_DTR_CONTROL | DCB_OUT_DSR_FLOW | DCB_RTS_CONTROL;

// Every flag set, or none, and every control character with a value of its own.
static termios settingsOf(tcflag_t flags) {
  termios settings{};
  settings.c_iflag = settings.c_oflag = settings.c_lflag = settings.c_cflag = flags;
  for (cc_t i = 0; i < NCCS; ++i) settings.c_cc[i] = static_cast<cc_t>(i + 100);
  return settings;
}

TEST(LineSettings, ARawLineChangesTheNamedFlagsAlone) {
  constexpr tcflag_t kAll = 0xFFFFFFFF, kParity = PARENB | PARODD | CMSPAR;
  termios full = settingsOf(kAll), empty = settingsOf(0);
  ASSERT_EQ(applyDcb({28, 9600, 0, 0, 0, 0, 8, 0, 0, 17, 0, 0, static_cast<char>(255), 0, 0}, full), 0);
  ASSERT_EQ(applyDcb({28, 9600, 0, 0, 0, 0, 8, 0, 0, 0, 19, 0, 0, 0, 0}, empty), 0);
  // The top bit is the C library's own: an input speed of 0.
  EXPECT_EQ(full.c_iflag, (kAll >> 1) & ~tcflag_t{BRKINT | ISTRIP | INLCR | IGNCR | ICRNL | IXON | IXOFF});
  EXPECT_EQ(full.c_oflag, kAll & ~tcflag_t{OPOST});
  EXPECT_EQ(full.c_lflag, kAll & ~tcflag_t{ISIG | ICANON | ECHO});
  EXPECT_EQ(full.c_cflag & (HUPCL | CSTOPB | kParity | CRTSCTS), 0U);
  EXPECT_TRUE(empty.c_iflag == IGNBRK && empty.c_oflag == 0 && empty.c_lflag == NOFLSH);
  EXPECT_EQ(empty.c_cflag, tcflag_t{CLOCAL | CREAD | CS8 | B9600});
  for (cc_t i = 0; i < NCCS; ++i) {
    const int value = i == VINTR || i == VMIN || (i >= VSWTC && i <= VEOL2) ? 0 : i + 100;
    EXPECT_EQ(full.c_cc[i], i == VSTART ? 17 : (i == VEOF ? 255 : value)) << int{i};
    EXPECT_EQ(empty.c_cc[i], i == VSTOP ? 19 : (i == VEOF ? 4 : value)) << int{i};
  }
}

// Pins(dtr-disables-flow), Pins(input-check-kept)
TEST(LineSettings, ALineIsAsItsDcbSaysOrUnchanged) {
  const struct {
    const char* label;
    DWORD baudRate, flags;
    BYTE byteSize, parity, stopBits;
    int32_t error;
    tcflag_t control, input, before = 0;
  } cases[] = {
      {"a bad rate comes first", 0, DCB_PARITY, 9, 9, 9, -12, 0, 0},
      {"9 data bits", 110, 0, 9, 0, 0, -11, 0, 0},
      {"mark", 9600, DCB_PARITY, 8, MARKPARITY, 0, -11, 0, 0},
      {"1.5 stop bits", 9600, 0, 8, 0, 1, -11, 0, 0},
      {"no fParity, no look at the parity", 110, 0, 5, MARKPARITY, 0, 0, CS5, INPCK},
      {"none, and a disabled DTR", 300, DCB_PARITY | DCB_OUT_CTS_FLOW | kRts, 6, 0, 2, 0, CS6 | CSTOPB, 0},
      {"a disabled DTR switches off", 300, 0, 8, 0, 0, 0, CS8, INPCK, CRTSCTS},
      {"odd, in", 57600, DCB_PARITY | DCB_IN_X, 7, ODDPARITY, 0, 0, CS7 | PARENB | PARODD, INPCK | IXOFF},
      {"even, out", 38400, DCB_PARITY | DCB_OUT_X, 8, EVENPARITY, 0, 0, CS8 | PARENB, INPCK | IXON},
      {"DTR enabled is enough", 230400, kDtr, 8, 0, 0, 0, CS8 | CRTSCTS, INPCK},
      {"RTS enabled is enough", 600, 2 * kDtr | kRts, 8, 0, 0, 0, CS8 | CRTSCTS, INPCK},
      {"CTS", 1200, 2 * kDtr | DCB_OUT_CTS_FLOW, 8, 0, 0, 0, CS8 | CRTSCTS, INPCK},
      {"no other is", 2400, kNoSwitch, 8, 0, 0, 0, CS8, INPCK},
      {"what nothing switches stays", 2400, kNoSwitch, 8, 0, 0, 0, CS8 | CRTSCTS, INPCK, CRTSCTS},
  };
  for (const auto& line : cases) {
    SCOPED_TRACE(line.label);
    DCB dcb{28,          line.baudRate, line.flags, 0,  0,  0,  line.byteSize,
            line.parity, line.stopBits, {},         {}, {}, {}, {},
            {}};
    termios before = settingsOf(INPCK);
    before.c_cflag |= line.before;
    termios settings = before;
    EXPECT_EQ(applyDcb(dcb, settings), line.error);
    EXPECT_EQ(std::memcmp(&settings, &before, sizeof before) == 0, line.error != 0);
    if (line.error != 0) continue;
    EXPECT_EQ(settings.c_cflag & (CSIZE | CSTOPB | PARENB | PARODD | CRTSCTS), line.control);
    EXPECT_EQ(settings.c_iflag & (INPCK | IXON | IXOFF), line.input);
    DCB read{};
    updateDcb(settings, read);
    EXPECT_EQ(read.BaudRate + read.ByteSize, line.baudRate + line.byteSize);
    EXPECT_EQ(read.StopBits, line.stopBits);
  }
}

// Pins(flow-bits-cross), Pins(parity-flag-kept)
TEST(LineSettings, ADcbTakesWhatTheLineTells) {
  const struct {
    const char* label;
    DWORD before;
    tcflag_t control, input;
    DWORD after;
  } cases[] = {
      {"IXON is fInX", DCB_OUT_X, CREAD, IXON, DCB_BINARY | DCB_IN_X},
      {"IXOFF is fOutX", DCB_IN_X, CREAD, IXOFF, DCB_BINARY | DCB_OUT_X},
      {"fParity stays without parity", DCB_PARITY, CREAD, 0, DCB_BINARY | DCB_PARITY},
      {"fParity goes with parity alone", DCB_PARITY, PARENB | PARODD, 0, DCB_BINARY},
      {"hardware", 0x3830, CRTSCTS, 0, 0x101D},
      {"no hardware keeps CTS and DSR", 0xFFFFFFFF, CREAD, 0, 0xFFFFC4CF},
  };
  for (const auto& [label, before, control, input, after] : cases) {
    const termios settings{input, 0, control, 0, 0, {0, 0, 0, 0, 26}, 0, 0};
    DCB dcb{1, 14400, before, 2, 3, 4, 9, EVENPARITY, 9, 'n', 'f', 'r', 'e', 'v', 5};
    updateDcb(settings, dcb);
    const DCB expected{1, 14400, after, 2, 10, 10, 5, EVENPARITY, 0, 'n', 'f', 'r', 26, 'v', 5};
    EXPECT_EQ(std::memcmp(&dcb, &expected, sizeof dcb), 0) << label << dcb.flags;
  }
}
