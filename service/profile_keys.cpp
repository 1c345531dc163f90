#include "service/profile_keys.h"

#include "service/wire/numbers.h"

namespace nimbolsp {

namespace {

constexpr std::int32_t kMillisecondsPerSecond = 1000;

}  // namespace

std::string keyName(KeyId key, int number) {
  const ProfileKey& row = kProfileKeys[key];
  return row.highest == 0 ? row.name : row.name + std::to_string(number);
}

std::int32_t keyNumber(KeyId key, std::string_view value) {
  const std::int32_t number = parseDecimal(value);
  const std::int32_t fallback = kProfileKeys[key].fallback;
  switch (kProfileKeys[key].rule) {
    case kLow16Bits:
      return lowInt16(number);
    case kAtLeastOne:
      return number < 1 ? fallback : number;
    case kSeconds: {
      const std::int32_t kept = wrapMultiply(number, kMillisecondsPerSecond);
      return kept == 0 ? fallback * kMillisecondsPerSecond : kept;
    }
    default:
      return number;
  }
}

}  // namespace nimbolsp
