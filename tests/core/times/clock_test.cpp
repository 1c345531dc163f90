// The clock, in UTC and in local time.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>

#include "compat/core/times/calendar.h"
#include "nimboxi/errors.h"
#include "tests/support/eventually.h"

namespace nimboxi {
namespace {

using namespace std::chrono;

// Expects that what `call` stores is the clock moved by `shift`, when both fall into one millisecond.
template <typename Call>
void expectNow(Call call, seconds shift) {
  EXPECT_TRUE(eventually([&] {
    const auto now = (system_clock::now() + shift).time_since_epoch();
    const FILETIME ticks = ticksFromPosixTime(0, 0) + static_cast<FILETIME>(now / 100ns);
    SYSTEMTIME time, expected;
    return FileTimeToSystemTime(&ticks, &expected) && call(&time) &&
           std::memcmp(&time, &expected, sizeof time) == 0;
  }));
}

TEST(Clock, IsTheSystems) {
  setenv("TZ", "IST-5:30", 1);  // the layer notices by itself
  SetLastError(ERROR_GEN_FAILURE);
  expectNow(GetLocalTime, 330min);
  for (const std::int32_t offset : {-1, INT32_MIN, INT32_MAX}) {
    expectNow([&](SYSTEMTIME* time) { return GetLocalTimeWithOffset(time, offset); },
              330min + seconds(offset));
  }
  const auto throughTicks = [](SYSTEMTIME* time) {
    FILETIME ticks = 0;
    return GetSystemTimeAsFileTime(&ticks) + FileTimeToSystemTime(&ticks, time);
  };
  expectNow(throughTicks, seconds(0));
  EXPECT_EQ(GetLastError(), ERROR_GEN_FAILURE);
  expectNow(GetSystemTime, seconds(0));
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  EXPECT_FALSE(GetSystemTime(nullptr) || GetLocalTime(nullptr) || FileTimeToSystemTime(nullptr, nullptr));
  unsetenv("TZ");
}

}  // namespace
}  // namespace nimboxi
