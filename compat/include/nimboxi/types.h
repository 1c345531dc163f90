// The Win32 base types and the constants that every topic shares (source: the published Win32 interface).
// Strings are NUL-terminated and in Windows-1252 unless a function says otherwise.
#pragma once

#include <cstddef>
#include <cstdint>

typedef int32_t BOOL;
typedef uint8_t BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef void* HANDLE;   // an object of the layer; 0 and INVALID_HANDLE_VALUE are never valid
typedef void* HMODULE;  // a module: 1 for the main program, else what the dynamic loader returned

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<intptr_t>(-1)))
#define MAIN_MODULE_HANDLE (reinterpret_cast<HMODULE>(static_cast<intptr_t>(1)))

// The size of every buffer that holds a path, with its NUL.
inline constexpr DWORD MAX_PATH_BYTES = 4096;
