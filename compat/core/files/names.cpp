// Calls that reach files by name, each over one or two of POSIX. They keep no state. What names look like is
// decided in compat/core/files/path_names.h.
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "compat/core/call_guard.h"
#include "compat/core/files/path_names.h"
#include "nimboxi/errors.h"
#include "nimboxi/files.h"
#include "nimboxi/system.h"

namespace nimboxi {
namespace {

constexpr mode_t kReadBits = S_IRUSR | S_IRGRP | S_IROTH;
constexpr mode_t kReadWriteBits = kReadBits | S_IWUSR | S_IWGRP | S_IWOTH;
constexpr mode_t kPermissions = 07777;
constexpr mode_t kNewDirectory = S_IRWXU | S_IRWXG | S_IRWXO;

constexpr DWORD kDiskSectorBytes = 1024;

DWORD fail(int32_t error) {
  SetLastError(error);
  return 0;
}

// The answer of a call that came to `result` in POSIX.
BOOL answer(int result) {
  if (result == 0) return TRUE;
  SetLastErrorFromErrno();
  return FALSE;
}

// Calls `call(path)`, POSIX's counterpart of a layer call with one path.
template <typename Call>
BOOL callWithPath(const char* path, Call call) {
  SetLastError(ERROR_SUCCESS);
  if (path != nullptr) return answer(call(path));
  SetLastError(ERROR_FILE_NOT_FOUND);
  return FALSE;
}

// The attributes of what stands at `path`, which may be null; 0 when there is nothing. Leaves the last error
// alone.
DWORD attributesOf(const char* path) {
  struct stat status;
  if (path == nullptr || stat(path, &status) != 0) return 0;
  const DWORD kind = S_ISDIR(status.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE;
  return (status.st_mode & S_IWUSR) != 0 ? kind : kind | FILE_ATTRIBUTE_READONLY;
}

// Reads the working directory into MAX_PATH_BYTES. False with the last error set.
bool readWorkingDirectory(char* path) {
  if (getcwd(path, MAX_PATH_BYTES) != nullptr) return true;
  SetLastError(ERROR_CURRENT_DIRECTORY);
  return false;
}

// As GetEnvironmentVariable, but an empty value counts as none for any size.
DWORD readFolderVariable(const char* name, DWORD size, char* buffer) {
  const DWORD length = GetEnvironmentVariable(name, buffer, size);
  return size == 0 && length == 1 ? 0 : length;  // 1: what an empty value takes
}

}  // namespace
}  // namespace nimboxi

using namespace nimboxi;

DWORD GetFileAttributes(const char* path) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  const DWORD attributes = attributesOf(path);
  return attributes != 0 ? attributes : fail(ERROR_GEN_FAILURE);
}

BOOL SetFileAttributes(const char* path, DWORD attributes) {
  CallGuard guard;
  return callWithPath(path, [attributes](const char* file) {
    struct stat status;
    if (stat(file, &status) != 0) return -1;
    const bool readOnly = (attributes & FILE_ATTRIBUTE_READONLY) != 0;
    const mode_t others = status.st_mode & kPermissions & ~kReadWriteBits;
    return chmod(file, others | (readOnly ? kReadBits : kReadWriteBits));
  });
}

BOOL IsDirectory(const char* path) {
  CallGuard guard;
  return (GetFileAttributes(path) & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

DWORD GetCurrentDirectory(DWORD size, char* buffer) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  char path[MAX_PATH_BYTES];
  if (!readWorkingDirectory(path)) return 0;
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
  if (oldName == nullptr || newName == nullptr) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
  }
  if (!movesInto(attributesOf(oldName), attributesOf(newName))) {
    return answer(std::rename(oldName, newName));
  }
  char target[MAX_PATH_BYTES];
  if (!buildMoveTarget(oldName, newName, target)) {
    SetLastError(ERROR_LABEL_TOO_LONG);
    return FALSE;
  }
  return answer(std::rename(oldName, target));
}

void SplitPath(const char* path, char* drive, char* directory, char* name, char* extension) {
  CallGuard guard;
  PathParts parts = splitPath(path == nullptr ? "" : path);
  // Required(extension-with-name): the extension comes with the name alone.
  if (name == nullptr) parts.extension = {};
  if (drive != nullptr) copyCut(parts.drive, drive, MAX_PATH_BYTES);
  if (directory != nullptr) copyCut(parts.directory, directory, MAX_PATH_BYTES);
  if (name != nullptr) copyCut(parts.name, name, MAX_PATH_BYTES);
  if (extension != nullptr) copyCut(parts.extension, extension, MAX_PATH_BYTES);
}

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
  if (directory == nullptr || prefix == nullptr || buffer == nullptr) return fail(ERROR_FILE_NOT_FOUND);
  char path[MAX_PATH_BYTES];  // the caller's buffer may hold the directory
  const auto isTaken = [&](WORD number) {
    return buildTempName(directory, prefix, number, path) && FileExists(path);
  };
  const auto first = static_cast<WORD>(GetTickCount());
  const bool fits = buildTempName(directory, prefix, first, path);
  const std::optional<WORD> number = fits ? firstFreeNumber(first, isTaken) : std::nullopt;
  copyCut(number ? path : "", buffer, MAX_PATH_BYTES);
  if (!number) return fail(fits ? ERROR_FILE_EXISTS : ERROR_LABEL_TOO_LONG);
  SetLastError(ERROR_SUCCESS);  // the search for the free name set it
  return *number;
}

DWORD GetFullPathName(const char* name, DWORD size, char* buffer, char** filePart) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (name == nullptr) return fail(ERROR_FILE_NOT_FOUND);
  char workingDirectory[MAX_PATH_BYTES] = "";
  if (name[0] != '/' && !readWorkingDirectory(workingDirectory)) return 0;
  char path[MAX_PATH_BYTES];  // the caller's buffer may hold the name
  const std::size_t length = buildFullPath(workingDirectory, name, path);
  if (length == 0) return fail(ERROR_LABEL_TOO_LONG);
  if (buffer == nullptr) size = 0;
  const std::string_view kept = copyCut({path, length}, buffer, size);
  if (filePart != nullptr) *filePart = size == 0 ? nullptr : buffer + filePartOffset(kept);
  return static_cast<DWORD>(length);
}

BOOL GetDiskFreeSpace(const char* rootPath, DWORD* sectorsPerCluster, DWORD* bytesPerSector,
                      DWORD* freeClusters, DWORD* totalClusters) {
  CallGuard guard;
  if (sectorsPerCluster == nullptr || bytesPerSector == nullptr || freeClusters == nullptr ||
      totalClusters == nullptr) {
    return FALSE;
  }
  *sectorsPerCluster = *bytesPerSector = *freeClusters = *totalClusters = 0;
  struct statfs status;
  if (rootPath == nullptr || statfs(rootPath, &status) != 0) return FALSE;
  // Required(disk-blocks-1024): blocks count as 1024 bytes whatever their size, so a disk of larger ones
  // shows smaller.
  *sectorsPerCluster = 1;
  *bytesPerSector = kDiskSectorBytes;
  *freeClusters = static_cast<DWORD>(status.f_bfree);
  *totalClusters = static_cast<DWORD>(status.f_blocks);
  return FALSE;  // Required(disk-space-false): also when the outputs are filled; callers look at these alone.
}
