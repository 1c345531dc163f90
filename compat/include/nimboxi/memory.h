// Memory blocks with guard words around them. A block's handle is its data pointer. No call enters the call
// guard but SetModeWord; blocks may be used by any thread.
#pragma once

#include "nimboxi/types.h"

inline constexpr DWORD BLOCK_ZEROED = 1;  // the flag that asks for zero-filled memory; others are ignored

extern "C" {

// Allocates `size` bytes, 8-aligned; 0 bytes are a block too. Sets last error 0.
// Returns the data pointer, which FreeBlock frees; null without memory or for a negative size (last error 8).
void* AllocBlock(DWORD flags, int32_t size);

// Changes the size of a block, keeping its bytes; BLOCK_ZEROED zeroes what it grows by. Sets last error 0. A
// null `data` is a new block. Returns the new data pointer, or null (last error 8) with the old block left as
// it was.
void* ReAllocBlock(void* data, int32_t newSize, DWORD flags);

// Frees a block; null is ignored. Damage that was done to its guard words is not noticed.
void FreeBlock(void* data);

// The size asked for, in bytes; 0 for null.
int32_t BlockSize(const void* data);

// Blocks never move: locking returns the pointer, unlocking does nothing.
void* LockBlock(void* data);
void UnlockBlock(void* data);

// 1 for null, else 0.
BOOL UnlockBlockResult(void* data);

// Returns the pointer unchanged. Sets last error 0.
void* BlockHandle(void* data);

// Returns 0. Sets last error 0.
int32_t CompactBlocks();

// Copy (areas may overlap), zero, or fill `length` bytes; a length below 1 does nothing. Note the order of
// FillMemory's arguments.
void CopyMemory(void* destination, const void* source, int32_t length);
void ZeroMemory(void* destination, int32_t length);
void FillMemory(void* destination, int32_t length, BYTE value);

// a * b / c in 32 bits: the product wraps, the quotient is cut toward zero, a division by 0 gives 0.
int32_t MulDiv(int32_t a, int32_t b, int32_t c);

// Sets the process-wide mode word, which the layer itself never reads, and returns its previous value. Enters
// the call guard.
DWORD SetModeWord(DWORD value);
}
