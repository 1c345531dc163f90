// Calls whose memory runs out at the first, the second, ... allocation: none lets an exception out, and a
// file stays whole. Every allocation of this program with `new` comes through here.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "nimboxi/process.h"
#include "nimboxi/profile.h"
#include "nimboxi/system.h"
#include "tests/support/started_layer.h"

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
