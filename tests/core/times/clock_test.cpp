// The clock and the calendar of tick counts, against the C and the C++ library's.
#include "compat/core/times/calendar.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <chrono>
#include <cstring>
#include <ctime>
#include <random>

#include "nimboxi/errors.h"
#include "tests/support/eventually.h"

using namespace nimboxi;
using namespace std::chrono;
using Fields = std::array<WORD, 8>;  // in the order of SYSTEMTIME

static Fields convert(FILETIME ticks) {
  SYSTEMTIME time;
  EXPECT_TRUE(FileTimeToSystemTime(&ticks, &time));
  return std::bit_cast<Fields>(time);
}

static Fields expected(FILETIME ticks) {
  const auto seconds = static_cast<std::time_t>(ticks / kTicksPerSecond) - 11644473600;  // since 1970
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  const auto fields = [](auto... values) { return Fields{static_cast<WORD>(values)...}; };
  return fields(utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_wday, utc.tm_mday, utc.tm_hour, utc.tm_min,
                utc.tm_sec, ticks % kTicksPerSecond / 10000);
}

TEST(Calendar, AgreesWithTheCLibrary) {
  constexpr FILETIME kDay = 24 * 60 * kTicksPerMinute;
  std::mt19937_64 random;
  const auto expectSame = [](FILETIME ticks) { ASSERT_EQ(convert(ticks), expected(ticks)) << ticks; };
  // Every day of 401 years, which meets every rule, at any time of the day; then any moment of the era.
  for (FILETIME day = 0; day < 401 * 366 * kDay; day += kDay) expectSame(day + random() % kDay);
  for (int i = 0; i < 100000; ++i) expectSame(random() >> 1);
}

// Pins(signed-ticks): counts of 2^63 and more lie before the era: its first month, and fields that wrap.
TEST(Calendar, TicksAreSigned) {
  const std::pair<std::int64_t, Fields> cases[] = {
      {INT64_MAX, {30828, 9, 4, 14, 2, 48, 5, 477}},
      {-1, {1601, 1, 1, 1, 0, 0, 0, 0}},
      {-(((25 * 60 + 1) * 60 + 1) * 10'000'000LL + 10'000), {1601, 1, 0, 0, 65535, 65535, 65535, 65535}},
      {-8 * 24 * 36'000'000'000LL, {1601, 1, 0, 65529, 0, 0, 0, 0}},
      {-400'000 * 24 * 36'000'000'000LL, {1601, 1, 65531, 58753, 0, 0, 0, 0}},
      {INT64_MIN, {1601, 1, 65534, 7170, 65534, 65488, 65531, 65059}},
  };
  for (const auto& [ticks, fields] : cases) EXPECT_EQ(convert(static_cast<FILETIME>(ticks)), fields) << ticks;
}

// Whether what `call` stores is the clock moved by `shift`, when both fall into one millisecond.
template <typename Call>
static bool isNow(Call call, seconds shift) {
  return eventually([&] {
    const auto now = (system_clock::now() + shift).time_since_epoch();
    const SYSTEMTIME expected =
        calendarFromTicks(ticksFromPosixTime(0, 0) + static_cast<FILETIME>(now / 100ns));
    SYSTEMTIME time;
    return call(&time) && std::memcmp(&time, &expected, sizeof time) == 0;
  });
}

TEST(Clock, IsTheSystems) {
  setenv("TZ", "IST-5:30", 1);  // the layer notices by itself
  SetLastError(ERROR_GEN_FAILURE);
  EXPECT_TRUE(isNow(GetLocalTime, 330min));
  for (const std::int32_t offset : {-1, INT32_MIN, INT32_MAX}) {
    const auto call = [offset](SYSTEMTIME* time) { return GetLocalTimeWithOffset(time, offset); };
    EXPECT_TRUE(isNow(call, 330min + seconds(offset)));
  }
  const auto throughTicks = [](SYSTEMTIME* time) {
    FILETIME ticks = 0;
    return GetSystemTimeAsFileTime(&ticks) + FileTimeToSystemTime(&ticks, time);
  };
  EXPECT_TRUE(isNow(throughTicks, seconds(0)));
  EXPECT_EQ(GetLastError(), ERROR_GEN_FAILURE);
  EXPECT_TRUE(isNow(GetSystemTime, seconds(0)));
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  EXPECT_FALSE(GetSystemTime(nullptr) || GetLocalTime(nullptr) || FileTimeToSystemTime(nullptr, nullptr));
  unsetenv("TZ");
}
