// Byte strings in Windows-1252, and conversions to and from Unicode. No function checks the room behind a
// destination: the caller provides it. Null strings are not accepted unless said.
#pragma once

#include "nimboxi/types.h"

extern "C" {

// ---- Strings. Each call enters the call guard. ----

// Bytes before the NUL.
int32_t lstrlen(const char* text);

// Copy, or append, the source with its NUL. Return the destination.
char* lstrcpy(char* destination, const char* source);
char* lstrcat(char* destination, const char* source);

// Copies bytes 0 to `count` of the source (count + 1 bytes), or up to and including its NUL, whichever comes
// first; adds no NUL when the count stops it. Returns the destination.
char* lstrcpyn(char* destination, const char* source, DWORD count);

// Compares bytes: 0 when equal, 1 when `first` is the smaller, -1 when it is the larger: the opposite sign of
// strcmp.
int32_t lstrcmp(const char* first, const char* second);

// Compares after folding A to Z alone to lower case: the difference, first minus second, of the first bytes
// that differ; 0 when equal.
int32_t lstrcmpi(const char* first, const char* second);

// As lstrcmpi over at most `count` bytes; a count of 0 does not limit it.
int32_t StrNCmpI(const char* first, const char* second, DWORD count);

// Writes `value` in `radix` 2 to 36 (digits, then lower-case letters). Only radix 10 knows a minus sign.
//   buffer  33 bytes are enough for every radix
//   radix   any other gives the empty string
// Returns the buffer.
char* IntToText(int32_t value, char* buffer, int32_t radix);

// TRUE for an ASCII letter alone.
BOOL IsCharAlpha(DWORD character);

// Converts a string in place to upper case and returns it. An argument of 16 bits or fewer is a character:
// the result is then its upper case, sign-extended from 8 bits.
char* CharUpper(char* textOrCharacter);

// Convert `count` bytes in place. Return `count`.
DWORD CharUpperBuff(char* buffer, DWORD count);
DWORD CharLowerBuff(char* buffer, DWORD count);

// Copy the bytes unchanged, without a NUL; the second pair at most `count`, stopping before a NUL. TRUE.
BOOL CharToOem(const char* source, char* destination);
BOOL OemToChar(const char* source, char* destination);
BOOL CharToOemBuff(const char* source, char* destination, DWORD count);
BOOL OemToCharBuff(const char* source, char* destination, DWORD count);

// ---- Conversions. They do not enter the call guard. A null source gives an empty result and 0. A character
// that the target cannot hold becomes 0xBF, the inverted question mark; so do the five bytes that the code
// page leaves undefined. ----

// Reads one character whose lead byte is `lead` and whose further bytes stand at `next`.
//   codePoint  receives the code point
// Returns the position after the bytes used, never past a NUL.
const char* DecodeUtf8Char(const char* next, BYTE lead, uint32_t* codePoint);

// UTF-8 to Windows-1252. Returns the length in bytes, never above the source's.
int32_t Utf8ToAnsi(const char* source, char* destination);

// The same into new memory that the caller frees with free(); null for null or without memory.
char* Utf8ToAnsiDup(const char* source);

// UTF-8 to code points, with a closing 0. Returns their number.
int32_t Utf8ToUtf32(const char* source, uint32_t* destination);

// Windows-1252 to UTF-8, at most 3 bytes each. Returns the length in bytes.
int32_t AnsiToUtf8(const char* source, char* destination);

// The same into new memory that the caller frees with free(); null for null or without memory.
char* AnsiToUtf8Dup(const char* source);

// Code points up to a closing 0 to UTF-8, at most 4 bytes each. Returns the length in bytes.
int32_t Utf32ToUtf8(const uint32_t* source, char* destination);

// Code points up to a closing 0 to UTF-16. Returns the number of 16-bit units.
int32_t Utf32ToUtf16(const uint32_t* source, uint16_t* destination);
}
