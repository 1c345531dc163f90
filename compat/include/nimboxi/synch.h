// Semaphores, threads and waits; beneath them the lock objects and thread keys that the layer itself uses.
#pragma once

#include <pthread.h>

#include "nimboxi/types.h"

inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
inline constexpr DWORD INFINITE = 0xFFFFFFFF;           // the only time-out that a wait accepts
inline constexpr DWORD CREATE_JOINABLE_THREAD = 0x100;  // creation flag: the thread can be waited for

typedef void* (*THREAD_START_ROUTINE)(void* parameter);

// A lock object: null, or a recursive mutex of the heap.
typedef pthread_mutex_t* LayerLock;

// Told of a failed lock operation: a constant text and the mutex call's result (0 for a missing mutex).
typedef void (*DiagnosticHook)(const char* text, int32_t error);

extern "C" {

// ---- Handles. Each call enters the call guard. Last error: 0 on success, 31 on every failure. ----

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
// Returns the thread's handle, or 0. CloseHandle frees the handle and leaves the thread alone.
HANDLE CreateThread(void* attributes, size_t stackSize, THREAD_START_ROUTINE startRoutine, void* parameter,
                    DWORD creationFlags, uintptr_t* threadId);

// Waits for a place of a semaphore and takes it, or for the end of a joinable thread (once, and not by
// itself). Blocks without limit, outside the call guard, so that other threads can use the layer meanwhile;
// but a caller that has called EnterLayer keeps them out.
//   milliseconds  must be INFINITE; any other value fails at once, and nothing is taken
// Returns WAIT_OBJECT_0, or WAIT_FAILED.
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);

// ---- Lock objects and thread keys. They do not enter the call guard and set no last error. ----

// Puts a new recursive mutex behind `lock`. A null `lock` is ignored; null stays behind it without memory.
void CreateLock(LayerLock* lock);

// Destroys the mutex behind `lock` and sets it to null. Null, or null behind it, is ignored.
void DestroyLock(LayerLock* lock);

// Lock or unlock the mutex, blocking without limit. A missing mutex or a failure goes to the diagnostic hook.
void Lock(LayerLock* lock);
void Unlock(LayerLock* lock);

// Locks the mutex if it is free. FALSE when it is not (silently), or after a failure (told to the hook).
BOOL TryLock(LayerLock* lock);

// Sets who is told of failed lock operations; null (as at start) switches the messages off. Set it before
// other threads use the layer.
void SetDiagnosticHook(DiagnosticHook hook);

// Creates a POSIX thread key without destructor. Returns it, or 0xFFFFFFFF.
DWORD CreateThreadKey();

// Stores the calling thread's value of a key. Returns TRUE always.
BOOL SetThreadValue(DWORD key, void* value);

// The calling thread's value of a key; null when it never stored one.
void* GetThreadValue(DWORD key);

// The calling thread's POSIX identity.
uintptr_t CurrentThreadId();

// Lets other threads run.
void YieldThread();
}
