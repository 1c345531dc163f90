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

// The standard library's years end at 32767, so whole cycles are counted apart.
Fields expected(FILETIME ticks) {
  const auto time = sys_days(1601y / January / 1) + Ticks(ticks % kCycle);
  const auto day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(floor<milliseconds>(time - day));
  const auto fields = [](auto... values) { return Fields{static_cast<WORD>(values)...}; };
  return fields(int{date.year()} + static_cast<int>(ticks / kCycle * 400), unsigned{date.month()},
                weekday(day).c_encoding(), unsigned{date.day()}, clock.hours().count(),
                clock.minutes().count(), clock.seconds().count(), clock.subseconds().count());
}

TEST(Calendar, AgreesWithTheStandardLibrary) {
  // Every day of a whole cycle and of a year more, which meets every rule; then some days up to the year
  // 9999.
  FILETIME day = 0;
  for (; expected(day)[0] < 10000; day += day < kCycle + 366 * kDay ? kDay : 59 * kDay) {
    ASSERT_EQ(convert(day), expected(day)) << day;
    ASSERT_EQ(convert(day + kDay - 1), expected(day + kDay - 1)) << day;
  }
  ASSERT_EQ(convert(~FILETIME{0}), (Fields{60056, 5, 0, 28, 5, 36, 10, 955}));
  std::mt19937_64 random;
  for (int i = 0; i < 100000; ++i) {
    const FILETIME ticks = random();
    ASSERT_EQ(convert(ticks), expected(ticks)) << ticks;
  }
}

}  // namespace
}  // namespace nimboxi
