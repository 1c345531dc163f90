// The local time zone and the names of zones.
#include "compat/core/times/zones.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>

#include "compat/core/times/calendar.h"
#include "compat/core/times/zone_table.h"

using namespace nimboxi;

constexpr char kBerlin[] = "CET-1CEST,M3.5.0,M10.5.0/3", kNewYork[] = "EST5EDT,M3.2.0,M11.1.0";
constexpr std::time_t kNewYear2024 = 1704067200;

// What TZ names; the layer notices by itself.
struct LocalZone {
  explicit LocalZone(const char* name) { setenv("TZ", name, 1); }
  ~LocalZone() { unsetenv("TZ"); }
};

TEST(Zones, LocalTicksWrap) {
  const auto localTicks = [](const char* zoneName, FILETIME ticks) {
    const LocalZone zone(zoneName);
    EXPECT_EQ(FileTimeToLocalFileTime(&ticks, &ticks), TRUE);
    return ticks;
  };
  EXPECT_EQ(localTicks("IST-5:30", 0xFFFFFFFFFFFFFFFF), 330 * kTicksPerMinute - 1);
  EXPECT_EQ(localTicks("XYZ5", 0), 0U - 300 * kTicksPerMinute);
}

// The bias and the name of a zone.
static std::string describe(const char* zoneName, std::time_t now = kNewYear2024) {
  const LocalZone zone(zoneName);
  const TIME_ZONE_INFORMATION information = zoneAt(now);
  return std::to_string(information.Bias) + " " + information.StandardName;
}

// Pins(bias-toward-zero), Pins(long-abbreviation)
TEST(Zones, HaveTheirBiasAndName) {
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
TEST(Zones, BiasIsRightAllYear) {
  for (const char* name :
       {kBerlin, kNewYork, "AEST-10AEDT,M10.1.0,M4.1.0/3", "<-03>3<-02>,M3.5.0/-2,M10.5.0/-1"}) {
    const LocalZone zone(name);
    for (std::time_t now = kNewYear2024 - 1; now < kNewYear2024 + 366 * 86400; now += 1800) {
      const std::int32_t bias = zoneAt(now).Bias;
      std::tm local{};
      ASSERT_EQ(bias, -localtime_r(&now, &local)->tm_gmtoff / 60) << name << now;
    }
  }
}

// Pins(bias-holds-daylight)
TEST(Zones, TheRecordIsWhole) {
  const LocalZone summer("CET-1CEST,0/-24,J365/48");  // so that no hour of the year is winter
  TIME_ZONE_INFORMATION zone, expected{-120, "Central Europe Standard Time", {}, 0, {}, {}, -60};
  std::memset(&zone, 0xFF, sizeof zone);
  EXPECT_EQ(GetTimeZoneInformation(&zone), 0U);
  EXPECT_EQ(std::memcmp(&zone, &expected, sizeof zone), 0);
}

// Pins(zone-rows-as-listed)
TEST(ZoneTable, StandsAsListed) {
  // Abbreviation, bias with a '+' for daylight saving, and the name without its " Standard Time".
  std::istringstream rows(
      R"(MHT -720 Dateline, SST 660 Samoa, HST 600 Hawaiian, AKDT 480+ Alaskan, PDT 420+ Pacific,
MST 420 US Mountain, MDT 360+ Mountain, CST 360 Central America, CDT 300+ Central, COT 300 SA Pacific,
EDT 240+ Eastern, EST 300 US Eastern, ADT 180+ Atlantic, VET 240 SA Western, CLT 240 Pacific SA,
NDT 150+ Newfoundland, BRT 180 E. South America, ART 180 SA Eastern, WGST 120+ Greenland,
GST 120 Mid-Atlantic, AZOST 0+ Azores, CVT 60 Cape Verde, WET 0 Greenwich, BST -60+ GMT, GMT 0 GMT,
CEST -120+ Central Europe, WAT -60 W. Central Africa, EEST -180+ E. Europe, EET -120 Egypt,
CAT -120 South Africa, IST -120 Israel, ADT -240+ Arabic, AST -180 Arab, MSD -240+ Russian,
EAT -180 E. Africa, IRST -270+ Iran, GST -240 Arabian, AZST -300+ Caucasus, AFT -270 Afghanistan,
YEKST -360+ Ekaterinburg, PKT -300 West Asia, IST -330 India, NPT -345 Nepal, ALMST -420+ N. Central Asia,
BDT -360 Central Asia, LKT -360 Sri Lanka, MMT -390 Myanmar, ICT -420 SE Asia, KRAST -480+ North Asia,
CST -480 China, IRKST -540+ North Asia East, SGT -480 Malay Peninsula, WST -480 W. Australia,
JST -540 Tokyo, KST -540 Korea, YAKST -600+ Yakutsk, CST -570 Cen. Australia, EST -600 E. Australia,
GST -600 West Pacific, VLAST -660+ Vladivostok, MAGST -720+ Central Pacific, NZST -720 New Zealand,
FJT -720 Fiji, TOT -780 Tonga,)");
  const ZoneRow* first = findZone("MHT", -720, false);
  int count = 0;
  for (std::string abbreviation, bias, name; rows >> abbreviation >> bias; ++count) {
    std::getline(rows >> std::ws, name, ',');
    const ZoneRow* row = findZone(abbreviation.c_str(), std::stoi(bias), bias.back() == '+');
    ASSERT_EQ(row, first + count) << abbreviation;
    EXPECT_EQ(row->name, name + " Standard Time");
    EXPECT_EQ(findZone(abbreviation.c_str(), std::stoi(bias), bias.back() != '+'), nullptr) << name;
  }
  EXPECT_EQ(count, 64);
}
