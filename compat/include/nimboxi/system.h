// Questions about the machine, the environment and the time since start, and the event log. The calls enter
// the call guard unless said otherwise; of them GetEnvironmentVariable alone sets the last error (0 first).
#pragma once

#include "nimboxi/types.h"

// What is known of the processor; all 0 when the system does not tell.
struct SystemInfo {
  DWORD processorType;     // 386, 486 or 586
  DWORD processorCount;    // processors in use
  WORD processorRevision;  // the "stepping" value
  WORD processorLevel;     // 3, 4 or 5
};

extern "C" {

// Milliseconds since LayerStartup in steps of 25, modulo 2^32; before it, since 1970. Right after the start
// it can be just below 0, that is close to 2^32. Follows changes of the system's clock. Does not enter the
// call guard.
DWORD GetTickCount();

// Blocks for `milliseconds`; 0 returns at once, and a signal ends the wait. Does not enter the call guard.
void Sleep(DWORD milliseconds);

// Copies the value of an environment variable with its NUL when `size` bytes hold it.
// Returns its length; or length + 1 with the buffer untouched when it does not fit or `buffer` is null; 0 for
// a null name, or with last error 203 when the variable is not set.
DWORD GetEnvironmentVariable(const char* name, char* buffer, DWORD size);

// Sets an environment variable; a null value sets the empty string. Not safe while another thread reads the
// environment outside the layer. Returns 1, or 0 for a null name or one the system refuses.
BOOL SetEnvironmentVariable(const char* name, const char* value);

// Copies what is known of the processor, gathered once, by the first call; also if that got nothing. `info`
// may be null.
void GetSystemInfo(SystemInfo* info);

// The host's name. `size` holds the bytes of `buffer` and receives the name's length.
// Returns 1; 0 with `size` unchanged when the name cannot be had or does not fit (the buffer may then hold a
// part of it without a NUL), and for a null argument.
BOOL GetComputerName(char* buffer, DWORD* size);

// The effective user's name, of which the system gives 8 characters at most. A name of exactly *size bytes is
// accepted, so `buffer` holds one byte more.
// Returns 1 with the length in `size`; else 0 and an empty name: `size` unchanged when it is longer, 0 when
// there is none. 0 for a null argument.
BOOL GetUserName(char* buffer, DWORD* size);

// The layer's setting "Version"; 4 unless the layer profile says otherwise. Does not enter the call guard.
DWORD GetVersion();

// Opens the system log under the name `source`, which must stay alive while the log is used. Returns 1. The
// three event-log calls do not enter the call guard.
HANDLE RegisterEventSource(const char* server, const char* source);

// Writes the strings, one after another without separator, as one informational line. Returns TRUE always.
//   strings  `stringCount` strings; null, or a null among them, stands for nothing
//   eventLog, type, category, eventId, userId, dataSize, data  not used
BOOL ReportEvent(HANDLE eventLog, WORD type, WORD category, DWORD eventId, void* userId, WORD stringCount,
                 DWORD dataSize, const char* const* strings, const void* data);

// Closes the system log. Returns TRUE.
BOOL DeregisterEventSource(HANDLE eventLog);
}
