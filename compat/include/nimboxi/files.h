// Files and devices behind handles, and the calls that reach files by name. Every call enters the call guard,
// holds it while it blocks, and sets last error 0 first, except that a bad handle is found before that.
// Last errors "mapped from errno": the table in compat/core/errno_map.cpp.
#pragma once

#include "nimboxi/types.h"

inline constexpr DWORD GENERIC_READ = 0x80000000;  // accepted without effect: every open can be read
inline constexpr DWORD GENERIC_WRITE = 0x40000000;
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;

// Creation dispositions.
inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD TRUNCATE_EXISTING = 5;  // opens and does not truncate

// Where a position is counted from; any other value means from the start.
inline constexpr DWORD FILE_BEGIN = 0;
inline constexpr DWORD FILE_CURRENT = 1;
inline constexpr DWORD FILE_END = 2;

inline constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;
inline constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;

// File attributes.
inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 1;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 16;
inline constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 32;  // anything but a directory

extern "C" {

// Opens or creates the file, or opens the port, called `fileName` (ports: nimboxi/ports.h).
//   access       GENERIC_WRITE to write; reading is always possible
//   disposition  one of the creation dispositions
//   share, security, flags, templateFile  accepted without effect
// Returns a handle that the caller closes with CloseHandle, or INVALID_HANDLE_VALUE. Last error: 80 when
// CREATE_NEW finds the file; 2 for a null name; 31 when a port opens as descriptor 0; else mapped from errno.
HANDLE CreateFile(const char* fileName, DWORD access, DWORD share, void* security, DWORD disposition,
                  DWORD flags, HANDLE templateFile);

// Reads up to `count` bytes. A short count or the end of the file is success. A serial port gives what has
// arrived, without waiting, when it has a read time-out set.
//   bytesRead  receives the number read, 0xFFFFFFFF for a failed read of a serial port; may be null
// Returns TRUE; FALSE with last error 31 for a bad handle.
BOOL ReadFile(HANDLE file, void* buffer, DWORD count, DWORD* bytesRead);

// Writes `count` bytes.
//   bytesWritten  receives the number written, also after a failure; may be null
// Returns TRUE when all were written. Last error: 31 for a bad handle, 29 for a short write.
BOOL WriteFile(HANDLE file, const void* buffer, DWORD count, DWORD* bytesWritten);

// Moves the position of an open file by `distance` bytes, counted from where `method` says.
//   newPosition  receives the position in bytes from the start; may be null
//   method       FILE_CURRENT, FILE_END; any other value means from the start
// Returns TRUE on success. Last error: 0; 6 for a bad handle; else mapped from errno.
BOOL SetFilePointerEx(HANDLE file, int64_t distance, int64_t* newPosition, DWORD method);

// As SetFilePointerEx with a 32-bit distance. `distanceHigh` is neither read nor written.
// Returns the low 32 bits of the new position, or INVALID_SET_FILE_POINTER.
DWORD SetFilePointer(HANDLE file, int32_t distance, int32_t* distanceHigh, DWORD method);

// Stores the size of an open file in bytes; the position stays where it was.
// Returns TRUE on success. Last error: 0; 6 for a bad handle; else mapped from errno.
BOOL GetFileSizeEx(HANDLE file, int64_t* size);

// The low 32 bits of the size, or INVALID_FILE_SIZE. `sizeHigh` is neither read nor written.
DWORD GetFileSize(HANDLE file, DWORD* sizeHigh);

// Cuts or extends an open file to its current position. Last error: 0; 6 for a bad handle; else from errno.
BOOL SetEndOfFile(HANDLE file);

// Hands buffered output to the system. TRUE whatever came of it; FALSE with last error 31 for a bad handle.
BOOL FlushFileBuffers(HANDLE file);

// Lock for writing, or unlock, a byte range against other processes, without waiting. TRUE also when another
// process holds the range. FALSE with last error 31 for a bad handle, or when a high part is not 0.
BOOL LockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD lengthLow, DWORD lengthHigh);
BOOL UnlockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD lengthLow, DWORD lengthHigh);

// Copies a file with its attributes.
//   failIfExists  TRUE: an existing `newName` is left alone, last error 80
// Returns TRUE on success. Last error: 30 for a short read, 29 for a short write, 31 when both names
// stand for one file, which is left alone; else as CreateFile's.
BOOL CopyFile(const char* existingName, const char* newName, BOOL failIfExists);

// TRUE when a directory search for `fileName` finds something (wildcards and hidden names:
// nimboxi/finding.h).
BOOL FileExists(const char* fileName);

// The attributes of what stands at `path`: 16 or 17 for a directory, 32 or 33 for anything else, odd when its
// owner may not write it. Returns 0 with last error 31 when there is nothing (not the all-ones value).
DWORD GetFileAttributes(const char* path);

// Makes a file read-only for everybody (bit 1 of `attributes` set) or writable for everybody (clear); execute
// bits stay. Returns TRUE on success. Last error: 0, else mapped from errno.
BOOL SetFileAttributes(const char* path, DWORD attributes);
}
