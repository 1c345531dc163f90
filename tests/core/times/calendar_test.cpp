// The calendar of tick counts, against the standard library's.
#include "compat/core/times/calendar.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <chrono>
#include <random>

namespace nimboxi {
namespace {

using namespace std::chrono;
using Fields = std::array<WORD, 8>;  // in the order of SYSTEMTIME
using Ticks = duration<std::int64_t, std::ratio<1, 10000000>>;

constexpr FILETIME kDay = 24 * 60 * kTicksPerMinute;
constexpr FILETIME kCycle = 146097 * kDay;  // 400 years: whole weeks, so that its weekdays repeat too

Fields convert(FILETIME ticks) {
  SYSTEMTIME time;
  EXPECT_EQ(FileTimeToSystemTime(&ticks, &time), TRUE);
  return std::bit_cast<Fields>(time);
}

Fields expected(FILETIME ticks) {
  const auto time = sys_days(1601y / January / 1) + Ticks(ticks);
  const auto day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(floor<milliseconds>(time - day));
  const auto fields = [](auto... values) { return Fields{static_cast<WORD>(values)...}; };
  return fields(int{date.year()}, unsigned{date.month()}, weekday(day).c_encoding(), unsigned{date.day()},
                clock.hours().count(), clock.minutes().count(), clock.seconds().count(),
                clock.subseconds().count());
}

TEST(Calendar, AgreesWithTheStandardLibrary) {
  // Every day of a whole cycle and of a year more, which meets every rule; then some days up to the year
  // 9999.
  FILETIME day = 0;
  for (; expected(day)[0] < 10000; day += day < kCycle + 366 * kDay ? kDay : 59 * kDay) {
    ASSERT_EQ(convert(day), expected(day)) << day;
    ASSERT_EQ(convert(day + kDay - 1), expected(day + kDay - 1)) << day;
  }
  std::mt19937_64 random;
  for (int i = 0; i < 100000; ++i) {
    const FILETIME ticks = random() >> 1;
    ASSERT_EQ(convert(ticks), expected(ticks)) << ticks;
  }
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

}  // namespace
}  // namespace nimboxi
