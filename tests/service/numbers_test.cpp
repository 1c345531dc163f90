// Numbers of files, at their limits. The arithmetic that wraps shows in poll_protocol_test.cpp.
#include "service/numbers.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

namespace nimbolsp {
namespace {

TEST(Numbers, DecimalEndsAtTheFirstOtherCharacterAndWraps) {
  const std::pair<const char*, std::int32_t> cases[] = {
      {"", 0},
      {"   ", 0},
      {"abc", 0},
      {" \t7", 7},
      {"+8", 8},
      {"-5", -5},
      {"- 5", 0},
      {"12abc34", 12},
      {"2147483648", std::numeric_limits<std::int32_t>::min()},
      {"-2147483648", std::numeric_limits<std::int32_t>::min()},
      {"4294967297", 1},
  };
  for (const auto& [text, value] : cases) EXPECT_EQ(parseDecimal(text), value) << text;
}

}  // namespace
}  // namespace nimbolsp
