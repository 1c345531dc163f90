// Serial and parallel ports by their Win32 names (COM1, LPT2, EPT:). Every call enters the call guard.
// The section "Ports" of the layer profile gives a port another device: COM3=/dev/ttyUSB0,RS422.
#pragma once

#include "nimboxi/handles.h"
#include "nimboxi/types.h"

// The read time-outs of a port. Only the last field is used.
struct PortTimeouts {
  DWORD reserved[5];
  DWORD readInterCharacter;  // tenths of a second (the terminal's VTIME); 0 waits for data
};

extern "C" {

// Maps a port's name to the path of its device.
//   path      receives the path, cut to `pathSize` bytes with its NUL; untouched for no port
//   pathSize  bytes that `path` holds; at least 1
// Returns the DEVICE_ value: 0 when `name` is no port's, or when its entry in the profile names no line type.
DWORD MapDeviceName(const char* name, char* path, int32_t pathSize);

// Cuts a profile entry "path,line type" at its first comma and returns the DEVICE_ value of the line type;
// 0 without a comma or a known type.
DWORD ParseLineType(char* entry);

// Read and set a port's read time-out. A parallel port is left alone, and TRUE. Last error: 31 for a bad
// handle, else mapped from errno.
BOOL GetPortTimeouts(HANDLE port, PortTimeouts* timeouts);
BOOL SetPortTimeouts(HANDLE port, const PortTimeouts* timeouts);
}
