// The attributes of files: read-only or not, directory or not.
#include "compat/core/files/attributes.h"

#include <sys/stat.h>

#include "compat/core/call_guard.h"
#include "compat/core/errors/fail.h"
#include "nimboxi/files.h"

namespace nimboxi {
namespace {

constexpr mode_t kReadBits = S_IRUSR | S_IRGRP | S_IROTH;
constexpr mode_t kReadWriteBits = kReadBits | S_IWUSR | S_IWGRP | S_IWOTH;
constexpr mode_t kPermissions = 07777;

}  // namespace

DWORD attributesOf(const char* path) {
  struct stat status;
  if (path == nullptr || stat(path, &status) != 0) return 0;
  const DWORD kind = S_ISDIR(status.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE;
  return (status.st_mode & S_IWUSR) != 0 ? kind : kind | FILE_ATTRIBUTE_READONLY;
}

}  // namespace nimboxi

using namespace nimboxi;

DWORD GetFileAttributes(const char* path) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  const DWORD attributes = attributesOf(path);
  return attributes != 0 ? attributes : fail<DWORD>(ERROR_GEN_FAILURE);
}

BOOL SetFileAttributes(const char* path, DWORD attributes) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (path == nullptr) return fail(ERROR_FILE_NOT_FOUND);
  struct stat status;
  if (stat(path, &status) != 0) return failFromErrno();
  const bool readOnly = (attributes & FILE_ATTRIBUTE_READONLY) != 0;
  const mode_t others = status.st_mode & kPermissions & ~kReadWriteBits;
  return answer(chmod(path, others | (readOnly ? kReadBits : kReadWriteBits)));
}

BOOL IsDirectory(const char* path) {
  CallGuard guard;
  return (GetFileAttributes(path) & FILE_ATTRIBUTE_DIRECTORY) != 0;
}
