// Memory blocks: layout, growth, refusals, and the arithmetic of MulDiv; and calls that run out of memory at
// their first, second, ... `new`.
#include "nimboxi/memory.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <new>

#include "nimboxi/errors.h"
#include "nimboxi/process.h"
#include "nimboxi/profile.h"
#include "nimboxi/system.h"
#include "tests/support/started_layer.h"

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

// Every allocation of this program with `new` comes through here.
static thread_local int allocationsLeft = -1;  // of this thread, until all fail; below 0: no limit

void* operator new(std::size_t size) {
  void* memory = allocationsLeft == 0 ? nullptr : std::malloc(size + 1);
  if (allocationsLeft > 0) --allocationsLeft;
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

TEST(NoMemory, NoCallLetsAnExceptionOut) {
  const StartedLayer layer;
  static const std::string profile = layer.folder().write("a.ini", "[A]\r\nx=1\r\n");
  static char text[9];
  static void* output = text;
  static const char* const kLong = "a text that a string has to allocate room for";
  bool (*const calls[])() = {
      // whether they succeed
      [] { return GetPrivateProfileString("A", "x", "", text, 9, profile.c_str()) == 1; },
      [] { return WritePrivateProfileString("A", kLong, "2", profile.c_str()) != 0; },
      [] { return LoadLibrary(NIMBOLSP_TEST_MODULES "/plain") != nullptr; },
      [] { return GetModuleHandle(NIMBOLSP_TEST_MODULES "/plain") != nullptr; },
      [] { return RunShellCommand("true", 0, RUN_FOREGROUND | RUN_CAPTURE_OUTPUT, &output) == 32; },
      [] { return IsProcessRunning("ps") != 0; },
      [] { return ReportEvent(nullptr, 0, 0, 0, nullptr, 1, 0, &kLong, nullptr) != 0; },
  };
  for (const auto& call : calls) {
    SCOPED_TRACE(&call - calls);
    bool succeeded = false;
    for (int i = 0; i < 30 && !succeeded; ++i) {
      const std::string unchanged = layer.folder().read("a.ini");
      allocationsLeft = i;
      EXPECT_NO_THROW(succeeded = call());
      allocationsLeft = -1;
      EXPECT_TRUE(succeeded || layer.folder().read("a.ini") == unchanged);
    }
    EXPECT_TRUE(succeeded);
  }
  EXPECT_EQ(output, nullptr);
}
