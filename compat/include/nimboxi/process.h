// Running other programs through the shell, and asking what runs. Both calls hold the call guard for their
// whole duration, the wait for the shell included.
#pragma once

#include "nimboxi/types.h"

// Options of RunShellCommand. Without RUN_FOREGROUND the command runs in the background.
inline constexpr DWORD RUN_FOREGROUND = 1;
inline constexpr DWORD RUN_CAPTURE_OUTPUT = 2;  // with RUN_FOREGROUND

inline constexpr int32_t RUN_SUCCEEDED = 32;         // the shell exited with status 0
inline constexpr int32_t RUN_COMMAND_NOT_FOUND = 2;  // the shell exited with status 127

extern "C" {

// Hands `commandLine` to the shell in the background and waits for the shell alone. Quoting is the caller's
// business (nimboxi/shell_words.h). Returns as RunShellCommand: 32 also for a command that does not exist, as
// the shell had no trouble to start it.
//   showMode  not used
int32_t WinExec(const char* commandLine, DWORD showMode);

// Hands `commandLine` to "/bin/sh -c" and waits for the shell. In the child the interrupt, quit, hang-up and
// broken-pipe signals have their default handling again; meanwhile the caller ignores interrupt and quit.
//   options  the RUN_ flags
//   output   with RUN_CAPTURE_OUTPUT receives a memory block with the standard output and a closing NUL; the
//            caller frees it with FreeBlock; null without output. When `output` itself is null, the temporary
//            file with the output stays, in the directory of the layer profile
// Returns 32 when the shell exited with 0, 2 for its status 127, 11 for the raw wait status 127, -1 when the
// wait failed, else the raw wait status (256 times the exit status, or the number of the signal that ended
// it); 2 for a null `commandLine` or without memory. Callers take 32 and above, unsigned, for success. The
// last error tells nothing about the command.
int32_t RunShellCommand(const char* commandLine, DWORD showMode, DWORD options, void** output);

// 1 when the command name of a running process occurs in `text` (not the other way round), else 0. Passes the
// list of processes through the file "psrep" in the directory of the layer profile; 0 when that cannot be
// written, and for null.
BOOL IsProcessRunning(const char* text);
}
