// Opening files and devices. A handle owns the stream of stdio that is opened for it.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "compat/core/call_guard.h"
#include "compat/core/errors/fail.h"
#include "compat/core/handles.h"
#include "nimboxi/files.h"
#include "nimboxi/finding.h"
#include "nimboxi/ports.h"

namespace nimboxi {
namespace {

constexpr int32_t kDevicePathBytes = 255;

// A file in the mode that fopen takes; no program that is launched inherits it ("e").
std::FILE* openStream(const char* name, char kind, bool exclusive, DWORD access) {
  char mode[5];
  char* end = mode;
  *end++ = kind;
  if ((access & GENERIC_WRITE) != 0) *end++ = '+';
  *end++ = 'e';
  if (exclusive) *end++ = 'x';
  *end = '\0';
  return std::fopen(name, mode);
}

// Opens a file. Null with the last error set, and errno as the last attempt left it.
std::FILE* openFile(const char* name, DWORD access, DWORD disposition) {
  const bool anew = disposition == CREATE_NEW || disposition == CREATE_ALWAYS;
  // A new file is created exclusively: the search that looked for it before does not see every name.
  std::FILE* stream = openStream(name, anew ? 'w' : 'r', disposition == CREATE_NEW, access);
  if (stream != nullptr) return stream;
  const bool isMissing = errno == ENOENT;  // the last error may not be kept: no thread key was left
  SetLastErrorFromErrno();
  if (disposition != OPEN_ALWAYS || !isMissing) return nullptr;
  // Exclusively: what another process has made since keeps its contents, and is opened as it stands.
  stream = openStream(name, 'w', true, access);
  if (stream == nullptr && errno == EEXIST) stream = openStream(name, 'r', false, access);
  if (stream == nullptr && errno == ENOENT) stream = openStream(name, 'w', false, access);  // a dangling link
  if (stream == nullptr) SetLastErrorFromErrno();
  return stream;
}

// Opens a port's device. Null with the last error set.
std::FILE* openDevice(const char* path) {
  const int descriptor = open(path, O_RDWR | O_NOCTTY | O_SYNC | O_CLOEXEC);
  // Required(device-zero): 0, not -1, is the failed open of a device; -1 fails in fdopen below.
  if (descriptor == 0) {
    close(descriptor);
    errno = EBADF;
    return fail<std::FILE*>(ERROR_GEN_FAILURE);
  }
  std::FILE* stream = fdopen(descriptor, "r+");
  if (stream != nullptr) return stream;
  SetLastErrorFromErrno();
  if (descriptor > 0) close(descriptor);
  return nullptr;
}

// The handle of a stream, which it owns from now on.
HANDLE wrapStream(std::FILE* stream, DWORD deviceType) {
  HandleRecord* record = newHandle(kFileHandle);
  if (record == nullptr) {
    std::fclose(stream);
    return fail(ERROR_GEN_FAILURE, INVALID_HANDLE_VALUE);
  }
  record->object.stream = stream;
  record->deviceType = deviceType;
  return record;
}

}  // namespace
}  // namespace nimboxi

using namespace nimboxi;

HANDLE CreateFile(const char* fileName, DWORD access, DWORD /*share*/, void* /*security*/, DWORD disposition,
                  DWORD /*flags*/, HANDLE /*templateFile*/) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (fileName == nullptr) return fail(ERROR_FILE_NOT_FOUND, INVALID_HANDLE_VALUE);
  char devicePath[kDevicePathBytes];
  const DWORD deviceType = MapDeviceName(fileName, devicePath, kDevicePathBytes);
  const bool isDevice = deviceType != DEVICE_FILE;
  if (disposition == CREATE_NEW && FileExists(isDevice ? devicePath : fileName)) {
    return fail(ERROR_FILE_EXISTS, INVALID_HANDLE_VALUE);
  }
  std::FILE* stream = isDevice ? openDevice(devicePath) : openFile(fileName, access, disposition);
  return stream == nullptr ? INVALID_HANDLE_VALUE : wrapStream(stream, deviceType);
}
