// What a file name says when it is a port's name. Pure; the calls that also ask the layer profile are
// declared in nimboxi/ports.h.
#pragma once

namespace nimboxi {

struct PortName {
  int number;   // 1 to 9; 0: not a port's name
  bool serial;  // COM; else parallel: LPT, EPT
};

// Reads a name as CreateFile gets it. Only the first four characters count, and "EPT:" wherever it stands.
PortName parsePortName(const char* name);

}  // namespace nimboxi
