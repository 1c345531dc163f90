// What the tests of calls on handles and files share: the layer, a folder of their own, and verbs.
#pragma once

#include <gtest/gtest.h>

#include "nimboxi/errors.h"
#include "nimboxi/files.h"
#include "nimboxi/handles.h"
#include "tests/support/locked_layer.h"

class CoreTest : public testing::Test {
 protected:
  static HANDLE open(const char* name, DWORD access = GENERIC_WRITE, DWORD disposition = OPEN_EXISTING) {
    return CreateFile(name, access, 0, nullptr, disposition, 0, nullptr);
  }
  static std::string read(HANDLE file, DWORD count) {
    std::string bytes(count, '#');
    DWORD size = 0;
    EXPECT_TRUE(ReadFile(file, bytes.data(), count, &size));
    return bytes.substr(0, size);
  }
  static bool write(HANDLE file, const std::string& bytes) {
    return WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr);
  }

  // The last error of a call that failed; -1 when it did not. The next call starts from a mark.
  static int32_t failure(bool succeeded) {
    const int32_t error = GetLastError();
    SetLastError(kMark);
    return succeeded ? -1 : error;
  }

  // What a call returns and leaves in a buffer of `size` bytes, which holds "#" before.
  using Filled = std::pair<DWORD, std::string>;
  static Filled fill(DWORD size, DWORD (*call)(DWORD, char*)) {
    const auto bytes = std::make_unique<char[]>(size);  // the sanitizers see its end
    if (size > 1) bytes[0] = '#';
    const DWORD length = call(size, bytes.get());
    return {length, size == 0 ? "" : bytes.get()};
  }

  static constexpr int32_t kMark = 999;
  LockedLayer layer_;
  const TempFolder& folder_ = layer_.folder();
  const DWORD length_ = static_cast<DWORD>(folder_.path().size());
  const int32_t startMark_ = failure(true);
};
