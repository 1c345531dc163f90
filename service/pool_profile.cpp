#include "service/pool_profile.h"

#include "service/resources/string_table.h"
#include "service/settings.h"

namespace nimbolsp {

namespace {

// The values of a numbered key; the first missing or empty one ends them.
std::vector<std::string> readNumbered(const char* section, KeyId key) {
  std::vector<std::string> values;
  for (int number = 1; number <= kProfileKeys[key].highest; ++number) {
    std::string value = readText(section, key, number);
    if (value.empty()) break;
    values.push_back(std::move(value));
  }
  return values;
}

PoolEntry readPool(const std::string& name) {
  PoolEntry pool{name, readNumber(name.c_str(), kPollTimer), {}};
  for (const std::string& text : readNumbered(name.c_str(), kServer)) {
    pool.servers.push_back({text, parseServerEntry(text)});
  }
  return pool;
}

}  // namespace

std::uint32_t readPools(const std::function<std::uint32_t(const PoolEntry&)>& take) {
  if (readServicePort() == 0) return kStringNoPort;
  const std::vector<std::string> names = readNumbered(kSetupSection, kPool);
  if (names.empty()) return kStringNoPools;
  for (const std::string& name : names) {
    const PoolEntry pool = readPool(name);
    if (pool.servers.empty()) return kStringEmptyPool;
    if (const std::uint32_t error = take(pool)) return error;
  }
  return 0;
}

}  // namespace nimbolsp
