// The last error and its text: a thread's own, before the layer's start everybody's.
#include "compat/services/errors/last_error.h"

#include <gtest/gtest.h>

#include <thread>

#include "nimboxi/errors.h"

namespace {

// The error, and its text as a buffer of `size` bytes takes it.
std::string errorState(int32_t size = 64) {
  char text[64] = "untouched";
  GetLastErrorText(text, size);
  return std::to_string(GetLastError()) + " " + text;
}

void setOtherError() {
  SetLastError(-12);
  SetLastErrorText("other");
}

}  // namespace

TEST(ThreadStateDeathTest, BeforeTheStartAllThreadsShareOneState) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a process of its own from the beginning
  const auto isShared = [] {
    std::thread(setOtherError).join();
    const bool shared = errorState() == "-12 other";
    nimboxi::createErrorStateKey();
    std::exit(shared && errorState() == "0 " ? 0 : 1);
  };
  EXPECT_EXIT(isShared(), testing::ExitedWithCode(0), "");
}

TEST(ThreadState, EachThreadHasItsOwn) {
  nimboxi::createErrorStateKey();
  SetLastError(31);
  SetLastErrorText("mine");
  std::thread(setOtherError).join();
  EXPECT_EQ(errorState(), "31 mine");
  EXPECT_EQ(errorState(4), "31 min");
  EXPECT_EQ(errorState(-5), "31 untouched");
}
