// The service's settings and the names of its files. Written by main before any other thread starts, constant
// from then on.
#pragma once

#include <cstdint>
#include <string>

namespace nimbolsp {

struct Settings {
  std::string profilePath;              // the program path, ".ini"
  std::string logFilePath;              // the program path, the command word as typed, ".log"
  std::int32_t logLineThreshold = 256;  // the log is cut to its newer half when it holds so many lines
  bool quietMode = false;               // nothing on the terminal
  std::int32_t bucketSize = 100;        // width of an allocation list in units of the averaged statistic
  std::int16_t debugLevel = 0;          // 0 no debug lines; 2 and above those of the allocation too
  bool runningAsService = false;        // status reports are dropped; never set on this platform
};

// The one set of settings, never destroyed: a polling thread may read it while the process ends.
Settings& settings();

// The value of a key of the service's profile, cut to 255 bytes; empty when there is none.
std::string readProfile(const char* section, const char* key);

// The number that a key of section "Setup" holds, 0 when there is none.
std::int32_t readSetupNumber(const char* key);

// Forms the file names from the program path and the command word, exactly as given.
void nameFiles(const std::string& programPath, const std::string& commandWord);

// Reads the settings of section "Setup".
void readSettings();

}  // namespace nimbolsp
