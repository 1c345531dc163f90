// The names of the time zones (source: the abbreviations of the tz database, the time zone names of Windows).
#include "compat/core/times/zone_table.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace nimboxi {
namespace {

// Required(zone-rows-as-listed): rows and order as they stand, those with another bias than the zone has
// today too. A program compares the names it gets with the ones it stored. Abbreviations that several zones
// use (ADT, CST, EST, GST, IST) are told apart by the bias.
constexpr ZoneRow kZones[] = {
    {"MHT", "Dateline Standard Time", -720, false},
    {"SST", "Samoa Standard Time", 660, false},
    {"HST", "Hawaiian Standard Time", 600, false},
    {"AKDT", "Alaskan Standard Time", 480, true},
    {"PDT", "Pacific Standard Time", 420, true},
    {"MST", "US Mountain Standard Time", 420, false},
    {"MDT", "Mountain Standard Time", 360, true},
    {"CST", "Central America Standard Time", 360, false},
    {"CDT", "Central Standard Time", 300, true},
    {"COT", "SA Pacific Standard Time", 300, false},
    {"EDT", "Eastern Standard Time", 240, true},
    {"EST", "US Eastern Standard Time", 300, false},
    {"ADT", "Atlantic Standard Time", 180, true},
    {"VET", "SA Western Standard Time", 240, false},
    {"CLT", "Pacific SA Standard Time", 240, false},
    {"NDT", "Newfoundland Standard Time", 150, true},
    {"BRT", "E. South America Standard Time", 180, false},
    {"ART", "SA Eastern Standard Time", 180, false},
    {"WGST", "Greenland Standard Time", 120, true},
    {"GST", "Mid-Atlantic Standard Time", 120, false},
    {"AZOST", "Azores Standard Time", 0, true},
    {"CVT", "Cape Verde Standard Time", 60, false},
    {"WET", "Greenwich Standard Time", 0, false},
    {"BST", "GMT Standard Time", -60, true},
    {"GMT", "GMT Standard Time", 0, false},
    {"CEST", "Central Europe Standard Time", -120, true},
    {"WAT", "W. Central Africa Standard Time", -60, false},
    {"EEST", "E. Europe Standard Time", -180, true},
    {"EET", "Egypt Standard Time", -120, false},
    {"CAT", "South Africa Standard Time", -120, false},
    {"IST", "Israel Standard Time", -120, false},
    {"ADT", "Arabic Standard Time", -240, true},
    {"AST", "Arab Standard Time", -180, false},
    {"MSD", "Russian Standard Time", -240, true},
    {"EAT", "E. Africa Standard Time", -180, false},
    {"IRST", "Iran Standard Time", -270, true},
    {"GST", "Arabian Standard Time", -240, false},
    {"AZST", "Caucasus Standard Time", -300, true},
    {"AFT", "Afghanistan Standard Time", -270, false},
    {"YEKST", "Ekaterinburg Standard Time", -360, true},
    {"PKT", "West Asia Standard Time", -300, false},
    {"IST", "India Standard Time", -330, false},
    {"NPT", "Nepal Standard Time", -345, false},
    {"ALMST", "N. Central Asia Standard Time", -420, true},
    {"BDT", "Central Asia Standard Time", -360, false},
    {"LKT", "Sri Lanka Standard Time", -360, false},
    {"MMT", "Myanmar Standard Time", -390, false},
    {"ICT", "SE Asia Standard Time", -420, false},
    {"KRAST", "North Asia Standard Time", -480, true},
    {"CST", "China Standard Time", -480, false},
    {"IRKST", "North Asia East Standard Time", -540, true},
    {"SGT", "Malay Peninsula Standard Time", -480, false},
    {"WST", "W. Australia Standard Time", -480, false},
    {"JST", "Tokyo Standard Time", -540, false},
    {"KST", "Korea Standard Time", -540, false},
    {"YAKST", "Yakutsk Standard Time", -600, true},
    {"CST", "Cen. Australia Standard Time", -570, false},
    {"EST", "E. Australia Standard Time", -600, false},
    {"GST", "West Pacific Standard Time", -600, false},
    {"VLAST", "Vladivostok Standard Time", -660, true},
    {"MAGST", "Central Pacific Standard Time", -720, true},
    {"NZST", "New Zealand Standard Time", -720, false},
    {"FJT", "Fiji Standard Time", -720, false},
    {"TOT", "Tonga Standard Time", -780, false},
};

}  // namespace

const ZoneRow* findZone(const char* abbreviation, std::int32_t bias, bool daylight) {
  const ZoneRow* row = std::find_if(std::begin(kZones), std::end(kZones), [&](const ZoneRow& candidate) {
    return candidate.bias == bias && candidate.daylight == daylight &&
           std::strcmp(candidate.abbreviation, abbreviation) == 0;
  });
  return row == std::end(kZones) ? nullptr : row;
}

}  // namespace nimboxi
