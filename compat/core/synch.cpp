// Semaphores, threads and waits behind handles.
#include <cerrno>
#include <cstdlib>

#include "compat/core/call_guard.h"
#include "compat/core/errors/fail.h"
#include "compat/core/handles.h"
#include "nimboxi/synch.h"

namespace nimboxi {
namespace {

// The record of an object that could not be had, which may be null, is freed.
HANDLE failToCreate(HandleRecord* record) {
  std::free(record);
  return fail<HANDLE>(ERROR_GEN_FAILURE);
}

bool waitForPlace(sem_t* semaphore) {
  int result;
  do {
    result = sem_wait(semaphore);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

}  // namespace
}  // namespace nimboxi

using namespace nimboxi;

HANDLE CreateSemaphore(void* attributes, int32_t initialCount, int32_t /*maximumCount*/, const char* name) {
  CallGuard guard;
  if (attributes != nullptr || name != nullptr) return fail<HANDLE>(ERROR_GEN_FAILURE);
  HandleRecord* record = newHandle(kSemaphoreHandle);
  if (record == nullptr ||
      sem_init(&record->object.semaphore, 0, static_cast<unsigned int>(initialCount)) != 0) {
    return failToCreate(record);
  }
  SetLastError(ERROR_SUCCESS);
  return record;
}

BOOL ReleaseSemaphore(HANDLE semaphore, int32_t /*releaseCount*/, int32_t* /*previousCount*/) {
  CallGuard guard;
  HandleRecord* record = findHandle(semaphore, kSemaphoreHandle);
  // Required(release-one): one place, whatever the count says.
  const bool released = record != nullptr && sem_post(&record->object.semaphore) == 0;
  return finish(released ? ERROR_SUCCESS : ERROR_GEN_FAILURE);
}

HANDLE CreateThread(void* attributes, size_t stackSize, THREAD_START_ROUTINE startRoutine, void* parameter,
                    DWORD creationFlags, uintptr_t* threadId) {
  CallGuard guard;
  if (attributes != nullptr || stackSize != 0 || startRoutine == nullptr)
    return fail<HANDLE>(ERROR_GEN_FAILURE);
  HandleRecord* record = newHandle(kThreadHandle);
  if (record == nullptr || pthread_create(&record->object.thread, nullptr, startRoutine, parameter) != 0) {
    return failToCreate(record);
  }
  record->joinable = (creationFlags & CREATE_JOINABLE_THREAD) != 0;
  if (threadId != nullptr) *threadId = static_cast<uintptr_t>(record->object.thread);
  if (!record->joinable) pthread_detach(record->object.thread);
  SetLastError(ERROR_SUCCESS);
  return record;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  CallGuard guard;
  HandleRecord* semaphore = findHandle(handle, kSemaphoreHandle);
  HandleRecord* thread = findHandle(handle, kThreadHandle);
  if ((semaphore == nullptr && thread == nullptr) || milliseconds != INFINITE) {
    return fail(ERROR_GEN_FAILURE, WAIT_FAILED);
  }
  // A thread is joined once, and not by itself; asking the system again about a thread that has gone is
  // undefined.
  const bool mayJoin =
      thread != nullptr && thread->joinable && !pthread_equal(thread->object.thread, pthread_self());
  if (mayJoin) thread->joinable = false;
  // The record is not looked at outside the guard: a thread's handle may be closed meanwhile.
  sem_t* const place = semaphore == nullptr ? nullptr : &semaphore->object.semaphore;
  const pthread_t joined = mayJoin ? thread->object.thread : pthread_t{};
  guard.leave();  // the holder of the semaphore needs the layer to release it
  const bool done = place != nullptr ? waitForPlace(place) : mayJoin && pthread_join(joined, nullptr) == 0;
  if (done) {
    SetLastError(ERROR_SUCCESS);
    return WAIT_OBJECT_0;
  }
  guard.enter();
  return fail(ERROR_GEN_FAILURE, WAIT_FAILED);
}
