// The record behind every handle, and the checks that all calls on handles share.
#pragma once

#include <pthread.h>
#include <semaphore.h>

#include <cstdio>

#include "nimboxi/types.h"

namespace nimboxi {

enum HandleKind : std::uint32_t { kSemaphoreHandle = 1, kThreadHandle = 2, kFileHandle = 3 };

// One size for all kinds, so that a record is freed without knowing its kind. From the general heap.
struct HandleRecord {
  std::uint32_t kind;
  union {
    sem_t semaphore;  // process-private
    pthread_t thread;
    std::FILE* stream;
  } object;
  std::uint32_t deviceType;  // files only
  bool joinable;             // threads only: nobody has waited for the thread's end yet
};

// False for the two values that never stand for an object: 0 and INVALID_HANDLE_VALUE.
inline bool isHandleValue(HANDLE handle) {
  return reinterpret_cast<std::uintptr_t>(handle) + 1 >= 2;
}

// The record of a handle of one kind; null for another kind and for the two invalid values.
inline HandleRecord* findHandle(HANDLE handle, HandleKind kind) {
  if (!isHandleValue(handle)) return nullptr;
  auto* record = static_cast<HandleRecord*>(handle);
  return record->kind == kind ? record : nullptr;
}

// Whether a device type is one of the serial lines (not an ordinary file, not a parallel port).
bool isSerialLine(DWORD deviceType);

// A new record, all zero but its kind; null without memory.
HandleRecord* newHandle(HandleKind kind);

}  // namespace nimboxi
