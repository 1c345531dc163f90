// Copying a whole file by way of two file handles, which it owns while it runs.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include "compat/core/call_guard.h"
#include "compat/core/errors/fail.h"
#include "nimboxi/files.h"
#include "nimboxi/support/file_handle.h"

namespace nimboxi {
namespace {

constexpr DWORD kPieceBytes = 65536;

// Whether something stands there, also what cannot be opened. errno says it also where no last error is kept.
bool standsInTheWay(const char* newName) {
  if (newName == nullptr) return false;
  const OpenFile present(newName, GENERIC_READ, OPEN_EXISTING);
  return present.isOpen() || errno != ENOENT;
}

bool isFileOf(const OpenFile& open, const char* name) {
  struct stat opened, named;
  return name != nullptr && fstat(fileno(open.stream()), &opened) == 0 && stat(name, &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

// Copies all bytes. Returns 0 or a last error.
int32_t copyContents(const OpenFile& source, const OpenFile& target) {
  char piece[kPieceBytes];
  while (std::feof(source.stream()) == 0) {
    DWORD size = 0;
    ReadFile(source.handle(), piece, kPieceBytes, &size);
    // Also a port's 0xFFFFFFFF bytes for a failed read.
    if (size != kPieceBytes && std::feof(source.stream()) == 0) return ERROR_READ_FAULT;
    if (!WriteFile(target.handle(), piece, size, nullptr)) return ERROR_WRITE_FAULT;
  }
  return ERROR_SUCCESS;
}

}  // namespace
}  // namespace nimboxi

using namespace nimboxi;

BOOL CopyFile(const char* existingName, const char* newName, BOOL failIfExists) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (failIfExists && standsInTheWay(newName)) return fail(ERROR_FILE_EXISTS);
  const DWORD attributes = GetFileAttributes(existingName);
  OpenFile source(existingName, GENERIC_READ, OPEN_EXISTING);
  if (!source.isOpen()) return FALSE;
  // Opening the new name empties it: a file copied onto itself would be lost.
  if (isFileOf(source, newName)) {
    source.close();
    return fail(ERROR_GEN_FAILURE);
  }
  OpenFile target(newName, GENERIC_WRITE, CREATE_ALWAYS);
  if (!target.isOpen()) {
    const int32_t error = GetLastError();
    source.close();
    return fail(error);
  }
  const int32_t error = copyContents(source, target);
  source.close();
  // A full disk may show only when the last piece leaves the buffer.
  const bool complete = target.close();
  if (error != ERROR_SUCCESS) return fail(error);
  if (!complete) return fail(ERROR_WRITE_FAULT);
  SetFileAttributes(newName, attributes);
  return TRUE;
}
