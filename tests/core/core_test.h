// What the tests of calls on handles and files share: the layer, a folder of their own, and verbs.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "nimboxi/errors.h"
#include "nimboxi/files.h"
#include "nimboxi/handles.h"
#include "tests/support/locked_layer.h"

using Errors = std::vector<int32_t>;
using Texts = std::vector<std::string>;

class CoreTest : public testing::Test {
 protected:
  static HANDLE open(const std::string& name, DWORD access = GENERIC_WRITE,
                     DWORD disposition = OPEN_EXISTING) {
    return CreateFile(name.c_str(), access, 0, nullptr, disposition, 0, nullptr);
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

  // The last error that a call left; -1 when it is 0 after a failure, or anything else after a success. The
  // next call starts from a mark.
  static int32_t errorOf(bool succeeded) {
    const int32_t error = GetLastError();
    SetLastError(kMark);
    return succeeded == (error == ERROR_SUCCESS) ? error : -1;
  }
  static bool done(bool succeeded) { return errorOf(succeeded) == 0; }
  static void expectAll(int32_t error, const Errors& errors) {
    EXPECT_EQ(errors, Errors(errors.size(), error));
  }

  // What a call returns and leaves in a buffer of `size` bytes: "5 text"; "6 #" when it leaves it alone.
  static std::string fill(DWORD size, DWORD (*call)(DWORD, char*)) {
    const auto bytes = std::make_unique<char[]>(size);  // the sanitizers see its end
    std::fill_n(bytes.get(), size, '#');
    const std::string result = std::to_string(call(size, bytes.get()));
    EXPECT_TRUE(done(true));
    const std::string after(bytes.get(), size);
    return result + (after == std::string(size, '#') ? " #" : " " + after.substr(0, after.find('\0')));
  }

  static constexpr int32_t kMark = 999;
  LockedLayer layer_;
  const TempFolder& folder_ = layer_.folder();
  const DWORD length_ = static_cast<DWORD>(folder_.path().size());
  const int32_t startMark_ = errorOf(true);
};
