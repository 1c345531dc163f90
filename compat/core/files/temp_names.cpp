// The folder and the names of temporary files.
#include <sys/stat.h>

#include <optional>

#include "compat/core/call_guard.h"
#include "compat/core/errors/fail.h"
#include "compat/core/files/path_names.h"
#include "nimboxi/files.h"
#include "nimboxi/finding.h"
#include "nimboxi/system.h"

namespace nimboxi {
namespace {

// As GetEnvironmentVariable, but an empty value counts as none for any size.
DWORD readFolderVariable(const char* name, DWORD size, char* buffer) {
  const DWORD length = GetEnvironmentVariable(name, buffer, size);
  return size == 0 && length == 1 ? 0 : length;  // 1: what an empty value takes
}

}  // namespace
}  // namespace nimboxi

using namespace nimboxi;

DWORD GetTempPath(DWORD size, char* buffer) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (buffer == nullptr) size = 0;
  DWORD length = readFolderVariable("TMP", size, buffer);
  if (length == 0) length = readFolderVariable("TEMP", size, buffer);
  if (length == 0) length = GetCurrentDirectory(size, buffer);
  // A path that did not fit is longer than this, so that the buffer is not read.
  const bool roomForMore = std::size_t{length} + 1 < size;
  if (length == 0 || !roomForMore || buffer[length - 1] == '\\') return length;
  // Required(temp-path-backslash): a backslash, as in Win32; a file name behind it names a file beside.
  buffer[length] = '\\';
  buffer[length + 1] = '\0';
  return length + 1;
}

DWORD GetTempFileName(const char* directory, const char* prefix, DWORD /*unique*/, char* buffer) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (directory == nullptr || prefix == nullptr || buffer == nullptr)
    return fail<DWORD>(ERROR_FILE_NOT_FOUND);
  char path[MAX_PATH_BYTES];  // the caller's buffer may hold the directory
  const auto isTaken = [&](WORD number) {
    struct stat status;  // asked too: it needs no descriptor, and no right to read the directory
    return buildTempName(directory, prefix, number, path) && (lstat(path, &status) == 0 || FileExists(path));
  };
  const auto first = static_cast<WORD>(GetTickCount());
  const bool fits = buildTempName(directory, prefix, first, path);
  const std::optional<WORD> number = fits ? firstFreeNumber(first, isTaken) : std::nullopt;
  copyCut(number ? path : "", buffer, MAX_PATH_BYTES);
  if (!number) return fail<DWORD>(fits ? ERROR_FILE_EXISTS : ERROR_LABEL_TOO_LONG);
  SetLastError(ERROR_SUCCESS);  // the search for the free name set it
  return *number;
}
