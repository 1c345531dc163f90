// What the daemon makes of a profile, read by its own code, so that it is what the daemon would load.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "service/pool_profile.h"
#include "service/settings.h"

namespace nimbolsp::tools {

struct EffectiveProfile {
  std::int32_t port = 0;  // as read: the low 16 bits count
  Settings settings;
  std::vector<PoolEntry> pools;  // up to the error
  std::uint32_t error = 0;       // string id of what would end the start; 0 when nothing does

  std::uint16_t listeningPort() const { return static_cast<std::uint16_t>(port); }

  // The error as the daemon would report it; empty without one.
  std::string errorText() const;
};

// Reads a profile anew from the disk; makes its settings those of this process. Throws std::invalid_argument
// with a sentence when the file cannot be read or is no ordinary file. Not from two threads at once.
EffectiveProfile readEffectiveProfile(const std::string& path);

// The name as the daemon compares it: in upper case by its own table.
std::string foldedName(const std::string& poolName);

}  // namespace nimbolsp::tools
