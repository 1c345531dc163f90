// The calls on a port's line, on terminals that are real to the system. A pseudo-terminal always has eight
// data bits and no parity; it keeps all else.
#include <unistd.h>

#include <algorithm>

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
    EXPECT_TRUE(BuildCommDCB(mode, &dcb));
    return dcb;
  }

  PseudoTerminal terminal_{7};
  termios cooked_ = terminal_.settings();
  HANDLE port_ = INVALID_HANDLE_VALUE;
};

TEST_F(PortState, ALineIsSetAndReadBack) {
  openPort("COM5");
  DCB dcb = lineOf("COM5:4800,o,8,2,p");
  dcb.flags |= DCB_OUT_X | DCB_NULL;
  dcb.XonChar = 17;
  ASSERT_TRUE(SetCommState(port_, &dcb));
  const termios line = terminal_.settings();
  EXPECT_EQ(line.c_cflag, B4800 | CLOCAL | CREAD | CS8 | CSTOPB | PARODD | CRTSCTS);
  EXPECT_TRUE(GetCommState(port_, &dcb));
  EXPECT_EQ(dcb.flags, 0x121FU) << "fInX where fOutX was set, and the caller's fParity";
}

TEST_F(PortState, EveryByteGoesBothWaysAndTheTimeoutStays) {
  openPort("COM5");
  const DCB dcb = lineOf("115200,n,8,1");
  ASSERT_TRUE(SetCommState(port_, &dcb));
  std::string sent, received;
  while (sent.size() < 256) sent.push_back(static_cast<char>(sent.size()));
  EXPECT_EQ(read(port_, 256), "") << "it waits for no byte";
  EXPECT_TRUE(write(port_, sent));
  char byte;
  while (received.size() < 256 && ::read(terminal_.farEnd(), &byte, 1) == 1) received.push_back(byte);
  ASSERT_EQ(::write(terminal_.farEnd(), sent.data(), 256), 256);
  EXPECT_TRUE(eventually([&] {
    received += read(port_, 256);
    EXPECT_EQ(terminal_.settings().c_cc[VTIME], 7);
    return received.size() >= 512;
  }));
  EXPECT_EQ(received, sent + sent);
}

TEST_F(PortState, AFailureLeavesTheTerminalAsItWas) {
  DCB dcb = lineOf("14400,n,8,1");
  EXPECT_EQ(failure(SetCommState(port_, &dcb)), ERROR_GEN_FAILURE) << "there is no port yet";
  openPort("COM5");
  EXPECT_EQ(failure(SetCommState(port_, &dcb)), IE_BAUDRATE);
  EXPECT_EQ(failure(SetCommState(port_, nullptr)), ERROR_GEN_FAILURE);
  EXPECT_EQ(failure(GetCommState(port_, nullptr)), ERROR_GEN_FAILURE);
  EXPECT_FALSE(BuildCommDCB("COM1:", nullptr));
  EXPECT_EQ(terminal_.settings().c_lflag, cooked_.c_lflag);
  dcb = lineOf("9600,n,8,1");
  terminal_.hangUp();
  EXPECT_FALSE(SetCommState(port_, &dcb) || GetCommState(port_, &dcb));
  EXPECT_EQ(failure(write(port_, "lost")), ERROR_WRITE_FAULT);
}

// Pins(port-read-failure)
TEST_F(PortState, AFailedReadShowsInItsCountAlone) {
  openPort("COM6");  // its first byte cannot be read
  char byte;
  DWORD count = 9;
  SetLastError(kMark);
  EXPECT_TRUE(ReadFile(port_, &byte, 1, &count));
  EXPECT_EQ(count, 0xFFFFFFFF);
  EXPECT_EQ(GetLastError(), 0);
}

TEST_F(PortState, AParallelPortHasNoLine) {
  openPort("LPT1");
  DCB dcb = lineOf("9600,n,8,1"), read{};
  PortTimeouts timeouts{{}, 3};
  EXPECT_TRUE(SetCommState(port_, &dcb) && SetPortTimeouts(port_, &timeouts));
  EXPECT_TRUE(GetCommState(port_, &read) && GetPortTimeouts(port_, &timeouts));
  EXPECT_EQ(read.ByteSize + timeouts.readInterCharacter, 3U);
  EXPECT_EQ(terminal_.settings().c_cc[VTIME] + (terminal_.settings().c_lflag & ICANON), 7U + ICANON);
}
