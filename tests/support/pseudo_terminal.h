// A pair of terminal ends: the port that the layer opens by its path, and the far end that the test holds.
#pragma once

#include <fcntl.h>
#include <termios.h>

#include <cstdlib>

#include "tests/support/test_client.h"

class PseudoTerminal {
 public:
  // Raw bytes; a read waits for one byte, or as the tenths of a second say.
  explicit PseudoTerminal(cc_t tenths = 0) {
    grantpt(farEnd());
    unlockpt(farEnd());
    port_.replace(open(path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));  // keeps the settings while open
    termios raw = settings();
    cfmakeraw(&raw);
    raw.c_cc[VTIME] = tenths;
    tcsetattr(port_.number(), TCSANOW, &raw);
  }

  // Empty where the system has none to give.
  std::string path() const {
    const char* path = ptsname(farEnd());
    return path != nullptr ? path : "";
  }
  int farEnd() const { return farEnd_.number(); }
  void hangUp() { farEnd_.close(); }
  termios settings() const {
    termios settings{};
    tcgetattr(port_.number(), &settings);
    return settings;
  }

 private:
  Descriptor farEnd_{posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)};
  Descriptor port_;
};
