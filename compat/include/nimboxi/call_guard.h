// The call guard, and beneath it the lock objects and thread keys that the layer itself uses. None of these
// functions sets a last error.
#pragma once

#include <pthread.h>

#include "nimboxi/types.h"

// A lock object: null, or a recursive mutex of the heap.
typedef pthread_mutex_t* LayerLock;

// Told of a failed lock operation: a constant text and the mutex call's result (0 for a missing mutex).
typedef void (*DiagnosticHook)(const char* text, int32_t error);

extern "C" {

// ---- The guard. ----

// Enter and leave the call guard: one thread at a time is inside the layer. Calls nest. Blocks on the
// outermost entry until the layer is free. The functions of the layer do this themselves.
void EnterLayer();
void LeaveLayer();

// ---- Lock objects and thread keys. They do not enter the call guard. ----

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
