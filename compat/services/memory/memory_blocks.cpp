// Memory blocks: the caller's data between two guard words, its size in front. Blocks have no shared
// bookkeeping and need no lock; the guards are there to be recognised in a debugger and are never checked.
#include "nimboxi/memory.h"

#include <cstdlib>
#include <cstring>

#include "compat/core/call_guard.h"
#include "compat/core/errors/fail.h"

namespace nimboxi {
namespace {

// A block in memory, all words 64-bit: head guard, size, the data rounded up to the next multiple of 8 (with
// 1 to 8 spare bytes), tail guard.
constexpr std::size_t kWord = sizeof(std::uint64_t);
constexpr std::size_t kDataOffset = 2 * kWord;
constexpr std::uint64_t kHeadGuard = 0xABCDEFABCDEFABCD;
constexpr std::uint64_t kTailGuard = 0xDCBAFEDCBAFEDCBA;
constexpr std::uint64_t kFreedGuard = ~std::uint64_t{0};

constexpr std::size_t tailOffset(std::int32_t size) {
  return (static_cast<std::size_t>(size) / kWord + 1) * kWord;
}

constexpr std::size_t allocationSize(std::int32_t size) {
  return kDataOffset + tailOffset(size) + kWord;
}

// Volatile: a plain store just before free() is one that the compiler may drop.
void writeWord(unsigned char* place, std::uint64_t value) {
  *reinterpret_cast<volatile std::uint64_t*>(static_cast<void*>(place)) = value;
}

void writeGuards(unsigned char* data, std::uint64_t head, std::uint64_t tail) {
  writeWord(data - kDataOffset, head);
  writeWord(data + tailOffset(BlockSize(data)), tail);
}

// Turns a fresh allocation into a block.
void* finishBlock(void* allocation, std::int32_t size) {
  unsigned char* data = static_cast<unsigned char*>(allocation) + kDataOffset;
  writeWord(data - kWord, static_cast<std::uint64_t>(size));
  writeGuards(data, kHeadGuard, kTailGuard);
  return data;
}

DWORD modeWord NIMBOXI_GUARDED_BY(layerGuard) = 0;

}  // namespace
}  // namespace nimboxi

using namespace nimboxi;

void* AllocBlock(DWORD flags, int32_t size) {
  SetLastError(ERROR_SUCCESS);
  if (size < 0) return fail<void*>(ERROR_NOT_ENOUGH_MEMORY);
  const bool zeroed = (flags & BLOCK_ZEROED) != 0;
  void* allocation = zeroed ? std::calloc(1, allocationSize(size)) : std::malloc(allocationSize(size));
  return allocation == nullptr ? fail<void*>(ERROR_NOT_ENOUGH_MEMORY) : finishBlock(allocation, size);
}

void* ReAllocBlock(void* data, int32_t newSize, DWORD flags) {
  if (data == nullptr) return AllocBlock(flags, newSize);
  SetLastError(ERROR_SUCCESS);
  if (newSize < 0) return fail<void*>(ERROR_NOT_ENOUGH_MEMORY);
  auto* bytes = static_cast<unsigned char*>(data);
  const std::int32_t oldSize = BlockSize(data);
  writeGuards(bytes, kFreedGuard, kFreedGuard);
  void* allocation = std::realloc(bytes - kDataOffset, allocationSize(newSize));
  if (allocation == nullptr) {
    writeGuards(bytes, kHeadGuard, kTailGuard);
    return fail<void*>(ERROR_NOT_ENOUGH_MEMORY);
  }
  auto* moved = static_cast<unsigned char*>(finishBlock(allocation, newSize));
  if ((flags & BLOCK_ZEROED) != 0) ZeroMemory(moved + oldSize, newSize - oldSize);
  return moved;
}

void FreeBlock(void* data) {
  if (data == nullptr) return;
  auto* bytes = static_cast<unsigned char*>(data);
  writeGuards(bytes, kFreedGuard, kFreedGuard);
  std::free(bytes - kDataOffset);
}

int32_t BlockSize(const void* data) {
  if (data == nullptr) return 0;
  std::uint64_t size;
  std::memcpy(&size, static_cast<const unsigned char*>(data) - kWord, sizeof size);
  return static_cast<std::int32_t>(size);
}

void* LockBlock(void* data) {
  return data;
}

void UnlockBlock(void*) {
}

BOOL UnlockBlockResult(void* data) {
  return data == nullptr;
}

void* BlockHandle(void* data) {
  SetLastError(ERROR_SUCCESS);
  return data;
}

int32_t CompactBlocks() {
  SetLastError(ERROR_SUCCESS);
  return 0;
}

void CopyMemory(void* destination, const void* source, int32_t length) {
  if (length > 0) std::memmove(destination, source, static_cast<std::size_t>(length));
}

void ZeroMemory(void* destination, int32_t length) {
  FillMemory(destination, length, 0);
}

void FillMemory(void* destination, int32_t length, BYTE value) {
  if (length > 0) std::memset(destination, value, static_cast<std::size_t>(length));
}

int32_t MulDiv(int32_t a, int32_t b, int32_t c) {
  if (c == 0) return 0;
  // Required(product-wraps): the product wraps at 32 bits before it is divided; 100000 * 100000 / 100000 is
  // 14100.
  const auto product =
      static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
  // In 64 bits, where the smallest product divided by -1 has a value; it wraps back to itself.
  return static_cast<std::int32_t>(std::int64_t{product} / c);
}

DWORD SetModeWord(DWORD value) {
  CallGuard guard;
  const DWORD previous = modeWord;
  modeWord = value;
  return previous;
}
