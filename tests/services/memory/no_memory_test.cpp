// Calls whose memory runs out at the first, the second, ... allocation: none lets an exception out, and what
// they work on stays whole. Every allocation of this program with `new` comes through here.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "nimboxi/process.h"
#include "nimboxi/profile.h"
#include "nimboxi/system.h"
#include "tests/support/started_layer.h"

namespace {

thread_local int allocationsLeft = -1;  // this thread's, until all fail; below 0: without limit

}  // namespace

void* operator new(std::size_t size) {
  void* memory = allocationsLeft == 0 ? nullptr : std::malloc(size == 0 ? 1 : size);
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
  static const std::string profile = layer.folder().file("a.ini");
  const std::string before = "[A]\r\nx=1\r\n";
  layer.folder().write("a.ini", before);
  static char text[200];
  static void* output = text;
  static const char* const strings[] = {"a text that a string has to allocate room for"};
  const struct {
    const char* name;
    bool (*call)();  // whether it succeeds
  } cases[] = {
      {"read", [] { return GetPrivateProfileString("A", "x", "", text, 9, profile.c_str()) == 1; }},
      {"write", [] { return WritePrivateProfileString("A", strings[0], "2", profile.c_str()) != 0; }},
      {"load", [] { return LoadLibrary(NIMBOLSP_TEST_MODULES "/plain") != nullptr; }},
      {"find", [] { return GetModuleHandle(NIMBOLSP_TEST_MODULES "/plain") != nullptr; }},
      {"run", [] { return RunShellCommand("true", 0, RUN_FOREGROUND | RUN_CAPTURE_OUTPUT, &output) == 32; }},
      {"list", [] { return IsProcessRunning("ps") != 0; }},
      {"event", [] { return ReportEvent(nullptr, 0, 0, 0, nullptr, 1, 0, strings, nullptr) != 0; }},
  };
  for (const auto& [name, call] : cases) {
    SCOPED_TRACE(name);
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
