// Serial and parallel ports by their Win32 names (COM1, LPT2, EPT:). Every call enters the call guard.
// The section "Ports" of the layer profile gives a port another device: COM3=/dev/ttyUSB0,RS422.
#pragma once

#include "nimboxi/handles.h"
#include "nimboxi/types.h"

// The line settings of a serial port (source: the published Win32 DCB).
struct DCB {
  DWORD DCBlength;  // 28
  DWORD BaudRate;
  DWORD flags;  // the DCB_ bits
  WORD wReserved;
  WORD XonLim;
  WORD XoffLim;
  BYTE ByteSize;  // data bits, 5 to 8
  BYTE Parity;    // NOPARITY, ODDPARITY, EVENPARITY, MARKPARITY
  BYTE StopBits;  // ONESTOPBIT, TWOSTOPBITS
  char XonChar;
  char XoffChar;
  char ErrorChar;
  char EofChar;
  char EvtChar;
  WORD wReserved1;
};
static_assert(sizeof(DCB) == 28 && offsetof(DCB, BaudRate) == 4);  // callers see this layout

inline constexpr DWORD DCB_BINARY = 0x1;
inline constexpr DWORD DCB_PARITY = 0x2;
inline constexpr DWORD DCB_OUT_CTS_FLOW = 0x4;
inline constexpr DWORD DCB_OUT_DSR_FLOW = 0x8;
inline constexpr DWORD DCB_DTR_CONTROL = 0x30;  // two bits: 0 disable, 1 enable, 2 handshake
inline constexpr DWORD DCB_DTR_CONTROL_ENABLE = 0x10;
inline constexpr DWORD DCB_DTR_CONTROL_HANDSHAKE = 0x20;
inline constexpr DWORD DCB_OUT_X = 0x100;
inline constexpr DWORD DCB_IN_X = 0x200;
inline constexpr DWORD DCB_NULL = 0x800;          // received NUL bytes are dropped
inline constexpr DWORD DCB_RTS_CONTROL = 0x3000;  // two bits: 0 disable, 1 enable, 2 handshake
inline constexpr DWORD DCB_RTS_CONTROL_ENABLE = 0x1000;
inline constexpr DWORD DCB_RTS_CONTROL_HANDSHAKE = 0x2000;

inline constexpr BYTE NOPARITY = 0;
inline constexpr BYTE ODDPARITY = 1;
inline constexpr BYTE EVENPARITY = 2;
inline constexpr BYTE MARKPARITY = 3;  // BuildCommDCB alone knows it; no line can be set to it
inline constexpr BYTE ONESTOPBIT = 0;
inline constexpr BYTE TWOSTOPBITS = 2;

// Last errors of the calls on line settings.
inline constexpr int32_t IE_BADMODE = -5;    // a mode string that is none
inline constexpr int32_t IE_BYTESIZE = -11;  // data bits, parity or stop bits that cannot be had
inline constexpr int32_t IE_BAUDRATE = -12;  // a baud rate that cannot be had

// The read time-outs of a port. Only the last field is used.
struct PortTimeouts {
  DWORD reserved[5];
  DWORD readInterCharacter;  // tenths of a second (the terminal's VTIME), of which the low byte counts
};

extern "C" {

// Maps a port's name to the path of its device.
//   path      receives the path, cut to `pathSize` bytes with its NUL; untouched for no port's name
//   pathSize  bytes that `path` holds; below 1 no name is a port's
// Returns the DEVICE_ value: 0 when `name` is no port's, or when its entry in the profile names no line type.
// The last error is what looking for that entry left.
DWORD MapDeviceName(const char* name, char* path, int32_t pathSize);

// Cuts a profile entry "path,line type" at its first comma, puts what was behind it in lower case, and
// returns the DEVICE_ value of the line type; 0 without a comma or a known type, and for null.
DWORD ParseLineType(char* entry);

// Updates `dcb` with the settings of a port's terminal; fields that the terminal does not tell, the parity
// among them, keep the caller's values. fOutX and fInX come back exchanged. A parallel port leaves `dcb`
// alone, and TRUE. Last error: 0; 31 for a bad handle or a null `dcb`; else mapped from errno.
BOOL GetCommState(HANDLE port, DCB* dcb);

// Sets a port's terminal to a raw line, once its output has drained. The read time-out stays. Hardware flow
// control goes on when fOutxCtsFlow is set or DTR or RTS is enabled; it goes off, whatever else is set, when
// DTR is disabled; otherwise it stays as it was. A parallel port is left alone, and TRUE. The terminal is
// unchanged on failure.
// Last error: 0; 31 for a bad handle or a null `dcb`; IE_BAUDRATE for another rate than 110, 300, 600, 1200,
// 2400, 4800, 9600, 19200, 38400, 57600, 115200, 230400; IE_BYTESIZE; else mapped from errno.
BOOL SetCommState(HANDLE port, const DCB* dcb);

// Fills `dcb` from a mode string of 5 to 50 characters, in one of two forms:
//   "COM1:9600,n,8,1,x"  rate; parity e, m, n or o; data bits; stop bits 1 or 2; handshake, which may be left
//                        out: x for XON and XOFF, p for hardware. Commas or blanks part them; letters are of
//                        any case.
//   "baud=9600 parity=?e data=8 stop=1"
//                        words in lower case, parted by blanks. Only the parity is taken: its letter is the
//                        second character behind the "="; any other leaves parity 0 with fParity set.
// The port, "COM1:" of any case, may be left out; 110 baud always has two stop bits.
// Returns TRUE on success. Last error: 0; IE_BADMODE; IE_BAUDRATE for a rate that is no number above 0; 31
// for a string of another length or a null `dcb`. `dcb` is of no use after a failure.
BOOL BuildCommDCB(const char* mode, DCB* dcb);

// Read and set a port's read time-out; reading leaves the other fields alone, setting lets a read return
// without data. A parallel port is left alone, and TRUE. Last error: 0; 31 for a bad handle or a null
// `timeouts`; else mapped from errno.
BOOL GetPortTimeouts(HANDLE port, PortTimeouts* timeouts);
BOOL SetPortTimeouts(HANDLE port, const PortTimeouts* timeouts);
}
