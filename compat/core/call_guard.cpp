// Lock objects and thread keys, and on them the layer lock and the call guard. Every call of the layer comes
// through here, from any thread.
#include "compat/core/call_guard.h"

#include <sched.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace nimboxi {

LayerGuard layerGuard;

namespace {

constexpr DWORD kNoKey = 0xFFFFFFFF;

// Constant from LayerStartup to LayerShutdown, when no other thread is in the layer; null outside.
std::atomic<LayerLock> layerLock{nullptr};

std::atomic<DiagnosticHook> diagnosticHook{nullptr};

// The thread's nesting depth. A variable, not a value of a thread key: every call of the layer reads and
// writes it twice, and there may be no key left.
constinit thread_local std::uint32_t depthOfThread = 0;

void report(const char* text, int error) {
  if (DiagnosticHook hook = diagnosticHook.load(std::memory_order_acquire)) hook(text, error);
}

void lockMutex(LayerLock mutex) {
  if (mutex == nullptr) {
    report("badenter", 0);
  } else if (int error = pthread_mutex_lock(mutex)) {
    report("enter", error);
  }
}

void unlockMutex(LayerLock mutex) {
  if (mutex == nullptr) {
    report("badleave", 0);
  } else if (int error = pthread_mutex_unlock(mutex)) {
    report("leave", error);
  }
}

LayerLock currentLayerLock() {
  return layerLock.load(std::memory_order_acquire);
}

}  // namespace

void createLayerLock() {
  if (currentLayerLock() != nullptr) return;
  LayerLock mutex = nullptr;
  CreateLock(&mutex);
  layerLock.store(mutex, std::memory_order_release);
}

void destroyLayerLock() {
  LayerLock mutex = layerLock.exchange(nullptr, std::memory_order_acq_rel);
  DestroyLock(&mutex);
}

std::uint32_t guardDepth() {
  return depthOfThread;
}

}  // namespace nimboxi

using namespace nimboxi;

void CreateLock(LayerLock* lock) {
  if (lock == nullptr) return;
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  *lock = static_cast<LayerLock>(std::malloc(sizeof(pthread_mutex_t)));
  if (*lock != nullptr) pthread_mutex_init(*lock, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

void DestroyLock(LayerLock* lock) {
  if (lock == nullptr || *lock == nullptr) return;
  pthread_mutex_destroy(*lock);
  std::free(*lock);
  *lock = nullptr;
}

void Lock(LayerLock* lock) {
  lockMutex(lock == nullptr ? nullptr : *lock);
}

BOOL TryLock(LayerLock* lock) {
  if (lock == nullptr || *lock == nullptr) {
    report("badtryenter", 0);
    return FALSE;
  }
  int error = pthread_mutex_trylock(*lock);
  if (error != 0 && error != EBUSY) report("tryenter", error);
  return error == 0;
}

void Unlock(LayerLock* lock) {
  unlockMutex(lock == nullptr ? nullptr : *lock);
}

void SetDiagnosticHook(DiagnosticHook hook) {
  diagnosticHook.store(hook, std::memory_order_release);
}

DWORD CreateThreadKey() {
  pthread_key_t key = kNoKey;
  pthread_key_create(&key, nullptr);
  return key;
}

BOOL SetThreadValue(DWORD key, void* value) {
  pthread_setspecific(key, value);
  return TRUE;
}

void* GetThreadValue(DWORD key) {
  return pthread_getspecific(key);
}

std::uintptr_t CurrentThreadId() {
  return static_cast<std::uintptr_t>(pthread_self());
}

void YieldThread() {
  sched_yield();
}

// Both read the pointer once more where they use it: a lock that has gone since is reported.
void EnterLayer() {
  if (currentLayerLock() == nullptr) return;
  if (depthOfThread == 0) lockMutex(currentLayerLock());
  ++depthOfThread;
}

void LeaveLayer() {
  if (currentLayerLock() == nullptr) return;
  if (depthOfThread == 1) unlockMutex(currentLayerLock());
  // Required(leave-wraps): an unbalanced leave wraps the depth, and the thread never locks the layer again.
  --depthOfThread;
}
