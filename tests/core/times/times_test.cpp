// The clock, the local time zone and the names of zones.
#include "compat/core/times/zones.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>

#include "compat/core/times/calendar.h"
#include "compat/core/times/zone_table.h"
#include "nimboxi/errors.h"
#include "tests/support/eventually.h"

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

TEST(Times, TheClockIsTheSystems) {
  const Zone zone("IST-5:30");
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
}

FILETIME localTicks(const char* zoneName, FILETIME ticks) {
  const Zone zone(zoneName);
  EXPECT_EQ(FileTimeToLocalFileTime(&ticks, &ticks), TRUE);
  return ticks;
}

TEST(Times, LocalTicksWrap) {
  EXPECT_EQ(localTicks("IST-5:30", 0xFFFFFFFFFFFFFFFF), 330 * kTicksPerMinute - 1);
  EXPECT_EQ(localTicks("XYZ5", 0), 0U - 300 * kTicksPerMinute);
}

// The bias and the name of a zone.
std::string describe(const char* zoneName, std::time_t now = kNewYear2024) {
  const Zone zone(zoneName);
  const TIME_ZONE_INFORMATION information = zoneAt(now);
  return std::to_string(information.Bias) + " " + information.StandardName;
}

TEST(Times, ZonesHaveTheirBiasAndName) {
  EXPECT_EQ(describe(kBerlin, 1720000000), "-120 Central Europe Standard Time");
  EXPECT_EQ(describe(kNewYork), "300 US Eastern Standard Time");
  EXPECT_EQ(describe("IST-5:30"), "-330 India Standard Time");
  EXPECT_EQ(describe("IST-2"), "-120 Israel Standard Time");
  EXPECT_EQ(describe("AZOT1AZOST,0/-24,J365/48"), "0 Azores Standard Time");
  EXPECT_EQ(describe("GMT0", -1), "0 GMT Standard Time");
  EXPECT_EQ(describe("no zone"), "0 ");
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
