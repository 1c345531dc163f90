// What all handles share: closing, and asking what they stand for. Every call enters the call guard. A handle
// that was closed must not be used again; the layer cannot tell it from a valid one. Searches
// (nimboxi/finding.h) have handles of their own, which these calls do not know.
#pragma once

#include <cstdio>

#include "nimboxi/types.h"

// What a file handle was opened on.
inline constexpr DWORD DEVICE_FILE = 0;  // an ordinary file, not a device
inline constexpr DWORD DEVICE_RS232 = 1;
inline constexpr DWORD DEVICE_PARALLEL = 2;
inline constexpr DWORD DEVICE_RS422 = 3;
inline constexpr DWORD DEVICE_RS423 = 4;
inline constexpr DWORD DEVICE_RS449 = 5;
inline constexpr DWORD DEVICE_MODEM = 6;

// What GetHandleDeviceType fills in.
struct HandleDeviceType {
  DWORD reserved;    // always 0
  DWORD deviceType;  // one of the DEVICE_ values
};

extern "C" {

// Closes the object and frees its handle. A thread stays as it is; one that can be joined, and that nobody
// has waited for, keeps what it holds until it is joined by its identity. A serial port first drains its
// output: that blocks until the line has taken all, and where it fails it is tried again for the seconds that
// "Delay" of section "Ports" of the layer profile says in up to four characters (120 for 0 or none); the call
// guard is held meanwhile.
// Returns TRUE on success. Last error: 0; 31 for a bad handle, or when the object cannot be closed: the
// handle stays then. A file whose last bytes cannot be written is one of those: it is closed, the bytes are
// lost, and a second call frees the handle (nimboxi/support/file_handle.h does both).
BOOL CloseHandle(HANDLE handle);

// The stdio stream of a file handle, owned by the handle; null with last error 31 for any other handle.
// Leaves the last error alone on success.
FILE* LookupFileHandle(HANDLE handle);

// Fills `result` with the handle's device type, 0 for anything but a file handle (last error then 31, else
// left alone).
//   result  may be null
// Returns TRUE always.
BOOL GetHandleDeviceType(HANDLE handle, HandleDeviceType* result);
}
