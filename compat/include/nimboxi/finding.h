// Directory search by wildcard. A search belongs to the caller that opened it. Every call enters the call
// guard, and sets last error 0 first.
#pragma once

#include "nimboxi/types.h"

// One entry of a directory, as the searches fill it in.
struct FindData {
  DWORD attributes;       // as GetFileAttributes
  uint64_t creationTime;  // of the last status change; all times in 100 ns since 1601-01-01 UTC
  uint64_t lastAccessTime;
  uint64_t lastWriteTime;
  DWORD sizeHigh;  // both halves 0 for a directory
  DWORD sizeLow;
  DWORD reserved0;
  DWORD reserved1;
  char fileName[MAX_PATH_BYTES];
  char alternateName[14];  // always empty
};

extern "C" {

// Starts a search. The last component of `pattern` may hold '*' and '?'. The path of an existing directory
// lists that directory, "." and ".." included, each entry with the directory's own attributes and times.
// Otherwise names of one or two characters that begin with '.' are never found.
// Returns a search handle that the caller ends with FindClose, and the first entry in `data` as FindNextFile
// gives it; or INVALID_HANDLE_VALUE with last error 2 when nothing is found or an argument is null, 8 without
// memory.
HANDLE FindFirstFile(const char* pattern, FindData* data);

// Gets the next entry. An entry that cannot be looked at (a link to nothing) has attributes 0 and what `data`
// held before as sizes and times; the last error is 31 then, else 0, and the result TRUE. Without memory for
// its path an entry has its name alone.
// FALSE at the end with last error 0; FALSE with last error 2 for a handle of 0 or -1 or a null `data`.
BOOL FindNextFile(HANDLE search, FindData* data);

// Ends a search and frees its handle, which must not be used again. TRUE; FALSE with last error 31 for a
// handle of 0 or -1.
BOOL FindClose(HANDLE search);

// TRUE when a search for `fileName` finds something, by its wildcards and without the names that it hides;
// else FALSE with the last error of FindFirstFile.
BOOL FileExists(const char* fileName);

// Whether `name` matches `pattern`, to its end. '?' stands for any one character. A run of '*' stands for
// what comes before the first occurrence of the character behind it, a '?' as itself, and for nothing else:
// "*a" does not match "banana". At the end of the pattern it stands for all that is left, or nothing. "*.*"
// matches every name. Without `caseSensitive` characters are compared in upper case. FALSE for a null
// argument; last error 0.
BOOL MatchWildcard(const char* pattern, const char* name, BOOL caseSensitive);
}
