#include "tools/profile/effective_profile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "nimboxi/profile.h"
#include "nimboxi/text.h"
#include "service/resources/string_table.h"

namespace nimbolsp::tools {

namespace {

// A name without a folder gets one, for some names alone stand for the layer's own profile.
std::string withFolder(const std::string& path) {
  return path.find('/') == std::string::npos ? "./" + path : path;
}

void refuseUnreadable(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || access(path.c_str(), R_OK) != 0) {
    throw std::invalid_argument(path + " cannot be read: " + std::strerror(errno));
  }
  if (!S_ISREG(status.st_mode)) throw std::invalid_argument(path + " is no ordinary file");
}

}  // namespace

std::string EffectiveProfile::errorText() const {
  const auto strings = builtInStrings();
  const auto found = std::ranges::find(strings, error, &StringResource::id);
  return found == strings.end() ? std::string{} : found->text;
}

EffectiveProfile readEffectiveProfile(const std::string& path) {
  refuseUnreadable(path);
  EffectiveProfile profile;
  char nothing[2];
  GetPrivateProfileSection(kSetupSection, nothing, sizeof nothing,
                           withFolder(path).c_str());  // empties the cache
  profile.settings = readSettings(withFolder(path));
  setSettings(profile.settings);
  profile.settings.profilePath = path;  // as it is shown
  profile.port = readServicePort();
  profile.error = readPools([&profile](const PoolEntry& pool) {
    profile.pools.push_back(pool);
    return 0U;
  });
  return profile;
}

std::string foldedName(const std::string& poolName) {
  std::string folded = poolName;
  CharUpperBuff(folded.data(), static_cast<DWORD>(folded.size()));
  return folded;
}

}  // namespace nimbolsp::tools
