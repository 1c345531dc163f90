// The names of the time zones: from what the C library calls a zone to what Windows calls it. Pure.
#pragma once

#include <cstdint>

namespace nimboxi {

struct ZoneRow {
  char abbreviation[7];  // as strftime's "%Z" writes it
  char name[32];
  std::int32_t bias;  // minutes, UTC minus local time, daylight saving included
  bool daylight;      // the abbreviation stands for daylight saving time
};

// The first row of the table that has all three; null when there is none. Abbreviations are compared with
// their case.
const ZoneRow* findZone(const char* abbreviation, std::int32_t bias, bool daylight);

}  // namespace nimboxi
