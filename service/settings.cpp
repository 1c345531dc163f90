#include "service/settings.h"

#include "nimboxi/profile.h"
#include "service/wire/numbers.h"

namespace nimbolsp {

namespace {

constexpr std::uint32_t kValueSize = 256;  // a value's bytes with its NUL
constexpr std::int32_t kDefaultLogLineThreshold = 256;
constexpr std::int32_t kDefaultBucketSize = 100;

}  // namespace

Settings& settings() {
  static Settings& only = *new Settings;
  return only;
}

std::string readProfile(const char* section, const char* key) {
  char value[kValueSize];
  if (GetPrivateProfileString(section, key, "", value, kValueSize, settings().profilePath.c_str()) == 0) {
    return {};
  }
  return value;
}

std::int32_t readSetupNumber(const char* key) {
  return parseDecimal(readProfile("Setup", key));
}

void nameFiles(const std::string& programPath, const std::string& commandWord) {
  settings().profilePath = programPath + ".ini";
  settings().logFilePath = programPath + commandWord + ".log";
}

void readSettings() {
  Settings& all = settings();
  all.logLineThreshold = readSetupNumber("LogLineThreshold");
  if (all.logLineThreshold < 1) all.logLineThreshold = kDefaultLogLineThreshold;
  all.quietMode = readSetupNumber("QuietMode") != 0;
  all.bucketSize = readSetupNumber("BucketSize");
  if (all.bucketSize <= 0) all.bucketSize = kDefaultBucketSize;
  all.runningAsService = false;
  all.debugLevel = lowInt16(readSetupNumber("DebugMode"));
}

}  // namespace nimbolsp
