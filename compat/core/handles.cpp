// Handle records: creation, lookup and closing.
#include "compat/core/handles.h"

#include <termios.h>

#include <cstdlib>
#include <ctime>

#include "compat/core/call_guard.h"
#include "compat/core/errors/fail.h"
#include "compat/core/ports/port_entries.h"
#include "nimboxi/handles.h"

namespace nimboxi {

bool isSerialLine(DWORD deviceType) {
  return deviceType == DEVICE_RS232 || (deviceType >= DEVICE_RS422 && deviceType <= DEVICE_MODEM);
}

HandleRecord* newHandle(HandleKind kind) {
  auto* record = static_cast<HandleRecord*>(std::calloc(1, sizeof(HandleRecord)));
  if (record != nullptr) record->kind = kind;
  return record;
}

namespace {

constexpr int kDefaultDrainSeconds = 120;

int drainSeconds() NIMBOXI_REQUIRES(layerGuard) {
  char delay[5];
  readPortEntry("Delay", delay, sizeof delay);
  int seconds = std::atoi(delay);
  return seconds == 0 ? kDefaultDrainSeconds : seconds;
}

void drainOutput(std::FILE* stream) NIMBOXI_REQUIRES(layerGuard) {
  const int limit = drainSeconds();
  const std::time_t start = std::time(nullptr);
  while (tcdrain(fileno(stream)) != 0 && std::time(nullptr) - start < limit) {
  }
}

// A stream is gone after a close that failed (a full disk, say), while the handle stays: closing that once
// more frees it.
bool closeStream(HandleRecord* record) NIMBOXI_REQUIRES(layerGuard) {
  std::FILE* stream = record->object.stream;
  record->object.stream = nullptr;
  if (stream == nullptr) return true;
  if (isSerialLine(record->deviceType)) drainOutput(stream);
  return std::fclose(stream) == 0;
}

// Releases the object of a record. False when the system refuses.
bool closeObject(HandleRecord* record) NIMBOXI_REQUIRES(layerGuard) {
  switch (record->kind) {
    case kFileHandle:
      return closeStream(record);
    case kSemaphoreHandle:
      return sem_destroy(&record->object.semaphore) == 0;
    default:  // a thread stays as it is: it runs on, and can be joined by its identity if it ever could
      return true;
  }
}

}  // namespace
}  // namespace nimboxi

using namespace nimboxi;

BOOL CloseHandle(HANDLE handle) {
  CallGuard guard;
  auto* record = isHandleValue(handle) ? static_cast<HandleRecord*>(handle) : nullptr;
  if (record == nullptr || record->kind < kSemaphoreHandle || record->kind > kFileHandle ||
      !closeObject(record)) {
    return fail(ERROR_GEN_FAILURE);
  }
  std::free(record);
  SetLastError(ERROR_SUCCESS);
  return TRUE;
}

std::FILE* LookupFileHandle(HANDLE handle) {
  CallGuard guard;
  HandleRecord* record = findHandle(handle, kFileHandle);
  std::FILE* stream = record == nullptr ? nullptr : record->object.stream;
  if (stream == nullptr) SetLastError(ERROR_GEN_FAILURE);
  return stream;
}

BOOL GetHandleDeviceType(HANDLE handle, HandleDeviceType* result) {
  CallGuard guard;
  HandleRecord* record = findHandle(handle, kFileHandle);
  if (record == nullptr) SetLastError(ERROR_GEN_FAILURE);
  if (result == nullptr) return TRUE;
  result->reserved = 0;
  result->deviceType = record == nullptr ? 0 : record->deviceType;
  return TRUE;
}
