// Running other programs through the shell, and asking what runs. All calls hold the call guard for their
// whole duration, the wait for the shell included.
#pragma once

#include "nimboxi/types.h"

// Options of RunShellCommand. Without RUN_FOREGROUND the command runs in the background.
inline constexpr DWORD RUN_FOREGROUND = 1;
inline constexpr DWORD RUN_CAPTURE_OUTPUT = 2;  // with RUN_FOREGROUND

inline constexpr int32_t RUN_SUCCEEDED = 32;         // the shell exited with status 0
inline constexpr int32_t RUN_COMMAND_NOT_FOUND = 2;  // the shell exited with status 127, or was not run

extern "C" {

// Hands `commandLine` to the shell in the background and waits for the shell alone. Quoting is the caller's
// business (nimboxi/support/shell_words.h). Returns as RunShellCommand: 32 also for a command that does not
// exist, as the shell had no trouble to start it.
//   showMode  not used
int32_t WinExec(const char* commandLine, DWORD showMode);

// Hands `commandLine` to "/bin/sh -c" and waits for the shell. In the child the interrupt, quit, hang-up,
// broken-pipe and file-size signals have their default handling again; meanwhile the caller ignores interrupt
// and quit.
//   options  the RUN_ flags
//   output   untouched unless the output is captured (both flags). Receives a memory block with the standard
//            output and a closing NUL, which the caller frees with FreeBlock; null when there is no output,
//            when it cannot be had, and when nothing is run. The output passes through a temporary file in
//            the directory of the layer profile, which stays there when `output` itself is null or when the
//            file cannot be opened again
// Returns what became of the shell: 32 when it exited with 0, 2 for its status 127, 11 for the raw wait
// status 127, else the raw wait status (256 times the exit status, or the number of the signal that ended
// it); -1 when it could not be started or waited for; 2 without a shell for a null `commandLine`, without
// memory, or without a name for the temporary file. Callers take 32 and above, unsigned, for success; that
// includes -1. The last error tells nothing about the command.
int32_t RunShellCommand(const char* commandLine, DWORD showMode, DWORD options, void** output);

// 1 when the command name of a running process occurs in `text` (not the other way round), else 0; 0 for
// null. The names of the shell and of `ps`, which run meanwhile, always count. The list of processes passes
// through the file "psrep" in the directory of the layer profile, which is removed again: a file of that name
// that cannot be written over is taken for the list, and two programs that ask at once spoil each other's
// answer.
BOOL IsProcessRunning(const char* text);
}
