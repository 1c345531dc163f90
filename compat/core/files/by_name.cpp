// Calls that reach files and directories by name, each over one or two of POSIX. They keep no state.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "compat/core/call_guard.h"
#include "compat/core/errors/fail.h"
#include "compat/core/files/attributes.h"
#include "compat/core/files/path_names.h"
#include "nimboxi/files.h"

namespace nimboxi {
namespace {

constexpr mode_t kNewDirectory = S_IRWXU | S_IRWXG | S_IRWXO;

// Calls `call(path)`, POSIX's counterpart of a layer call with one path.
template <typename Call>
BOOL callWithPath(const char* path, Call call) {
  SetLastError(ERROR_SUCCESS);
  return path == nullptr ? fail(ERROR_FILE_NOT_FOUND) : answer(call(path));
}

}  // namespace
}  // namespace nimboxi

using namespace nimboxi;

DWORD GetCurrentDirectory(DWORD size, char* buffer) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  char path[MAX_PATH_BYTES];
  if (getcwd(path, sizeof path) == nullptr) return fail<DWORD>(ERROR_CURRENT_DIRECTORY);
  const std::size_t length = std::strlen(path);
  if (buffer == nullptr || length + 1 > size) return static_cast<DWORD>(length + 1);
  std::memcpy(buffer, path, length + 1);
  return static_cast<DWORD>(length);
}

BOOL SetCurrentDirectory(const char* path) {
  CallGuard guard;
  return callWithPath(path, chdir);
}

BOOL CreateDirectory(const char* path, void* /*security*/) {
  CallGuard guard;
  return callWithPath(path, [](const char* directory) { return mkdir(directory, kNewDirectory); });
}

BOOL RemoveDirectory(const char* path) {
  CallGuard guard;
  return callWithPath(path, rmdir);
}

BOOL DeleteFile(const char* path) {
  CallGuard guard;
  // Required(delete-takes-directories): an empty directory goes as well.
  return callWithPath(path, [](const char* file) { return std::remove(file); });
}

BOOL MoveFile(const char* oldName, const char* newName) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (oldName == nullptr || newName == nullptr) return fail(ERROR_FILE_NOT_FOUND);
  if (!movesInto(attributesOf(oldName), attributesOf(newName))) {
    return answer(std::rename(oldName, newName));
  }
  char target[MAX_PATH_BYTES];
  if (!buildMoveTarget(oldName, newName, target)) return fail(ERROR_LABEL_TOO_LONG);
  return answer(std::rename(oldName, target));
}
