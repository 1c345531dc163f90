// Files and devices behind handles, and the calls that reach files by name. Every call enters the call guard,
// holds it while it blocks, and sets last error 0 first, except that a bad handle is found before that.
// Last errors "mapped from errno": the table in compat/core/errors/errno_map.cpp.
#pragma once

#include "nimboxi/types.h"

// Accepted without effect: what opens can be read, but for a file made anew without GENERIC_WRITE.
inline constexpr DWORD GENERIC_READ = 0x80000000;
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

// Opens or creates the file, or opens the port, called `fileName` (ports: nimboxi/ports.h). A new file gets
// mode 0666 less the umask; no program that is launched inherits the file.
//   access       GENERIC_WRITE to read and write. Without it what exists can be read, and what is made anew
//                (CREATE_NEW, CREATE_ALWAYS, OPEN_ALWAYS without a file) written. A port always does both.
//   disposition  one of the creation dispositions; any other value means OPEN_EXISTING
//   share, security, flags, templateFile  accepted without effect
// Returns a handle that the caller closes with CloseHandle, or INVALID_HANDLE_VALUE. Last error of a failure:
// 80 when CREATE_NEW finds the file; 2 for a null name; 31 when a port opens as descriptor 0, or without
// memory; else mapped from errno. Of a success: 0, or 2 where something was looked for in vain: the file that
// CREATE_NEW or OPEN_ALWAYS then made, or the layer profile for a port's entry.
HANDLE CreateFile(const char* fileName, DWORD access, DWORD share, void* security, DWORD disposition,
                  DWORD flags, HANDLE templateFile);

// Reads up to `count` bytes. A short count is success, whether the file ended or the read failed. Output that
// is still buffered is handed over first, as by FlushFileBuffers. A serial port that has a read time-out set
// gives what has arrived, without waiting; any other reads as its terminal is set, and may block.
//   bytesRead  receives the number read, 0xFFFFFFFF for a failed read of a serial port; may be null
// Returns TRUE; FALSE with last error 31 for a bad handle.
BOOL ReadFile(HANDLE file, void* buffer, DWORD count, DWORD* bytesRead);

// Writes `count` bytes. Output to a file is buffered: a full disk may show in a later call only, or when the
// handle is closed, or never (FlushFileBuffers).
//   bytesWritten  receives the number written, also after a failure; may be null
// Returns TRUE when all were written. Last error: 31 for a bad handle, 29 for a short write.
BOOL WriteFile(HANDLE file, const void* buffer, DWORD count, DWORD* bytesWritten);

// Moves the position of an open file by `distance` bytes, counted from where `method` says.
//   newPosition  receives the position in bytes from the start; may be null
//   method       FILE_CURRENT, FILE_END; any other value means from the start
// Returns TRUE on success. Last error: 0; 6 for a bad handle; else mapped from errno.
BOOL SetFilePointerEx(HANDLE file, int64_t distance, int64_t* newPosition, DWORD method);

// As SetFilePointerEx with a 32-bit distance. `distanceHigh` is neither read nor written.
// Returns the low 32 bits of the new position, or INVALID_SET_FILE_POINTER with the last error of
// SetFilePointerEx.
DWORD SetFilePointer(HANDLE file, int32_t distance, int32_t* distanceHigh, DWORD method);

// Stores the size of an open file in bytes; `size` may be null, and the position stays where it was.
// Returns TRUE on success. Last error: 0; 6 for a bad handle; else mapped from errno.
BOOL GetFileSizeEx(HANDLE file, int64_t* size);

// The low 32 bits of the size, or INVALID_FILE_SIZE with the last error of GetFileSizeEx. `sizeHigh` is
// neither read nor written.
DWORD GetFileSize(HANDLE file, DWORD* sizeHigh);

// Cuts or extends an open file to its current position. Returns TRUE on success. Last error: 0; 6 for a bad
// handle; else mapped from errno.
BOOL SetEndOfFile(HANDLE file);

// Hands buffered output to the system, not to the disk. TRUE whatever came of it: what a full disk does not
// take is lost, and closing the handle succeeds then. FALSE with last error 31 for a bad handle.
BOOL FlushFileBuffers(HANDLE file);

// Lock for writing, or unlock, a byte range against other processes, without waiting. A length of 0 reaches
// to the end of the file. Closing any handle of the file ends the locks of this process on it. TRUE also when
// another process holds the range. FALSE with last error 31 for a bad handle, or when a high part is not 0.
BOOL LockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD lengthLow, DWORD lengthHigh);
BOOL UnlockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD lengthLow, DWORD lengthHigh);

// Copies a file. Of its attributes the copy gets FILE_ATTRIBUTE_READONLY or not, as SetFileAttributes sets
// it: it is read-only, or writable, for everybody. A copy that fails half-way leaves what it has written.
//   failIfExists  TRUE: an existing `newName` is left alone, last error 80
// Returns TRUE on success; the last error is then that of setting the attributes, 0 or mapped from errno.
// Last error of a failure: 30 for a short read, 29 for a short write, 31 when both names stand for one file,
// which is left alone; else as CreateFile's.
BOOL CopyFile(const char* existingName, const char* newName, BOOL failIfExists);

// The attributes of what stands at `path`: 16 or 17 for a directory, 32 or 33 for anything else, odd when its
// owner may not write it. Returns 0 with last error 31 when there is nothing (not the all-ones value).
DWORD GetFileAttributes(const char* path);

// Makes a file read-only for everybody (bit 1 of `attributes` set) or writable for everybody (clear); execute
// bits stay. Returns TRUE on success. Last error: 0; 2 for a null path; else mapped from errno.
BOOL SetFileAttributes(const char* path, DWORD attributes);

// TRUE for an existing directory. Last error: as GetFileAttributes.
BOOL IsDirectory(const char* path);

// Copies the working directory's path when `size` bytes hold it. Returns its length; or length + 1 with the
// buffer untouched when it does not fit or `buffer` is null; 0 with last error 16 when it cannot be had.
DWORD GetCurrentDirectory(DWORD size, char* buffer);

// Change the working directory; create a directory (mode 0777 less the umask; `security` is not used); remove
// an empty one; delete a file or an empty directory. Return TRUE on success. Last error: 0; 2 for a null
// path; else mapped from errno.
BOOL SetCurrentDirectory(const char* path);
BOOL CreateDirectory(const char* path, void* security);
BOOL RemoveDirectory(const char* path);
BOOL DeleteFile(const char* path);

// Renames a file or directory; a file that has the new name already is replaced. A new name that is a
// writable directory takes in what the old name stands for, unless that is a writable directory too; it gets
// the name and extension there that SplitPath finds. Returns TRUE on success. Last error: 0; 2 for a null
// name; 154 for a path that does not fit MAX_PATH_BYTES; else mapped from errno.
BOOL MoveFile(const char* oldName, const char* newName);

// Splits a path into drive ("c:", up to the first ':'), directory with its closing '/', name, and extension
// with its dot. Each output may be null; the others hold MAX_PATH_BYTES each, away from `path`, and longer
// parts are cut to that. All are empty for a null path. The extension is written only when the name is asked
// for, and emptied otherwise. Leaves the last error alone.
void SplitPath(const char* path, char* drive, char* directory, char* name, char* extension);

// The folder for temporary files: "TMP", else "TEMP", else the working directory, and a closing backslash
// when there is room for it.
// Returns its length; or the length that it has without the backslash, plus 1, with the buffer untouched when
// it does not fit or `buffer` is null; 0 with last error 16 when none can be had.
DWORD GetTempPath(DWORD size, char* buffer);

// Builds "directory/prefixNNNN.tmp" with the first free number, four hexadecimal digits, from the tick count
// on. The file is not created: another process can take the name.
//   unique  not used
//   buffer  holds MAX_PATH_BYTES; may be where `directory` stands
// Returns the number, which can be 0, with last error 0. Returns 0 with last error 2 for a null argument;
// with an empty name and last error 154 when the path does not fit, 80 when all 65536 are taken.
DWORD GetTempFileName(const char* directory, const char* prefix, DWORD unique, char* buffer);

// Builds the absolute path of a name. "." is left out; ".." cuts the path back to the root.
//   buffer    receives the path, cut to `size` - 1 bytes, and a NUL; nothing for a null buffer or a size of 0
//   filePart  receives a position in `buffer` by the Win32 rules for backslashes: for a path without one its
//             fourth character, or its end if that comes first; null without a buffer; may be null
// Returns the path's length, cut or not. Returns 0, with nothing written, and last error 2 for a null name,
// 16 when the working directory is needed and cannot be had, 154 for a path above 4095 characters.
DWORD GetFullPathName(const char* name, DWORD size, char* buffer, char** filePart);

// Stores the size of the file system at `rootPath`: the counts of its own blocks, as clusters of one sector
// of 1024 bytes whatever those blocks hold. Counts are cut to 32 bits. The outputs are 0 when it cannot be
// had, and untouched when one of them is null. Returns FALSE always, and leaves the last error alone.
BOOL GetDiskFreeSpace(const char* rootPath, DWORD* sectorsPerCluster, DWORD* bytesPerSector,
                      DWORD* freeClusters, DWORD* totalClusters);
}
