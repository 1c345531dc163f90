// The mode string of a serial line: "COM1:9600,n,8,1,x" or "parity=..." words. Pure.
#pragma once

#include "nimboxi/ports.h"

namespace nimboxi {

// Fills `dcb` from a mode string, which may be null. Returns the last error of BuildCommDCB, 0 for success.
// `dcb` is untouched when the length or the port is wrong; what a later failure leaves in it is of no use.
[[nodiscard]] int32_t parseCommMode(const char* mode, DCB& dcb);

}  // namespace nimboxi
