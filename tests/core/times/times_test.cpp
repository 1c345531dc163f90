// The clock and the calendar of tick counts, against the C and the C++ library's; the local time zone.
#include "compat/core/times/zones.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <chrono>
#include <cstring>
#include <functional>
#include <random>

#include "compat/core/times/calendar.h"
#include "compat/core/times/zone_table.h"
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

TEST(Calendar, AgreesWithTheCLibrary) {
  constexpr FILETIME kDay = 24 * 60 * kTicksPerMinute;
  std::mt19937_64 random;
  const auto expectSame = [](FILETIME ticks) {
    const auto seconds = static_cast<std::time_t>(ticks / kTicksPerSecond) - 11644473600;  // since 1970
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    const auto fields = [](auto... values) { return Fields{static_cast<WORD>(values)...}; };
    const auto milliseconds = ticks % kTicksPerSecond / 10000;
    ASSERT_EQ(convert(ticks), fields(utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_wday, utc.tm_mday,
                                     utc.tm_hour, utc.tm_min, utc.tm_sec, milliseconds));
  };
  // Every day of 401 years, which meets every rule, at any time of the day; then any moment of the era.
  for (FILETIME day = 0; day < 401 * 366 * kDay; day += kDay) expectSame(day + random() % kDay);
  for (int i = 0; i < 100000; ++i) expectSame(random() >> 1);
}

// Pins(signed-ticks): counts of 2^63 and more lie before the era: its first month, and fields that wrap.
TEST(Calendar, TicksAreSigned) {
  EXPECT_EQ(convert(~FILETIME{0}), (Fields{1601, 1, 1, 1, 0, 0, 0, 0}));
  EXPECT_EQ(convert(0 - 90'061 * kTicksPerSecond - 10'000),
            (Fields{1601, 1, 0, 0, 65535, 65535, 65535, 65535}));
  EXPECT_EQ(convert(FILETIME{1} << 63), (Fields{1601, 1, 65534, 7170, 65534, 65488, 65531, 65059}));
}

// Whether what `call` stores is the clock moved by `shift`, when both fall into one millisecond.
static bool isNow(const std::function<BOOL(SYSTEMTIME*)>& call, seconds shift) {
  return eventually([&] {
    const auto now = (system_clock::now() + shift).time_since_epoch();
    const SYSTEMTIME expected = calendarFromTicks(ticksFromPosixTime(0, now / 1us));
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
  FILETIME ticks = 0;
  const auto throughTicks = [&ticks](SYSTEMTIME* time) {
    return GetSystemTimeAsFileTime(&ticks) + FileTimeToSystemTime(&ticks, time);
  };
  EXPECT_TRUE(isNow(throughTicks, seconds(GetSystemTimeAsFileTime(nullptr))));
  ticks = ~FILETIME{0};
  EXPECT_TRUE(FileTimeToLocalFileTime(&ticks, &ticks) && ticks == 330 * kTicksPerMinute - 1) << "it wraps";
  EXPECT_FALSE(FileTimeToLocalFileTime(nullptr, &ticks) || FileTimeToLocalFileTime(&ticks, nullptr));
  EXPECT_FALSE(FileTimeToSystemTime(nullptr, nullptr) || FileTimeToSystemTime(&ticks, nullptr) ||
               GetLocalTime(nullptr));
  EXPECT_EQ(GetLastError(), ERROR_GEN_FAILURE);
  EXPECT_TRUE(isNow(GetSystemTime, seconds(0)) && !GetSystemTime(nullptr) && GetLastError() == ERROR_SUCCESS);
}

// Pins(bias-toward-zero), Pins(long-abbreviation): around the changes of 2024, and elsewhere.
TEST(Zones, HaveTheirBiasAndName) {
  constexpr char kBerlin[] = "CET-1CEST,M3.5.0,M10.5.0/3", kNewYork[] = "EST5EDT,M3.2.0,M11.1.0";
  const auto zone = [](const char* name, std::time_t now = 1704067200) {
    setenv("TZ", name, 1);
    const std::string text = std::to_string(zoneAt(now).Bias) + " " + zoneAt(now).StandardName;
    return text.substr(0, text.find(" Standard Time"));
  };
  using Texts = std::vector<std::string>;
  EXPECT_EQ((Texts{zone(kBerlin, 1711846799), zone(kBerlin, 1711846800), zone(kBerlin, 1729990799),
                   zone(kBerlin, 1729990800), zone(kNewYork, 1710054000), zone(kNewYork, 1730613600),
                   zone("<-03>3<-02>,M3.5.0/-2,M10.5.0/-1", 1711846800)}),
            (Texts{"-60 ", "-120 Central Europe", "-120 Central Europe", "-60 ", "240 Eastern",
                   "300 US Eastern", "120 "}));
  EXPECT_EQ((Texts{zone("IST-5:30"), zone("IST-2"), zone("AZOT1AZOST,0/-24,J365/48"), zone("GMT0", -1),
                   zone("no zone"), zone("<+0330>-3:30"), zone("LOCALMEANTIME-0:53:28"), zone("LMT0:53:28"),
                   zone(kBerlin, INT64_MAX)}),
            (Texts{"-330 India", "-120 Israel", "0 Azores", "0 GMT", "0 ", "-210 ", "-53 ", "53 ", "0 "}));
}

// Pins(bias-holds-daylight)
TEST(Zones, TheRecordIsWhole) {
  setenv("TZ", "CET-1CEST,0/-24,J365/48", 1);  // so that no hour of the year is winter
  TIME_ZONE_INFORMATION zone, expected{-120, "Central Europe Standard Time", {}, 0, {}, {}, -60};
  std::memset(&zone, 0xFF, sizeof zone);
  EXPECT_EQ(GetTimeZoneInformation(&zone) + GetTimeZoneInformation(nullptr), 0U);
  EXPECT_EQ(std::memcmp(&zone, &expected, sizeof zone), 0);
}

// Pins(zone-rows-as-listed): all 64 of them, in their order, each found by what it says of itself alone.
TEST(ZoneTable, StandsAsListed) {
  const ZoneRow* const first = findZone("MHT", -720, false);
  std::uint64_t digest = 0xCBF29CE484222325;  // FNV-1a of the rows as text
  for (const ZoneRow* row = first; row != first + 64; ++row) {
    ASSERT_EQ(findZone(row->abbreviation, row->bias, row->daylight), row) << row - first;
    EXPECT_EQ(findZone(row->abbreviation, row->bias, !row->daylight), nullptr) << row->name;
    const std::string bias = (row->daylight ? "+" : "-") + std::to_string(row->bias);
    for (const char byte : row->abbreviation + bias + row->name)
      digest = (digest ^ static_cast<std::uint8_t>(byte)) * 0x100000001B3;
  }
  EXPECT_EQ(digest, 12515620231636907391U) << "a row, or their order, has changed";
}
