// Byte ranges of files, locked against other processes.
#include <fcntl.h>

#include <cstdio>

#include "compat/core/call_guard.h"
#include "compat/core/errors/fail.h"
#include "nimboxi/files.h"
#include "nimboxi/handles.h"

namespace nimboxi {
namespace {

struct Range {
  DWORD offsetLow, offsetHigh, lengthLow, lengthHigh;
};

BOOL changeLock(HANDLE file, const Range& range, short type) {
  std::FILE* stream = LookupFileHandle(file);
  if (stream == nullptr) return FALSE;
  if (range.offsetHigh != 0 || range.lengthHigh != 0) return fail(ERROR_GEN_FAILURE);
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

BOOL LockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD lengthLow, DWORD lengthHigh) {
  CallGuard guard;
  return changeLock(file, {offsetLow, offsetHigh, lengthLow, lengthHigh}, F_WRLCK);
}

BOOL UnlockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD lengthLow, DWORD lengthHigh) {
  CallGuard guard;
  return changeLock(file, {offsetLow, offsetHigh, lengthLow, lengthHigh}, F_UNLCK);
}
