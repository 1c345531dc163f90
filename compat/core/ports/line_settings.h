// The settings of a serial line in their two forms: the caller's DCB, and the terminal settings of the port's
// device. Pure: the calls that reach the device are in port_state.cpp.
#pragma once

#include <termios.h>

#include "nimboxi/ports.h"

namespace nimboxi {

// Makes terminal settings those of a raw line as `dcb` describes it.
// Returns 0, or the last error with the settings unchanged: IE_BAUDRATE; IE_BYTESIZE for data bits, a parity
// or stop bits that cannot be had.
[[nodiscard]] int32_t applyDcb(const DCB& dcb, termios& settings);

// Updates `dcb` with what terminal settings tell; its other fields stay as they are.
void updateDcb(const termios& settings, DCB& dcb);

}  // namespace nimboxi
