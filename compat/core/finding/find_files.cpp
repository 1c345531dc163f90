// Directory search by wildcard. A search belongs to the caller that opened it. Names are bytes. What a
// directory holds may change during a search.
#include <dirent.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "compat/core/call_guard.h"
#include "compat/core/errors/fail.h"
#include "compat/core/finding/wildcard.h"
#include "compat/core/handles.h"
#include "compat/core/times/calendar.h"
#include "nimboxi/files.h"
#include "nimboxi/finding.h"
#include "nimboxi/memory.h"

namespace nimboxi {
namespace {

constexpr bool kCaseSensitive = true;  // file systems here tell names apart by their case

// A search handle points to one. A block of the layer; the strings are owned, from the general heap.
struct SearchRecord {
  char* directory;
  DIR* stream;    // null when the directory could not be opened
  char* pattern;  // null when the whole argument named a directory
};

void endSearch(SearchRecord* search) {
  if (search->stream != nullptr) closedir(search->stream);
  std::free(search->directory);
  std::free(search->pattern);
  FreeBlock(search);
}

// Opens what `path` stands for: the directory of that name, else the last component as a pattern in the
// directory before it. False without memory.
bool openSearch(SearchRecord* search, const char* path) {
  search->stream = opendir(path);
  if (search->stream != nullptr) {
    search->directory = strdup(path);
    return search->directory != nullptr;
  }
  const char* slash = std::strrchr(path, '/');
  if (slash == nullptr) {
    search->directory = strdup(".");
  } else {
    search->directory = strndup(path, slash == path ? 1 : static_cast<std::size_t>(slash - path));
  }
  search->pattern = strdup(slash == nullptr ? path : slash + 1);
  if (search->directory == nullptr || search->pattern == nullptr) return false;
  search->stream = opendir(search->directory);
  return true;
}

bool accepts(const SearchRecord* search, const char* name) {
  if (search->pattern == nullptr) return true;
  // Required(two-character-dot-names): besides "." and ".." this hides every other name of a dot and one
  // character.
  if (name[0] == '.' && std::strlen(name) < 3) return false;
  return matchesWildcard(search->pattern, name, kCaseSensitive);
}

// The name of the next entry that the search accepts; null at the end. Valid until the next call.
const char* nextName(const SearchRecord* search) {
  const dirent* entry;
  do {
    entry = readdir(search->stream);
  } while (entry != nullptr && !accepts(search, entry->d_name));
  return entry == nullptr ? nullptr : entry->d_name;
}

// Required(unsigned-file-time): seconds count as unsigned 32-bit, so a time before 1970 shows as one after
// 2038.
FILETIME fileTime(std::time_t seconds) {
  return ticksFromPosixTime(static_cast<std::uint32_t>(seconds), 0);
}

// Fills in what the system knows of `path`; leaves all but the attributes alone when it knows nothing.
void describe(const char* path, FindData* data) {
  data->attributes = GetFileAttributes(path);
  struct stat status;
  if (stat(path, &status) != 0) return;
  const std::uint64_t size = S_ISDIR(status.st_mode) ? 0 : static_cast<std::uint64_t>(status.st_size);
  data->sizeHigh = static_cast<DWORD>(size >> 32);
  data->sizeLow = static_cast<DWORD>(size);
  data->reserved0 = 0;
  data->reserved1 = 0;
  data->creationTime = fileTime(status.st_ctime);
  data->lastAccessTime = fileTime(status.st_atime);
  data->lastWriteTime = fileTime(status.st_mtime);
}

void describeEntry(const SearchRecord* search, const char* name, FindData* data) {
  if (search->pattern == nullptr) {
    // Required(directory-lists-itself): every entry of a directory listed by its path shows that directory's
    // own data.
    describe(search->directory, data);
    return;
  }
  char* path;
  if (asprintf(&path, "%s/%s", search->directory, name) < 0) return;
  describe(path, data);
  std::free(path);
}

}  // namespace
}  // namespace nimboxi

using namespace nimboxi;

HANDLE FindFirstFile(const char* pattern, FindData* data) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (pattern == nullptr || data == nullptr) return fail(ERROR_FILE_NOT_FOUND, INVALID_HANDLE_VALUE);
  auto* search = static_cast<SearchRecord*>(AllocBlock(BLOCK_ZEROED, sizeof(SearchRecord)));
  if (search == nullptr) return fail(ERROR_NOT_ENOUGH_MEMORY, INVALID_HANDLE_VALUE);
  if (!openSearch(search, pattern)) {
    endSearch(search);
    return fail(ERROR_NOT_ENOUGH_MEMORY, INVALID_HANDLE_VALUE);
  }
  if (FindNextFile(search, data)) return search;
  endSearch(search);
  return fail(ERROR_FILE_NOT_FOUND, INVALID_HANDLE_VALUE);
}

BOOL FindNextFile(HANDLE search, FindData* data) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (!isHandleValue(search) || data == nullptr) return fail(ERROR_FILE_NOT_FOUND);
  const auto* record = static_cast<const SearchRecord*>(search);
  const char* name = record->stream == nullptr ? nullptr : nextName(record);
  if (name == nullptr) return FALSE;
  const std::size_t length = strnlen(name, sizeof data->fileName - 1);
  std::memcpy(data->fileName, name, length);
  data->fileName[length] = '\0';
  data->alternateName[0] = '\0';
  describeEntry(record, name, data);
  return TRUE;
}

BOOL FindClose(HANDLE search) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (!isHandleValue(search)) return fail(ERROR_GEN_FAILURE);
  endSearch(static_cast<SearchRecord*>(search));
  return TRUE;
}

BOOL MatchWildcard(const char* pattern, const char* name, BOOL caseSensitive) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  return pattern != nullptr && name != nullptr && matchesWildcard(pattern, name, caseSensitive != FALSE);
}

BOOL FileExists(const char* fileName) {
  CallGuard guard;
  FindData data;
  HANDLE search = FindFirstFile(fileName, &data);
  if (search == INVALID_HANDLE_VALUE) return FALSE;
  FindClose(search);
  return TRUE;
}
