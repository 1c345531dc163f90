// The layer lock, lock objects, and the call guard.
#include "compat/core/call_guard.h"

#include <sched.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "nimboxi/support/use_count.h"

namespace nimboxi {

LayerGuard layerGuard;

namespace {

constexpr DWORD kNoKey = 0xFFFFFFFF;

// Constant after LayerStartup.
DWORD guardDepthKey = kNoKey;
std::atomic<DiagnosticHook> diagnosticHook{nullptr};

// The layer lock. Atomic because a thread may be on its way in while LayerShutdown takes the lock away.
// `layerMutex` is the same mutex; it stays known after that, and alive until the last of the users has left.
std::atomic<LayerLock> layerLock{nullptr};
std::atomic<LayerLock> layerMutex{nullptr};
UseCount layerLockUsers;

// The mutex that this thread's outermost entry locked; null outside, or when the entry found none.
thread_local LayerLock heldLock = nullptr;

void report(const char* text, int error) {
  if (DiagnosticHook hook = diagnosticHook.load(std::memory_order_acquire)) hook(text, error);
}

void leaveUsers() {
  LayerLock mutex = layerMutex.load(std::memory_order_relaxed);
  if (layerLockUsers.letGo()) DestroyLock(&mutex);
}

void setGuardDepth(std::uint32_t depth) {
  SetThreadValue(guardDepthKey, reinterpret_cast<void*>(static_cast<std::uintptr_t>(depth)));
}

// Locks the layer for the outermost entry of this thread.
void lockLayer() {
  LayerLock mutex = nullptr;
  if (layerLockUsers.tryUse()) {
    mutex = layerLock.load(std::memory_order_acquire);
    if (mutex == nullptr) leaveUsers();
  }
  Lock(&mutex);
  heldLock = mutex;
}

void unlockLayer() {
  LayerLock mutex = heldLock;
  heldLock = nullptr;
  Unlock(&mutex);
  if (mutex != nullptr) leaveUsers();
}

}  // namespace

void createGuardDepthKey() {
  if (guardDepthKey == kNoKey) guardDepthKey = CreateThreadKey();
}

void createLayerLock() {
  if (layerLock.load(std::memory_order_acquire) != nullptr) return;
  // A thread that is still inside after an earlier shutdown keeps the old mutex alive: take that one back.
  if (layerLockUsers.tryUse()) {
    layerLock.store(layerMutex.load(std::memory_order_relaxed), std::memory_order_release);
    return;
  }
  LayerLock mutex = nullptr;
  CreateLock(&mutex);
  if (mutex == nullptr) return;
  layerMutex.store(mutex, std::memory_order_relaxed);
  layerLockUsers.open();
  layerLock.store(mutex, std::memory_order_release);
}

void retireLayerLock() {
  if (layerLock.exchange(nullptr, std::memory_order_acq_rel) != nullptr) leaveUsers();
}

std::uint32_t guardDepth() {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(GetThreadValue(guardDepthKey)));
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
  if (lock == nullptr || *lock == nullptr) {
    report("badenter", 0);
    return;
  }
  if (int error = pthread_mutex_lock(*lock)) report("enter", error);
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
  if (lock == nullptr || *lock == nullptr) {
    report("badleave", 0);
    return;
  }
  if (int error = pthread_mutex_unlock(*lock)) report("leave", error);
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

void EnterLayer() {
  if (layerLock.load(std::memory_order_acquire) == nullptr && heldLock == nullptr) return;
  std::uint32_t depth = guardDepth();
  if (depth == 0) lockLayer();
  setGuardDepth(depth + 1);
}

void LeaveLayer() {
  // A thread that was inside when the lock was retired still has its mutex to give back.
  if (layerLock.load(std::memory_order_acquire) == nullptr && heldLock == nullptr) return;
  std::uint32_t depth = guardDepth();
  if (depth == 1) unlockLayer();
  // Required(leave-wraps): an unbalanced leave wraps the depth, and the thread never locks the layer again.
  setGuardDepth(depth - 1);
}
