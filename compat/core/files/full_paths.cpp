// The parts of a path and the full path of a name, over the pure rules of path_names.
#include "compat/core/call_guard.h"
#include "compat/core/errors/fail.h"
#include "compat/core/files/path_names.h"
#include "nimboxi/files.h"

using namespace nimboxi;

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

DWORD GetFullPathName(const char* name, DWORD size, char* buffer, char** filePart) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (name == nullptr) return fail<DWORD>(ERROR_FILE_NOT_FOUND);
  char workingDirectory[MAX_PATH_BYTES] = "";
  if (name[0] != '/' && GetCurrentDirectory(sizeof workingDirectory, workingDirectory) == 0) return 0;
  char path[MAX_PATH_BYTES];  // the caller's buffer may hold the name
  const std::size_t length = buildFullPath(workingDirectory, name, path);
  if (length == 0) return fail<DWORD>(ERROR_LABEL_TOO_LONG);
  if (buffer == nullptr) size = 0;
  const std::string_view kept = copyCut({path, length}, buffer, size);
  if (filePart != nullptr) *filePart = size == 0 ? nullptr : buffer + filePartOffset(kept);
  return static_cast<DWORD>(length);
}
