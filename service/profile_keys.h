// The keys of the service's profile in one table: where each stands, what it is without a value, and what
// becomes of a number that is out of its limits. Whoever reads or explains the profile goes by it. Pure.
#pragma once

#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

namespace nimbolsp {

inline constexpr const char* kSetupSection = "Setup";

// What a value stands for. Numbers are cut to 32 bits, and 0 without a value.
enum KeyRule {
  kText,
  kNumber,
  kLow16Bits,   // a number's, signed
  kAtLeastOne,  // a number; below 1: the fallback
  kSeconds,     // kept in milliseconds, in 32 bits that wrap; 0: the fallback
};

struct ProfileKey {
  bool ofPool;            // stands in a pool's section, which bears the pool's name, else in "Setup"
  const char* name;       // of a numbered key up to its number
  int highest;            // numbered from 1 up to this, ended by the first gap; 0 for one key alone
  bool isNeeded;          // without it there is no service
  std::int32_t fallback;  // in the unit of the profile
  KeyRule rule;
  const char* meaning;
};

enum KeyId {
  kPort,
  kPool,
  kLogLineThreshold,
  kQuietMode,
  kBucketSize,
  kDebugMode,
  kServer,
  kPollTimer,
  kKeyCount
};

// clang-format off
inline constexpr ProfileKey kProfileKeys[] = {  // by KeyId
  {false, "Port",               0, true,    0, kNumber,     "TCP port to listen on; its low 16 bits count"},
  {false, "Pool",              64, true,    0, kText,       "a pool's name, and that of its section"},
  {false, "LogLineThreshold",   0, false, 256, kAtLeastOne, "lines at which the log loses its older half"},
  {false, "QuietMode",          0, false,   0, kNumber,     "not 0: nothing on the terminal"},
  {false, "BucketSize",         0, false, 100, kAtLeastOne, "width of an allocation list, in averages"},
  {false, "DebugMode",          0, false,   0, kLow16Bits,  "not 0: lines on polls; above 1: on choices too"},
  {true,  "Server",           256, true,    0, kText,       "a server, address:port or a port alone"},
  {true,  "PollTimer",          0, false,  30, kSeconds,    "seconds between two polls of a server"},
};
// clang-format on
static_assert(std::size(kProfileKeys) == kKeyCount);

// The key as it stands in the profile.
//   number  of a numbered key, from 1
std::string keyName(KeyId key, int number);

// The number that a value stands for, by the key's rule; the value is empty for a key that is missing.
std::int32_t keyNumber(KeyId key, std::string_view value);

}  // namespace nimbolsp
