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

// Constant after LayerStartup.
DWORD guardDepthKey = kNoKey;

// Constant from LayerStartup to LayerShutdown, when no other thread is in the layer; null outside.
std::atomic<LayerLock> layerLock{nullptr};

std::atomic<DiagnosticHook> diagnosticHook{nullptr};

// This thread's depth when the key cannot keep it, as no key was left or there is no memory for its value:
// a depth that were lost would keep the lock locked, and all other threads out, for ever. 0 otherwise.
thread_local std::uint32_t keylessDepth = 0;

void report(const char* text, int error) {
  if (DiagnosticHook hook = diagnosticHook.load(std::memory_order_acquire)) hook(text, error);
}

bool hasLayerLock() {
  return layerLock.load(std::memory_order_acquire) != nullptr;
}

// Locks or unlocks the layer. The pointer is read once more: a lock that has gone since is reported.
void changeLayerLock(void (*change)(LayerLock*)) {
  LayerLock mutex = layerLock.load(std::memory_order_acquire);
  change(&mutex);
}

void setGuardDepth(std::uint32_t depth) {
  const auto value = reinterpret_cast<void*>(static_cast<std::uintptr_t>(depth));
  const bool kept = guardDepthKey != kNoKey && pthread_setspecific(guardDepthKey, value) == 0;
  keylessDepth = kept ? 0 : depth;
}

}  // namespace

void createGuardDepthKey() {
  if (guardDepthKey == kNoKey) guardDepthKey = CreateThreadKey();
}

void createLayerLock() {
  if (hasLayerLock()) return;
  LayerLock mutex = nullptr;
  CreateLock(&mutex);
  layerLock.store(mutex, std::memory_order_release);
}

void destroyLayerLock() {
  LayerLock mutex = layerLock.exchange(nullptr, std::memory_order_acq_rel);
  DestroyLock(&mutex);
}

std::uint32_t guardDepth() {
  const void* kept = guardDepthKey == kNoKey ? nullptr : pthread_getspecific(guardDepthKey);
  if (kept == nullptr) return keylessDepth;
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(kept));
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
  if (!hasLayerLock()) return;
  const std::uint32_t depth = guardDepth();
  if (depth == 0) changeLayerLock(Lock);
  setGuardDepth(depth + 1);
}

void LeaveLayer() {
  if (!hasLayerLock()) return;
  const std::uint32_t depth = guardDepth();
  if (depth == 1) changeLayerLock(Unlock);
  // Required(leave-wraps): an unbalanced leave wraps the depth, and the thread never locks the layer again.
  setGuardDepth(depth - 1);
}
