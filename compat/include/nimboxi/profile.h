// Profile (ini) files: sections of key=value lines. No trimming, no comments, no quoting; names are compared
// byte by byte with their case; a section ends at the first line whose first byte is a blank, a control byte
// or 0x80 and above. The format and its traps: docs/manual.md, "The profile file". The names "win.ini" and
// "nimboxi.ini" stand for the layer profile. Every call enters the call guard. A null section, key, value or
// file name, or a null buffer of a section, gives 0 and changes nothing. The last error of a read tells
// nothing.
#pragma once

#include "nimboxi/types.h"

extern "C" {

// Reads the value of a key. A file that holds anything is kept in memory and not looked at again until
// another is read, a section of any file is read, or any file is written. One that cannot be read counts as
// empty.
//   defaultValue  taken when there is no such key; null: `buffer` then stays as it was
//   size          bytes that `buffer` holds; a longer value is cut silently; nothing is written when it is 0
// Returns the number of bytes copied, without the NUL.
DWORD GetPrivateProfileString(const char* section, const char* key, const char* defaultValue, char* buffer,
                              DWORD size, const char* fileName);
DWORD GetProfileString(const char* section, const char* key, const char* defaultValue, char* buffer,
                       DWORD size);

// Reads all lines of a section, always from the disk, as strings one after another, the last followed by a
// second NUL.
//   size  bytes that `buffer` holds, 2 at least; below that nothing fits
// Returns the number of bytes without that second NUL, or `size` - 2 when they do not all fit.
DWORD GetPrivateProfileSection(const char* section, char* buffer, DWORD size, const char* fileName);
DWORD GetProfileSection(const char* section, char* buffer, DWORD size);

// Sets the value of a key, adding the key at the end of its section and the section at the end of the file.
// The file keeps its owner, mode and links; a missing one is made. Nothing can be deleted. A process that
// ends half-way leaves the old text or the new one, at worst with NULs behind it, which no read goes beyond;
// or, of what is longer than a page, the front of the new text and the end of the old one. Range locks that
// the program itself holds on the file end. Other processes that set keys of the file meanwhile wait, by an
// advisory lock (flock) on it; after two seconds they go on without. Returns TRUE when the line is written;
// FALSE, with the file as it was, when it cannot be opened, read to its end or written, as on a full disk:
// last error 0, else mapped from errno, 8 without memory. A missing file that could be made stays behind
// empty. For a name that means a port (nimboxi/ports.h) or no ordinary file the whole text is written to
// that; TRUE then when the end of the key's line could be handed over.
BOOL WritePrivateProfileString(const char* section, const char* key, const char* value, const char* fileName);
BOOL WriteProfileString(const char* section, const char* key, const char* value);
}
