// The last error: how a layer call tells the calling thread why it failed. Each thread has its own; before
// LayerStartup all threads share one, and where the system has no thread key left for it, it stays 0. None of
// these functions enters the call guard or blocks.
#pragma once

#include "nimboxi/types.h"

// Values as published for Win32.
inline constexpr int32_t ERROR_SUCCESS = 0;
inline constexpr int32_t ERROR_FILE_NOT_FOUND = 2;
inline constexpr int32_t ERROR_ACCESS_DENIED = 5;
inline constexpr int32_t ERROR_INVALID_HANDLE = 6;
inline constexpr int32_t ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr int32_t ERROR_INVALID_ACCESS = 12;
inline constexpr int32_t ERROR_CURRENT_DIRECTORY = 16;
inline constexpr int32_t ERROR_NOT_SAME_DEVICE = 17;
inline constexpr int32_t ERROR_WRITE_PROTECT = 19;
inline constexpr int32_t ERROR_WRITE_FAULT = 29;
inline constexpr int32_t ERROR_READ_FAULT = 30;
inline constexpr int32_t ERROR_GEN_FAILURE = 31;
inline constexpr int32_t ERROR_FILE_EXISTS = 80;
inline constexpr int32_t ERROR_PROTECTION_VIOLATION = 115;
inline constexpr int32_t ERROR_INVALID_NAME = 123;
inline constexpr int32_t ERROR_DIR_NOT_EMPTY = 145;
inline constexpr int32_t ERROR_PATH_BUSY = 148;
inline constexpr int32_t ERROR_LABEL_TOO_LONG = 154;
inline constexpr int32_t ERROR_ENVVAR_NOT_FOUND = 203;

extern "C" {

// Stores `code` as the calling thread's last error; without memory for a thread's first it is lost.
void SetLastError(int32_t code);

// The calling thread's last error; 0 for a thread that never set one.
int32_t GetLastError();

// Replaces the calling thread's error text by a copy of `text`; null stands for the empty string, and so does
// any text without memory.
void SetLastErrorText(const char* text);

// Copies the calling thread's error text, cut to `size` - 1 bytes, and a NUL into `buffer`.
//   size  bytes that `buffer` holds; nothing is written when it is below 1
void GetLastErrorText(char* buffer, int32_t size);

// Maps the calling thread's errno to a last error and stores it (table: compat/core/errors/errno_map.cpp).
void SetLastErrorFromErrno();
}
