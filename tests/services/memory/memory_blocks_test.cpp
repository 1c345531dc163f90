// Memory blocks: layout, growth, refusals, and the arithmetic of MulDiv.
#include "nimboxi/memory.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "nimboxi/errors.h"

TEST(MemoryBlocks, ReAllocKeepsTheBytesTheGuardsAndZeroesTheGrowth) {
  char* data = nullptr;
  std::string bytes;
  for (const int size : {0, 7, 8, 20, 3, 4000, 5, 4000}) {
    SCOPED_TRACE(size);
    data = static_cast<char*>(ReAllocBlock(data, size, 17));  // the lowest flag alone asks for zeroes
    bytes.resize(static_cast<std::size_t>(size), '\0');
    EXPECT_EQ(std::string(data, bytes.size()), bytes);
    EXPECT_EQ(BlockSize(data), size);
    bytes.assign(bytes.size(), 'x');
    std::memset(data, 'x', bytes.size());
    EXPECT_EQ(std::string(data - 16, 8), "\xCD\xAB\xEF\xCD\xAB\xEF\xCD\xAB");
    EXPECT_EQ(std::string(data + size / 8 * 8 + 8, 8), "\xBA\xDC\xFE\xBA\xDC\xFE\xBA\xDC");
  }
  FreeBlock(data);
}

TEST(MemoryBlocks, NegativeSizesAreRefusedAndLeaveTheBlockAlone) {
  for (const std::int32_t size : {-1, -32, INT_MIN}) {
    EXPECT_EQ(AllocBlock(BLOCK_ZEROED, size), nullptr);
    auto* text = static_cast<char*>(AllocBlock(BLOCK_ZEROED, 4));
    std::memcpy(text, "abc", 4);
    EXPECT_EQ(ReAllocBlock(text, size, 0), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    CopyMemory(text, "XX", size);
    FillMemory(text, size, 'q');
    EXPECT_STREQ(text, "abc");
    FreeBlock(text);
  }
}

// Pins(product-wraps)
TEST(MemoryBlocks, MulDivWrapsItsProductAndNeverTraps) {
  EXPECT_EQ(MulDiv(5, 6, 0), 0) << "a division by 0 gives 0";
  EXPECT_EQ(MulDiv(-7, 1, 2), -3) << "the quotient is cut toward zero";
  EXPECT_EQ(MulDiv(100000, 100000, 100000), 14100) << "the product wraps to 1410065408";
  EXPECT_EQ(MulDiv(INT_MIN, 1, -1), INT_MIN) << "the smallest product over -1 wraps back";
}
