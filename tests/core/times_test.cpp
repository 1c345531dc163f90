// The clock, the local time zone and the names of zones.
#include "compat/core/times.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "compat/core/calendar.h"
#include "compat/core/zone_table.h"
#include "nimboxi/errors.h"

namespace nimboxi {
namespace {

using namespace std::chrono;

constexpr char kBerlin[] = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr char kNewYork[] = "EST5EDT,M3.2.0,M11.1.0";
// Wide of the turn of the year, so that no hour of it is winter.
constexpr char kAlwaysSummer[] = "CET-1CEST,0/-24,J365/48";
constexpr std::time_t kNewYear2024 = 1704067200;

// What TZ names; the layer notices by itself.
struct Zone {
  explicit Zone(const char* name) { setenv("TZ", name, 1); }
  ~Zone() { unsetenv("TZ"); }
};

sys_time<milliseconds> pointOf(const SYSTEMTIME& time) {
  const auto date = year(time.wYear) / time.wMonth / time.wDay;
  return sys_days(date) + hours(time.wHour) + minutes(time.wMinute) + seconds(time.wSecond) +
         milliseconds(time.wMilliseconds);
}

// Expects that what `call` stores lies between the clock before and the clock after, moved by `shift`.
template <typename Call>
void expectNow(Call call, seconds shift) {
  SYSTEMTIME time{};
  const auto before = floor<milliseconds>(system_clock::now());
  EXPECT_EQ(call(&time), TRUE);
  const auto after = system_clock::now();
  EXPECT_LE(before + shift, pointOf(time));
  EXPECT_LE(pointOf(time), after + shift);
}

TEST(Times, TheClockIsTheSystems) {
  const Zone zone("IST-5:30");
  const minutes east(330);
  SetLastError(ERROR_GEN_FAILURE);
  expectNow(GetLocalTime, east);
  for (const std::int32_t offset : {-1, INT32_MIN, INT32_MAX}) {
    expectNow([&](SYSTEMTIME* time) { return GetLocalTimeWithOffset(time, offset); }, east + seconds(offset));
  }
  const auto throughTicks = [](SYSTEMTIME* time) {
    FILETIME ticks = 0;
    return GetSystemTimeAsFileTime(&ticks) + FileTimeToSystemTime(&ticks, time);
  };
  expectNow(throughTicks, seconds(0));
  EXPECT_EQ(GetLastError(), ERROR_GEN_FAILURE);
  expectNow(GetSystemTime, seconds(0));
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
}

FILETIME localTicks(const char* zoneName, FILETIME ticks) {
  const Zone zone(zoneName);
  EXPECT_EQ(FileTimeToLocalFileTime(&ticks, &ticks), TRUE);
  return ticks;
}

TEST(Times, LocalTicksWrap) {
  EXPECT_EQ(localTicks("IST-5:30", 0), 330 * kTicksPerMinute);
  EXPECT_EQ(localTicks("IST-5:30", 0xFFFFFFFFFFFFFFFF), 330 * kTicksPerMinute - 1);
  EXPECT_EQ(localTicks("XYZ5", 300 * kTicksPerMinute), 0U);
  EXPECT_EQ(localTicks("XYZ5", 0), 0U - 300 * kTicksPerMinute);
  EXPECT_EQ(localTicks(kAlwaysSummer, 1), 120 * kTicksPerMinute + 1);
}

// The bias and the name of a zone.
std::string describe(const char* zoneName, std::time_t now = kNewYear2024) {
  const Zone zone(zoneName);
  const TIME_ZONE_INFORMATION information = zoneAt(now);
  return std::to_string(information.Bias) + " " + information.StandardName;
}

TEST(Times, ZonesHaveTheirBiasAndName) {
  EXPECT_EQ(describe(kBerlin, 1711846799), "-60 ");  // one second before summer
  EXPECT_EQ(describe(kBerlin, 1711846800), "-120 Central Europe Standard Time");
  EXPECT_EQ(describe(kBerlin, 1729990799), "-120 Central Europe Standard Time");
  EXPECT_EQ(describe(kBerlin, 1729990800), "-60 ");
  EXPECT_EQ(describe(kNewYork, 1720000000), "240 Eastern Standard Time");
  EXPECT_EQ(describe(kNewYork), "300 US Eastern Standard Time");
  EXPECT_EQ(describe("IST-5:30"), "-330 India Standard Time");
  EXPECT_EQ(describe("IST-2"), "-120 Israel Standard Time");
  EXPECT_EQ(describe("IST-1"), "-60 ");
  EXPECT_EQ(describe("CEST-2"), "-120 ");  // not daylight saving
  EXPECT_EQ(describe("AZOT1AZOST,0/-24,J365/48"), "0 Azores Standard Time");
  EXPECT_EQ(describe("UTC0"), "0 ");
  EXPECT_EQ(describe("GMT0", -1), "0 GMT Standard Time");
  EXPECT_EQ(describe("no zone"), "0 ");
  EXPECT_EQ(describe("XYZ5"), "300 ");
  EXPECT_EQ(describe("<+0330>-3:30"), "-210 ");
  EXPECT_EQ(describe("LOCALMEANTIME-0:53:28"), "-53 ");
  EXPECT_EQ(describe("LMT0:53:28"), "53 ");
  EXPECT_EQ(describe(kBerlin, INT64_MAX), "0 ");  // no calendar reaches so far
}

// The C library knows the bias of a moment too; around a change it must not be taken from the other side.
TEST(Times, BiasIsRightAllYear) {
  for (const char* name :
       {kBerlin, kNewYork, "AEST-10AEDT,M10.1.0,M4.1.0/3", "<-03>3<-02>,M3.5.0/-2,M10.5.0/-1"}) {
    const Zone zone(name);
    for (std::time_t now = kNewYear2024 - 1; now < kNewYear2024 + 366 * 86400; now += 1800) {
      const std::int32_t bias = zoneAt(now).Bias;
      std::tm local{};
      ASSERT_EQ(bias, -localtime_r(&now, &local)->tm_gmtoff / 60) << name << now;
    }
  }
}

TEST(Times, ZoneRecordIsWhole) {
  const Zone summer(kAlwaysSummer);
  TIME_ZONE_INFORMATION zone, expected{-120, "Central Europe Standard Time", {}, 0, {}, {}, -60};
  std::memset(&zone, 0xFF, sizeof zone);
  EXPECT_EQ(GetTimeZoneInformation(&zone), 0U);
  EXPECT_EQ(std::memcmp(&zone, &expected, sizeof zone), 0);
}

TEST(ZoneTable, EveryRowIsFound) {
  for (const ZoneRow& row : zoneTable) {
    EXPECT_EQ(findZone(row.abbreviation, row.bias, row.daylight), &row) << row.name;
    EXPECT_EQ(findZone(row.abbreviation, row.bias, !row.daylight), nullptr) << row.name;
  }
}

}  // namespace
}  // namespace nimboxi
