// Calls that reach files by name. They keep no state.
#include <sys/stat.h>

#include "compat/core/call_guard.h"
#include "nimboxi/errors.h"
#include "nimboxi/files.h"

using namespace nimboxi;

namespace {

constexpr mode_t kReadBits = S_IRUSR | S_IRGRP | S_IROTH;
constexpr mode_t kReadWriteBits = kReadBits | S_IWUSR | S_IWGRP | S_IWOTH;
constexpr mode_t kPermissions = 07777;

}  // namespace

DWORD GetFileAttributes(const char* path) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  struct stat status;
  if (path == nullptr || stat(path, &status) != 0) {
    SetLastError(ERROR_GEN_FAILURE);
    return 0;
  }
  const DWORD kind = S_ISDIR(status.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE;
  return (status.st_mode & S_IWUSR) != 0 ? kind : kind | FILE_ATTRIBUTE_READONLY;
}

BOOL SetFileAttributes(const char* path, DWORD attributes) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (path == nullptr) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
  }
  struct stat status;
  if (stat(path, &status) == 0) {
    const bool readOnly = (attributes & FILE_ATTRIBUTE_READONLY) != 0;
    const mode_t others = status.st_mode & kPermissions & ~kReadWriteBits;
    if (chmod(path, others | (readOnly ? kReadBits : kReadWriteBits)) == 0) return TRUE;
  }
  SetLastErrorFromErrno();
  return FALSE;
}
