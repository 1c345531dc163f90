// Port names; mode strings; DCB and terminal settings, one made from the other; and the calls on a port's
// line, on terminals that are real to the system: a pseudo-terminal always has eight data bits and no parity.
#include "nimboxi/ports.h"

#include "compat/core/ports/comm_mode.h"
#include "compat/core/ports/line_settings.h"
#include "tests/core/core_test.h"
#include "tests/support/eventually.h"
#include "tests/support/pseudo_terminal.h"

using namespace nimboxi;
using Ports = CoreTest;
using Flags = std::vector<tcflag_t>;

constexpr DWORD kDtr = DCB_DTR_CONTROL_ENABLE, kRts = DCB_RTS_CONTROL_ENABLE;
constexpr DWORD kNoSwitch = DCB_DTR_CONTROL | DCB_OUT_DSR_FLOW | DCB_RTS_CONTROL;

// Pins(two-stops-at-110), Pins(keyword-values-dropped), Pins(parity-ninth-character)
TEST(CommMode, GivesALine) {
  const auto line = [](const std::string& mode) {  // rate, flags, data bits, parity, stop bits
    DCB dcb, rest{};
    std::memset(&dcb, 0xA5, sizeof dcb);
    EXPECT_EQ(parseCommMode(mode.c_str(), dcb), 0) << mode;
    rest = {28, dcb.BaudRate, dcb.flags, 0, 0, 0, dcb.ByteSize, dcb.Parity, dcb.StopBits, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(std::memcmp(&dcb, &rest, sizeof dcb), 0) << mode;
    char text[64];
    std::snprintf(text, 64, "%u %x %d %d %d", dcb.BaudRate, dcb.flags, dcb.ByteSize, dcb.Parity,
                  dcb.StopBits);
    return std::string(text);
  };
  EXPECT_EQ((Texts{line("110,n,8,1"), line("COM1:9600,n,9,1" + std::string(35, ' ')),
                   line("comX: 14400 E , 7  2,x"), line("4294967295,m,0,1,P"), line("75,Odd,5,1,?,x"),
                   line("baud=110 data=8  stop=1"), line("parity=e"), line("COM2: parity=nE baud=1"),
                   line("parity=?o parity=?N")}),
            (Texts{"110 1010 8 0 2", "9600 1010 9 0 0", "14400 1312 7 2 2", "4294967295 202e 0 3 0",
                   "75 1012 5 1 0", "0 0 0 0 0", "0 2 0 0 0", "0 2 0 2 0", "0 0 0 0 0"}));
}

TEST(CommMode, SaysWhatIsWrong) {
  DCB dcb{};
  const auto errorOf = [&dcb](const std::string& mode) { return parseCommMode(mode.c_str(), dcb); };
  EXPECT_EQ(parseCommMode(nullptr, dcb), -5);
  for (const char* mode : {"COM0:9600,n,8,1", "com0:9600,n,8,1", "COM10:9600,n,8,1"})
    EXPECT_EQ(errorOf(mode), -5) << mode;
  for (const std::string& mode :
       {std::string(), std::string("1,n,"), "9600,n,8,1" + std::string(41, ' '), std::string(100'000, ',')})
    EXPECT_EQ(errorOf(mode), 31) << mode.size();
  EXPECT_EQ(dcb.DCBlength, 0U) << "untouched";
  for (const char* mode : {",,,,,", "     ,", "0,n,8,1", "9x,n,8,1", "4294967296,n,8,1", "-9600,n,8,1"})
    EXPECT_EQ(errorOf(mode), -12) << mode;
  for (const char* mode : {"command", "9600,s,8,1", "9600,,8,1", "9600,n", "9600,n,x,1", "9600,n,18,1",
                           "9600,n,8", "9600,n,8,1.5", "9600,n,8,0,x", "9600,n,/,1", "9600,n,:,1",
                           "BAUD=9600", "baud=1 mode=2", "parity= e=?", "\xFF\xFE\x80\x81\x82"})
    EXPECT_EQ(errorOf(mode), -5) << mode;
}

// Every flag set, or none, and every control character with a value of its own.
static termios settingsOf(tcflag_t flags) {
  termios settings{flags, flags, flags, flags, 0, {}, 0, 0};
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
  EXPECT_TRUE(~full.c_oflag == OPOST && ~full.c_lflag == (ISIG | ICANON | ECHO));
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
  const auto line = [](DWORD rate, DWORD flags, BYTE bits, BYTE parity, BYTE stops, tcflag_t before = 0) {
    DCB dcb{28, rate, flags, 0, 0, 0, bits, parity, stops, 0, 0, 0, 0, 0, 0};
    termios settings = settingsOf(INPCK);
    settings.c_cflag |= before;
    const termios unchanged = settings;
    const int32_t error = applyDcb(dcb, settings);
    EXPECT_EQ(std::memcmp(&settings, &unchanged, sizeof settings) == 0, error != 0);
    if (error != 0) return Flags{static_cast<tcflag_t>(error)};
    updateDcb(settings, dcb = {});
    EXPECT_EQ(dcb.BaudRate + dcb.ByteSize + dcb.StopBits, rate + bits + stops);
    const tcflag_t control = settings.c_cflag & (CBAUD | CSIZE | CSTOPB | PARENB | PARODD | CRTSCTS);
    return Flags{control, settings.c_iflag & (INPCK | IXON | IXOFF)};
  };
  EXPECT_EQ(line(0, DCB_PARITY, 9, 9, 9), Flags(1, static_cast<tcflag_t>(IE_BAUDRATE))) << "it comes first";
  for (const Flags& bad :
       {line(110, 0, 4, 0, 0), line(110, 0, 9, 0, 0), line(110, DCB_PARITY, 8, 3, 0), line(110, 0, 8, 0, 1)})
    EXPECT_EQ(bad, Flags(1, static_cast<tcflag_t>(IE_BYTESIZE)));
  EXPECT_EQ(line(110, 0, 5, MARKPARITY, 0), (Flags{CS5 | B110, INPCK})) << "no fParity, no look at it";
  EXPECT_EQ(line(300, DCB_PARITY, 6, 0, 2), (Flags{CS6 | CSTOPB | B300, 0}));
  EXPECT_EQ(line(57600, DCB_PARITY | DCB_IN_X, 7, 1, 0),
            (Flags{CS7 | PARENB | PARODD | B57600, INPCK | IXOFF}));
  EXPECT_EQ(line(38400, DCB_PARITY | DCB_OUT_X, 8, 2, 0), (Flags{CS8 | PARENB | B38400, INPCK | IXON}));
  const auto flow = [&line](DWORD rate, DWORD flags, tcflag_t before = 0) {
    return line(rate, flags, 8, 0, 0, before)[0] - CS8;
  };
  EXPECT_EQ((Flags{flow(115200, DCB_OUT_CTS_FLOW | kRts, CRTSCTS), flow(2400, kNoSwitch)}),
            (Flags{B115200, B2400}));
  EXPECT_EQ((Flags{flow(230400, kDtr), flow(600, 2 * kDtr | kRts), flow(1200, 2 * kDtr | DCB_OUT_CTS_FLOW),
                   flow(19200, kNoSwitch, CRTSCTS)}),
            (Flags{B230400 | CRTSCTS, B600 | CRTSCTS, B1200 | CRTSCTS, B19200 | CRTSCTS}));
}

// Pins(flow-bits-cross), Pins(parity-flag-kept): fParity goes only with parity as the one control flag.
TEST(LineSettings, ADcbTakesWhatTheLineTells) {
  const auto flags = [](DWORD before, tcflag_t control, tcflag_t input = 0) {
    const termios settings{input, 0, control, 0, 0, {0, 0, 0, 0, 26}, 0, 0};
    DCB dcb{1, 14400, before, 2, 3, 4, 9, EVENPARITY, 9, 'n', 'f', 'r', 'e', 'v', 5};
    updateDcb(settings, dcb);
    const DCB expected{1, 14400, dcb.flags, 2, 10, 10, 5, EVENPARITY, 0, 'n', 'f', 'r', 26, 'v', 5};
    EXPECT_EQ(std::memcmp(&dcb, &expected, sizeof dcb), 0);
    return dcb.flags;
  };
  EXPECT_EQ((Flags{flags(DCB_OUT_X, CREAD, IXON), flags(DCB_IN_X, CREAD, IXOFF), flags(DCB_PARITY, CREAD),
                   flags(DCB_PARITY, PARENB | PARODD), flags(0x3830, CRTSCTS), flags(0xFFFFFFFF, CREAD)}),
            (Flags{DCB_BINARY | DCB_IN_X, DCB_BINARY | DCB_OUT_X, DCB_BINARY | DCB_PARITY, DCB_BINARY, 0x101D,
                   0xFFFFC4CF}));
}

// Pins(one-digit-port)
TEST_F(Ports, ANameGivesDeviceAndLineType) {
  layer_.setPorts("COM3=/dev/a,some Modem on rs232\nCOM3:=/dev/b\nCOM8X=/dev/d,RS423\n");
  char path[32];
  const auto device = [&path](const std::string& name, int32_t size = 32) {
    const DWORD type = MapDeviceName(name.c_str(), strcpy(path, "untouched"), size);
    return std::to_string(type) + " " + path;
  };
  EXPECT_EQ((Texts{device("COM9:"), device("COM12"), device("COMEPT:"), device("EPT2"), device("COM1", 1),
                   device("COM1" + std::string(100'000, 'a'))}),
            (Texts{"1 /dev/ttyS8", "1 /dev/ttyS0", "1 /dev/ttyS0", "2 /dev/lp1", "1 ", "1 /dev/ttyS0"}));
  EXPECT_EQ((Texts{device("COM0"), device("LPT:"), device("com1"), device("COM1", 0)}),
            Texts(4, "0 untouched"));
  // The first word of the list decides; there is none, or it is cut; and a key is in upper case.
  EXPECT_EQ((Texts{device("COM3"), device("COM3:"), device("COM3", 5), device("COM8x")}),
            (Texts{"6 /dev/a", "0 /dev/b", "0 /dev", "4 /dev/d"}));
  EXPECT_EQ(MapDeviceName("COM1", nullptr, 32) + MapDeviceName(nullptr, path, 32), 0U);
  const char* entries[] = {"x,none", "x,RS232", "x,parallelport", "x,rs422", "x,rs423", "x,rs449", "x,modem"};
  for (DWORD type = DEVICE_FILE; type <= DEVICE_MODEM; ++type)
    EXPECT_TRUE(ParseLineType(strcpy(path, entries[type])) == type && path == std::string("x")) << type;
  EXPECT_EQ(ParseLineType(nullptr) + ParseLineType(strcpy(path, "modem")), 0U);
}

struct PortState : CoreTest {
  PortState() {
    layer_.setPorts("COM5=" + terminal_.path() + ",rs422\nLPT1=" + terminal_.path() +
                    ",parallelport\nCOM6=/proc/self/mem,rs232\nDelay=-1\n");
    cooked_.c_iflag |= ICRNL | IXON;
    cooked_.c_lflag |= ICANON | ECHO | ISIG;
    tcsetattr(terminal_.farEnd(), TCSANOW, &cooked_);
  }
  void SetUp() override {
    if (terminal_.path().empty()) GTEST_SKIP() << "no pseudo-terminal to be had: is /dev/pts mounted?";
  }
  ~PortState() override { CloseHandle(port_); }

  void openPort(const char* name) { port_ = open(name, 0); }
  static DCB lineOf(const char* mode) {
    DCB dcb{};
    EXPECT_TRUE(done(BuildCommDCB(mode, &dcb)));
    return dcb;
  }
  int timeout() const { return terminal_.settings().c_cc[VTIME]; }

  PseudoTerminal terminal_{7};
  termios cooked_ = terminal_.settings();
  HANDLE port_ = INVALID_HANDLE_VALUE;
};

TEST_F(PortState, ALineIsSetAndReadBack) {
  openPort("COM5");
  DCB dcb = lineOf("COM5:4800,o,8,2,p");
  dcb.flags |= DCB_OUT_X | DCB_NULL;
  dcb.XonChar = 17;
  ASSERT_TRUE(done(SetCommState(port_, &dcb)));
  EXPECT_EQ(terminal_.settings().c_cflag, B4800 | CLOCAL | CREAD | CS8 | CSTOPB | PARODD | CRTSCTS);
  EXPECT_TRUE(done(GetCommState(port_, &dcb)));
  EXPECT_EQ(dcb.flags, 0x121FU) << "fInX where fOutX was set, and the caller's fParity";
  PortTimeouts timeouts{{}, 0x703};
  EXPECT_TRUE(done(SetPortTimeouts(port_, &timeouts)) && timeout() == 3) << "the low byte";
  EXPECT_TRUE(done(GetPortTimeouts(port_, &timeouts)) && timeouts.readInterCharacter == 3);
}

TEST_F(PortState, EveryByteGoesBothWaysAndTheTimeoutStays) {
  openPort("COM5");
  const DCB dcb = lineOf("115200,n,8,1");
  ASSERT_TRUE(SetCommState(port_, &dcb));
  std::string sent, received;
  while (sent.size() < 256) sent.push_back(static_cast<char>(sent.size()));
  EXPECT_EQ(read(port_, 256), "") << "it waits for no byte";
  EXPECT_TRUE(write(port_, sent.substr(0, 1)) && write(port_, sent.substr(1)));
  char byte;
  while (received.size() < 256 && ::read(terminal_.farEnd(), &byte, 1) == 1) received.push_back(byte);
  ASSERT_EQ(::write(terminal_.farEnd(), sent.data(), 256), 256);
  EXPECT_TRUE(eventually([&] {
    received += read(port_, 256);
    return timeout() == 7 && received.size() >= 512;
  }));
  EXPECT_EQ(received, sent + sent);
}

// Pins(port-read-failure): it shows in its count alone.
TEST_F(PortState, AFailureLeavesTheTerminalAsItWas) {
  openPort("COM5");
  DCB dcb = lineOf("14400,n,8,1");
  EXPECT_EQ((Errors{errorOf(SetCommState(port_, &dcb)), errorOf(SetCommState(port_, nullptr)),
                    errorOf(GetCommState(port_, nullptr)), errorOf(SetPortTimeouts(port_, nullptr)),
                    errorOf(GetPortTimeouts(port_, nullptr)), errorOf(BuildCommDCB("COM1:", nullptr)),
                    errorOf(BuildCommDCB("mode?", nullptr))}),
            (Errors{IE_BAUDRATE, 31, 31, 31, 31, 31, IE_BADMODE}));
  EXPECT_EQ(terminal_.settings().c_lflag, cooked_.c_lflag);
  dcb = lineOf("9600,n,8,1");
  terminal_.hangUp();
  EXPECT_FALSE(SetCommState(port_, &dcb) || GetCommState(port_, &dcb));
  DWORD count = 9;
  EXPECT_TRUE(errorOf(WriteFile(port_, "lost", 4, &count)) == ERROR_WRITE_FAULT && count == 0);
  EXPECT_TRUE(CloseHandle(port_));
  openPort("COM6");  // its first byte cannot be read
  EXPECT_TRUE(done(ReadFile(port_, &dcb, 1, &count)) && count == 0xFFFFFFFF);
}

TEST_F(PortState, AParallelPortHasNoLine) {
  openPort("LPT1");
  DCB dcb = lineOf("9600,n,8,1"), read{};
  PortTimeouts timeouts{{}, 3};
  EXPECT_TRUE(done(SetCommState(port_, &dcb)) && done(SetPortTimeouts(port_, &timeouts)));
  EXPECT_TRUE(done(GetCommState(port_, &read)) && done(GetPortTimeouts(port_, &timeouts)));
  EXPECT_EQ(read.ByteSize + timeouts.readInterCharacter, 3U);
  EXPECT_TRUE(timeout() == 7 && (terminal_.settings().c_lflag & ICANON) != 0);
}
