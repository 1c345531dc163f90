// Files and devices behind handles: streams of stdio. A serial port is read and written past its stream's
// buffer, through the descriptor. What belongs to a handle is used under the layer guard.
#include "nimboxi/files.h"

#include <fcntl.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "compat/core/call_guard.h"
#include "compat/core/handles.h"
#include "nimboxi/errors.h"
#include "nimboxi/finding.h"
#include "nimboxi/ports.h"

namespace nimboxi {
namespace {

constexpr int32_t kDevicePathBytes = 255;

BOOL failFromErrno() {
  SetLastErrorFromErrno();
  return FALSE;
}

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

// Opens a file. Null with the last error set.
std::FILE* openFile(const char* name, DWORD access, DWORD disposition) {
  const bool anew = disposition == CREATE_NEW || disposition == CREATE_ALWAYS;
  // A new file is created exclusively: the search that looked for it before does not see every name.
  std::FILE* stream = openStream(name, anew ? 'w' : 'r', disposition == CREATE_NEW, access);
  if (stream != nullptr) return stream;
  SetLastErrorFromErrno();
  if (disposition != OPEN_ALWAYS || GetLastError() != ERROR_FILE_NOT_FOUND) return nullptr;
  stream = openStream(name, 'w', false, access);
  if (stream == nullptr) SetLastErrorFromErrno();
  return stream;
}

// Opens a port's device. Null with the last error set.
std::FILE* openDevice(const char* path) {
  const int descriptor = open(path, O_RDWR | O_NOCTTY | O_SYNC | O_CLOEXEC);
  // Required(device-zero): 0, not -1, is the failed open of a device; -1 fails in fdopen below.
  if (descriptor == 0) {
    close(descriptor);
    SetLastError(ERROR_GEN_FAILURE);
    return nullptr;
  }
  std::FILE* stream = fdopen(descriptor, "r+");
  if (stream != nullptr) return stream;
  SetLastErrorFromErrno();
  if (descriptor > 0) close(descriptor);
  return nullptr;
}

HANDLE failOpen(int32_t error) {
  SetLastError(error);
  return INVALID_HANDLE_VALUE;
}

// The handle of a stream, which it owns from now on.
HANDLE wrapStream(std::FILE* stream, DWORD deviceType) {
  HandleRecord* record = newHandle(kFileHandle);
  if (record == nullptr) {
    std::fclose(stream);
    return failOpen(ERROR_GEN_FAILURE);
  }
  record->object.stream = stream;
  record->deviceType = deviceType;
  return record;
}

// Makes reads of a serial port return at once with what has arrived, from here to the end of the scope. A
// port whose reads have no time-out is left as it is.
class InstantReads {
 public:
  explicit InstantReads(HANDLE port) : port_(port) {
    if (!GetPortTimeouts(port, &timeouts_) || timeouts_.readInterCharacter == 0) return;
    const PortTimeouts none{};
    changed_ = SetPortTimeouts(port, &none);
  }
  ~InstantReads() {
    if (changed_) SetPortTimeouts(port_, &timeouts_);
  }
  InstantReads(const InstantReads&) = delete;
  InstantReads& operator=(const InstantReads&) = delete;

 private:
  const HANDLE port_;
  PortTimeouts timeouts_{};
  bool changed_ = false;
};

bool isSerialPort(HANDLE file) {
  return isSerialLine(findHandle(file, kFileHandle)->deviceType);
}

DWORD readPort(HANDLE port, std::FILE* stream, void* buffer, DWORD count) {
  const InstantReads instantReads(port);
  SetLastError(ERROR_SUCCESS);
  // Required(port-read-failure): a failed read shows as 0xFFFFFFFF bytes and is no failure of the call.
  return static_cast<DWORD>(read(fileno(stream), buffer, count));
}

DWORD readFile(std::FILE* stream, void* buffer, DWORD count) {
  SetLastError(ERROR_SUCCESS);
  std::fflush(stream);
  std::clearerr(stream);  // a file may have grown since its end was reached
  return buffer == nullptr ? 0 : static_cast<DWORD>(std::fread(buffer, 1, count, stream));
}

// Writes until all is written or a write fails. Returns the number of bytes written.
DWORD writePort(std::FILE* stream, const void* buffer, DWORD count) {
  const char* bytes = static_cast<const char*>(buffer);
  DWORD total = 0;
  while (total < count) {
    const ssize_t written = write(fileno(stream), bytes + total, count - total);
    if (written <= 0) break;
    total += static_cast<DWORD>(written);
  }
  return total;
}

DWORD writeFile(std::FILE* stream, const void* buffer, DWORD count) {
  if (buffer == nullptr) return 0;
  if (__freading(stream) != 0) fseeko(stream, 0, SEEK_CUR);  // stdio asks for it between a read and a write
  return static_cast<DWORD>(std::fwrite(buffer, 1, count, stream));
}

// The stream of a handle for the calls that report a bad one with last error 6; the last error is 0 else.
std::FILE* streamOf(HANDLE file) {
  std::FILE* stream = LookupFileHandle(file);
  SetLastError(stream == nullptr ? ERROR_INVALID_HANDLE : ERROR_SUCCESS);
  return stream;
}

int seekOrigin(DWORD method) {
  return method == FILE_CURRENT ? SEEK_CUR : (method == FILE_END ? SEEK_END : SEEK_SET);
}

struct Range {
  DWORD offsetLow, offsetHigh, lengthLow, lengthHigh;
};

BOOL changeLock(HANDLE file, const Range& range, short type) {
  std::FILE* stream = LookupFileHandle(file);
  if (stream == nullptr) return FALSE;
  if (range.offsetHigh != 0 || range.lengthHigh != 0) {
    SetLastError(ERROR_GEN_FAILURE);
    return FALSE;
  }
  SetLastError(ERROR_SUCCESS);
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = range.offsetLow;
  lock.l_len = range.lengthLow;
  // Required(range-lock-announces): success also when another process holds the range; callers use it to
  // announce, not to exclude.
  fcntl(fileno(stream), F_SETLK, &lock);
  return TRUE;
}

}  // namespace
}  // namespace nimboxi

using namespace nimboxi;

HANDLE CreateFile(const char* fileName, DWORD access, DWORD /*share*/, void* /*security*/, DWORD disposition,
                  DWORD /*flags*/, HANDLE /*templateFile*/) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (fileName == nullptr) return failOpen(ERROR_FILE_NOT_FOUND);
  char devicePath[kDevicePathBytes];
  const DWORD deviceType = MapDeviceName(fileName, devicePath, kDevicePathBytes);
  const bool isDevice = deviceType != DEVICE_FILE;
  if (disposition == CREATE_NEW && FileExists(isDevice ? devicePath : fileName)) {
    return failOpen(ERROR_FILE_EXISTS);
  }
  std::FILE* stream = isDevice ? openDevice(devicePath) : openFile(fileName, access, disposition);
  return stream == nullptr ? INVALID_HANDLE_VALUE : wrapStream(stream, deviceType);
}

BOOL ReadFile(HANDLE file, void* buffer, DWORD count, DWORD* bytesRead) {
  CallGuard guard;
  std::FILE* stream = LookupFileHandle(file);
  if (stream == nullptr) return FALSE;
  const DWORD total =
      isSerialPort(file) ? readPort(file, stream, buffer, count) : readFile(stream, buffer, count);
  if (bytesRead != nullptr) *bytesRead = total;
  return TRUE;
}

BOOL WriteFile(HANDLE file, const void* buffer, DWORD count, DWORD* bytesWritten) {
  CallGuard guard;
  std::FILE* stream = LookupFileHandle(file);
  if (stream == nullptr) return FALSE;
  SetLastError(ERROR_SUCCESS);
  const DWORD total =
      isSerialPort(file) ? writePort(stream, buffer, count) : writeFile(stream, buffer, count);
  if (bytesWritten != nullptr) *bytesWritten = total;
  if (total == count) return TRUE;
  SetLastError(ERROR_WRITE_FAULT);
  return FALSE;
}

BOOL SetFilePointerEx(HANDLE file, int64_t distance, int64_t* newPosition, DWORD method) {
  CallGuard guard;
  std::FILE* stream = streamOf(file);
  if (stream == nullptr) return FALSE;
  if (fseeko(stream, distance, seekOrigin(method)) != 0) return failFromErrno();
  const int64_t position = ftello(stream);
  if (position < 0) return failFromErrno();
  if (newPosition != nullptr) *newPosition = position;
  return TRUE;
}

DWORD SetFilePointer(HANDLE file, int32_t distance, int32_t* /*distanceHigh*/, DWORD method) {
  CallGuard guard;
  int64_t position = 0;
  if (!SetFilePointerEx(file, distance, &position, method)) return INVALID_SET_FILE_POINTER;
  return static_cast<DWORD>(position);
}

BOOL GetFileSizeEx(HANDLE file, int64_t* size) {
  CallGuard guard;
  int64_t position = 0;
  return SetFilePointerEx(file, 0, &position, FILE_CURRENT) && SetFilePointerEx(file, 0, size, FILE_END) &&
         SetFilePointerEx(file, position, nullptr, FILE_BEGIN);
}

DWORD GetFileSize(HANDLE file, DWORD* /*sizeHigh*/) {
  CallGuard guard;
  int64_t size = 0;
  return GetFileSizeEx(file, &size) ? static_cast<DWORD>(size) : INVALID_FILE_SIZE;
}

BOOL SetEndOfFile(HANDLE file) {
  CallGuard guard;
  std::FILE* stream = streamOf(file);
  if (stream == nullptr) return FALSE;
  int64_t position = 0;
  if (!SetFilePointerEx(file, 0, &position, FILE_CURRENT)) return FALSE;
  return ftruncate(fileno(stream), position) == 0 ? TRUE : failFromErrno();
}

BOOL FlushFileBuffers(HANDLE file) {
  CallGuard guard;
  std::FILE* stream = LookupFileHandle(file);
  if (stream == nullptr) return FALSE;
  SetLastError(ERROR_SUCCESS);
  std::fflush(stream);
  return TRUE;
}

BOOL LockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD lengthLow, DWORD lengthHigh) {
  CallGuard guard;
  return changeLock(file, {offsetLow, offsetHigh, lengthLow, lengthHigh}, F_WRLCK);
}

BOOL UnlockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD lengthLow, DWORD lengthHigh) {
  CallGuard guard;
  return changeLock(file, {offsetLow, offsetHigh, lengthLow, lengthHigh}, F_UNLCK);
}

BOOL FileExists(const char* fileName) {
  CallGuard guard;
  FindData data;
  HANDLE search = FindFirstFile(fileName, &data);
  if (search == INVALID_HANDLE_VALUE) return FALSE;
  FindClose(search);
  return TRUE;
}
