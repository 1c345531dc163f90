// Profile (ini) files: sections of key=value lines. No trimming, no comments, no quoting; names are compared
// byte by byte with their case; a section ends at the first line whose first byte is a blank, a control byte
// or 0x80 and above. The format and its traps: README.md, "The profile file". The names "win.ini" and
// "nimboxi.ini" stand for the layer profile. Every call enters the call guard; last errors are those of the
// file calls below. A null section, key, value or file name gives 0.
#pragma once

#include "nimboxi/types.h"

extern "C" {

// Reads the value of a key. The file is kept in memory until another is read or something is written, and is
// not looked at again meanwhile.
//   defaultValue  taken when there is no such key; null: `buffer` then stays as it was
//   size          bytes that `buffer` holds; a longer value is cut silently; nothing is written when it is 0
// Returns the number of bytes copied, without the NUL.
DWORD GetPrivateProfileString(const char* section, const char* key, const char* defaultValue, char* buffer,
                              DWORD size, const char* fileName);
DWORD GetProfileString(const char* section, const char* key, const char* defaultValue, char* buffer,
                       DWORD size);

// Reads all lines of a section as strings one after another, the last followed by a second NUL.
//   size  bytes that `buffer` holds, 2 at least; below that nothing fits
// Returns the number of bytes without that second NUL, or `size` - 2 when they do not all fit.
DWORD GetPrivateProfileSection(const char* section, char* buffer, DWORD size, const char* fileName);
DWORD GetProfileSection(const char* section, char* buffer, DWORD size);

// Sets the value of a key, adding the key at the end of its section and the section at the end of the file.
// The file is written anew: one that fills the disk meanwhile is cut short. Nothing can be deleted.
// Returns TRUE when the key's line was handed over; FALSE when the file cannot be opened, and, with the file
// left alone, when what it holds cannot be read to the end.
BOOL WritePrivateProfileString(const char* section, const char* key, const char* value, const char* fileName);
BOOL WriteProfileString(const char* section, const char* key, const char* value);
}
