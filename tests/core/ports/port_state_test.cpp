// The calls on a port's line, on terminals that are real to the system. A pseudo-terminal always has eight
// data bits and no parity; it keeps all else.
#include "nimboxi/ports.h"

#include "tests/core/core_test.h"
#include "tests/support/eventually.h"
#include "tests/support/pseudo_terminal.h"

class PortState : public CoreTest {
 protected:
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
  int keptAt(std::size_t character) const { return terminal_.settings().c_cc[character]; }

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
  EXPECT_TRUE(done(SetPortTimeouts(port_, &timeouts)) && keptAt(VTIME) == 3) << "the low byte";
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
    EXPECT_EQ(keptAt(VTIME), 7);
    return received.size() >= 512;
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
  EXPECT_EQ(errorOf(WriteFile(port_, "lost", 4, &count)), ERROR_WRITE_FAULT);
  EXPECT_EQ(count, 0U);
  EXPECT_TRUE(CloseHandle(port_));
  openPort("COM6");  // its first byte cannot be read
  EXPECT_TRUE(done(ReadFile(port_, &dcb, 1, &count)));
  EXPECT_EQ(count, 0xFFFFFFFF);
}

TEST_F(PortState, AParallelPortHasNoLine) {
  openPort("LPT1");
  DCB dcb = lineOf("9600,n,8,1"), read{};
  PortTimeouts timeouts{{}, 3};
  EXPECT_TRUE(done(SetCommState(port_, &dcb)) && done(SetPortTimeouts(port_, &timeouts)));
  EXPECT_TRUE(done(GetCommState(port_, &read)) && done(GetPortTimeouts(port_, &timeouts)));
  EXPECT_EQ(read.ByteSize + timeouts.readInterCharacter, 3U);
  EXPECT_TRUE(keptAt(VTIME) == 7 && (terminal_.settings().c_lflag & ICANON) != 0);
}
