// The service's settings, and the names and values of its profile. Set by main before any other thread
// starts, constant from then on.
#pragma once

#include <cstdint>
#include <string>

#include "service/profile_keys.h"

namespace nimbolsp {

struct Settings {
  std::string profilePath;  // the program path, ".ini"
  std::string logFilePath;  // the program path, the command word as typed, ".log"
  std::int32_t logLineThreshold = kProfileKeys[kLogLineThreshold].fallback;
  bool quietMode = false;
  std::int32_t bucketSize = kProfileKeys[kBucketSize].fallback;
  std::int16_t debugLevel = 0;    // 0 no debug lines; 2 and above those of the allocation too
  bool runningAsService = false;  // status reports are dropped; never set on this platform
};

// The one set of settings.
const Settings& settings();

// Makes these the settings.
void setSettings(const Settings& all);

// The settings that a profile holds.
Settings readSettings(const std::string& profilePath);

// The settings of the profile that goes with a program path, and the names of the files that go with it and
// with a command word, both exactly as given.
Settings readSettings(const std::string& programPath, const std::string& commandWord);

// The value of a key in a section of the service's profile, cut to 255 bytes; empty when there is none.
//   number  of a numbered key
std::string readText(const char* section, KeyId key, int number = 0);

// The number that it stands for.
std::int32_t readNumber(const char* section, KeyId key);

// The service's port: the number that `Port` of section "Setup" holds.
std::int32_t readServicePort();

}  // namespace nimbolsp
