// The local time zone. Keeps no state; the C library holds the zone, and the call guard keeps the public
// calls from reading TZ while the layer's own call sets it.
#include "compat/core/times/zones.h"

#include <cstring>

#include "compat/core/call_guard.h"
#include "compat/core/times/calendar.h"
#include "compat/core/times/zone_table.h"

namespace nimboxi {
namespace {

constexpr std::size_t kAbbreviationSize = 7;

// Minutes, UTC minus local time at `now`, where daylight saving is in force or not as `daylight` says.
std::int32_t biasAt(std::time_t now, int daylight) {
  std::tm utc{};
  if (gmtime_r(&now, &utc) == nullptr) return 0;
  utc.tm_isdst = daylight;
  // Required(bias-toward-zero): a part of a minute is cut toward 0, on both sides of Greenwich.
  return static_cast<std::int32_t>(now - std::mktime(&utc)) / -60;
}

void copyZoneName(const std::tm& local, TIME_ZONE_INFORMATION* zone) {
  char abbreviation[kAbbreviationSize];
  // Required(long-abbreviation): a longer abbreviation leaves the zone without a name.
  if (std::strftime(abbreviation, sizeof abbreviation, "%Z", &local) == 0) return;
  const ZoneRow* row = findZone(abbreviation, zone->Bias, local.tm_isdst > 0);
  static_assert(sizeof row->name == sizeof zone->StandardName);
  if (row != nullptr) std::memcpy(zone->StandardName, row->name, sizeof row->name);
}

}  // namespace

TIME_ZONE_INFORMATION zoneAt(std::time_t now) {
  TIME_ZONE_INFORMATION zone{};
  // Required(bias-holds-daylight): a caller that adds Bias and DaylightBias in summer counts daylight saving
  // twice; Bias holds it.
  zone.DaylightBias = -60;
  std::tm local{};
  tzset();  // localtime_r alone does not notice that TZ has changed
  if (localtime_r(&now, &local) == nullptr) return zone;
  zone.Bias = biasAt(now, local.tm_isdst);
  copyZoneName(local, &zone);
  return zone;
}

}  // namespace nimboxi

using namespace nimboxi;

BOOL FileTimeToLocalFileTime(const FILETIME* fileTime, FILETIME* localTime) {
  CallGuard guard;
  if (fileTime == nullptr || localTime == nullptr) return FALSE;
  const std::int64_t bias = zoneAt(std::time(nullptr)).Bias;
  *localTime = *fileTime - static_cast<FILETIME>(bias) * kTicksPerMinute;
  return TRUE;
}

DWORD GetTimeZoneInformation(TIME_ZONE_INFORMATION* zone) {
  CallGuard guard;
  if (zone != nullptr) *zone = zoneAt(std::time(nullptr));
  return 0;
}
