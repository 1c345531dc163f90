// Memory blocks: layout, growth, refusals, and the arithmetic of MulDiv.
#include "nimboxi/memory.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "nimboxi/errors.h"

namespace {

std::uint64_t wordAt(const void* data, std::ptrdiff_t offset) {
  std::uint64_t word;
  std::memcpy(&word, static_cast<const char*>(data) + offset, sizeof word);
  return word;
}

void expectGuards(const void* data, std::ptrdiff_t tail) {
  EXPECT_EQ(wordAt(data, -16), 0xABCDEFABCDEFABCDu);
  EXPECT_EQ(wordAt(data, tail), 0xDCBAFEDCBAFEDCBAu);
}

TEST(MemoryBlocks, GuardsStandAroundTheDataAndItsSpareBytes) {
  struct Case {
    std::int32_t size;
    std::ptrdiff_t tail;
  };
  for (const Case& c : {Case{0, 8}, Case{1, 8}, Case{7, 8}, Case{8, 16}, Case{13, 16}, Case{16, 24}}) {
    SCOPED_TRACE(c.size);
    auto* data = static_cast<char*>(AllocBlock(BLOCK_ZEROED, c.size));
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % 8, 0u);
    EXPECT_EQ(wordAt(data, -8), static_cast<std::uint64_t>(c.size));
    EXPECT_EQ(BlockSize(data), c.size);
    EXPECT_EQ(std::string(data, static_cast<std::size_t>(c.size)),
              std::string(static_cast<std::size_t>(c.size), '\0'));
    std::memset(data, 'x', static_cast<std::size_t>(c.size));
    expectGuards(data, c.tail);
    FreeBlock(data);
  }
  EXPECT_EQ(BlockSize(nullptr), 0);
  FreeBlock(nullptr);
}

TEST(MemoryBlocks, OnlyTheLowestFlagAsksForZeroes) {
  // 17 asks for zeroes, 16 does not: what a dirty heap gives is then not looked at.
  void* dirty = AllocBlock(0, 4000);
  std::memset(dirty, 0xEE, 4000);
  FreeBlock(dirty);
  auto* data = static_cast<char*>(AllocBlock(17, 4000));
  EXPECT_EQ(std::string(data, 4000), std::string(4000, '\0'));
  FreeBlock(data);
}

TEST(MemoryBlocks, ReAllocKeepsTheBytesAndZeroesTheGrowth) {
  auto* data = static_cast<char*>(AllocBlock(0, 8));
  std::memcpy(data, "12345678", 8);
  data = static_cast<char*>(ReAllocBlock(data, 20, BLOCK_ZEROED));
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(std::string(data, 20), "12345678" + std::string(12, '\0'));
  EXPECT_EQ(BlockSize(data), 20);
  expectGuards(data, 24);
  data = static_cast<char*>(ReAllocBlock(data, 3, BLOCK_ZEROED));
  EXPECT_EQ(std::string(data, 3), "123");
  expectGuards(data, 8);
  FreeBlock(data);
}

TEST(MemoryBlocks, NegativeSizesAreRefusedAndLeaveTheBlockAlone) {
  for (const std::int32_t size : {-1, -32, INT_MIN}) {
    SCOPED_TRACE(size);
    SetLastError(77);
    EXPECT_EQ(AllocBlock(BLOCK_ZEROED, size), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    void* data = AllocBlock(0, 4);
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    EXPECT_EQ(ReAllocBlock(data, size, 0), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(BlockSize(data), 4);
    expectGuards(data, 8);
    FreeBlock(data);
  }
}

TEST(MemoryBlocks, BlocksAreNeverLocked) {
  int value = 0;
  EXPECT_EQ(LockBlock(&value), &value);
  UnlockBlock(&value);
  EXPECT_EQ(UnlockBlockResult(&value), 0);
  EXPECT_EQ(UnlockBlockResult(nullptr), 1);
  EXPECT_EQ(BlockHandle(&value), &value);
  EXPECT_EQ(CompactBlocks(), 0);
}

TEST(MemoryBlocks, CopiesMayOverlapAndLengthsBelowOneDoNothing) {
  char text[] = "abcdef";
  CopyMemory(text + 1, text, 4);
  EXPECT_STREQ(text, "aabcdf");
  FillMemory(text, 2, 'z');
  EXPECT_STREQ(text, "zzbcdf");
  CopyMemory(text, "XX", -2);
  FillMemory(text, -1, 'q');
  ZeroMemory(text, INT_MIN);
  EXPECT_STREQ(text, "zzbcdf");
  ZeroMemory(text + 2, 4);
  EXPECT_STREQ(text, "zz");
}

TEST(MemoryBlocks, MulDivWrapsItsProductAndNeverTraps) {
  struct Case {
    const char* name;
    std::int32_t a, b, c, result;
  };
  const Case cases[] = {
      {"a division by 0 gives 0", 5, 6, 0, 0},
      {"the quotient is cut toward zero", -7, 1, 2, -3},
      {"the product wraps to 1410065408", 100000, 100000, 100000, 14100},
      {"the wrapped product may be negative", 65536, 32768, 2, INT_MIN / 2},
      {"the smallest product over -1 wraps back", INT_MIN, 1, -1, INT_MIN},
      {"the smallest number times -1 wraps back", INT_MIN, -1, -1, INT_MIN},
      {"the smallest number squared is 0", INT_MIN, INT_MIN, 3, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(MulDiv(c.a, c.b, c.c), c.result);
  }
}

TEST(MemoryBlocks, SetModeWordGivesThePreviousWord) {
  const DWORD before = SetModeWord(0x80000001);
  EXPECT_EQ(SetModeWord(before), 0x80000001u);
}

}  // namespace
