#include "service/settings.h"

#include "nimboxi/profile.h"

namespace nimbolsp {

namespace {

constexpr std::uint32_t kValueSize = 256;  // a value's bytes with its NUL

// Never destroyed: a polling thread may read it while the process ends.
Settings& current() {
  static Settings& only = *new Settings;
  return only;
}

std::string readFrom(const std::string& profile, const char* section, const std::string& key) {
  char value[kValueSize];
  if (GetPrivateProfileString(section, key.c_str(), "", value, kValueSize, profile.c_str()) == 0) return {};
  return value;
}

}  // namespace

const Settings& settings() {
  return current();
}

void setSettings(const Settings& all) {
  current() = all;
}

Settings readSettings(const std::string& profilePath) {
  Settings all;
  all.profilePath = profilePath;
  const auto read = [&](KeyId key) {
    return keyNumber(key, readFrom(all.profilePath, kSetupSection, keyName(key, 0)));
  };
  all.logLineThreshold = read(kLogLineThreshold);
  all.quietMode = read(kQuietMode) != 0;
  all.bucketSize = read(kBucketSize);
  all.debugLevel = static_cast<std::int16_t>(read(kDebugMode));
  return all;
}

Settings readSettings(const std::string& programPath, const std::string& commandWord) {
  Settings all = readSettings(programPath + ".ini");
  all.logFilePath = programPath + commandWord + ".log";
  return all;
}

std::string readText(const char* section, KeyId key, int number) {
  return readFrom(settings().profilePath, section, keyName(key, number));
}

std::int32_t readNumber(const char* section, KeyId key) {
  return keyNumber(key, readText(section, key));
}

std::int32_t readServicePort() {
  return readNumber(kSetupSection, kPort);
}

}  // namespace nimbolsp
