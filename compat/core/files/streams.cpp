// Reading, writing and the position of files and devices behind handles: streams of stdio. A serial port is
// read and written past its stream's buffer, through the descriptor. What belongs to a handle is used under
// the layer guard.
#include <stdio_ext.h>
#include <unistd.h>

#include <cstdio>

#include "compat/core/call_guard.h"
#include "compat/core/errors/fail.h"
#include "compat/core/handles.h"
#include "nimboxi/files.h"
#include "nimboxi/ports.h"

namespace nimboxi {
namespace {

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

}  // namespace
}  // namespace nimboxi

using namespace nimboxi;

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
  return total == count ? TRUE : fail(ERROR_WRITE_FAULT);
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
  return answer(ftruncate(fileno(stream), position));
}

BOOL FlushFileBuffers(HANDLE file) {
  CallGuard guard;
  std::FILE* stream = LookupFileHandle(file);
  if (stream == nullptr) return FALSE;
  SetLastError(ERROR_SUCCESS);
  std::fflush(stream);
  return TRUE;
}
