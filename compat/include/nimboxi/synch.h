// Semaphores, threads and waits, behind handles.
#pragma once

#include "nimboxi/types.h"

inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
inline constexpr DWORD INFINITE = 0xFFFFFFFF;           // the only time-out that a wait accepts
inline constexpr DWORD CREATE_JOINABLE_THREAD = 0x100;  // creation flag: the thread can be waited for

typedef void* (*THREAD_START_ROUTINE)(void* parameter);

extern "C" {

// Each call enters the call guard. Last error: 0 on success, 31 on every failure.

// Creates a counting semaphore with `initialCount` free places.
//   attributes, name  must be null
//   maximumCount      not used: releases are not limited
// Returns its handle, or 0. The caller closes it with CloseHandle when no thread waits for it any more.
HANDLE CreateSemaphore(void* attributes, int32_t initialCount, int32_t maximumCount, const char* name);

// Adds one free place to a semaphore, waking one waiting thread. Returns TRUE on success.
//   releaseCount   not used: one place is added whatever it says
//   previousCount  never written; may be null
BOOL ReleaseSemaphore(HANDLE semaphore, int32_t releaseCount, int32_t* previousCount);

// Starts a thread that runs `startRoutine(parameter)`; the routine's result is the thread's exit value.
//   attributes, stackSize  must be null and 0
//   startRoutine           must not be null, nor let an exception out
//   creationFlags          CREATE_JOINABLE_THREAD, else the thread is detached and can never be waited for
//   threadId               receives the POSIX thread identity; may be null
// Returns the thread's handle, or 0. CloseHandle frees the handle and leaves the thread alone, joinable or
// not; it may do so while the thread is waited for.
HANDLE CreateThread(void* attributes, size_t stackSize, THREAD_START_ROUTINE startRoutine, void* parameter,
                    DWORD creationFlags, uintptr_t* threadId);

// Waits for a place of a semaphore and takes it, or for the end of a joinable thread (once, and not by
// itself). Blocks without limit, outside the call guard, so that other threads can use the layer meanwhile;
// but a caller that has called EnterLayer keeps them out.
//   milliseconds  must be INFINITE; any other value fails at once, and nothing is taken
// Returns WAIT_OBJECT_0, or WAIT_FAILED.
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);
}
