// The service's texts by their ids: command words, usage, messages. A fixed table, constant. Pure.
#pragma once

#include <cstdint>
#include <span>

namespace nimbolsp {

enum StringId : std::uint32_t {
  // Command words, in upper case.
  kStringStart = 1,
  kStringStop = 2,
  kStringRun = 3,
  kStringInstall = 4,
  kStringUninstall = 5,
  kStringService = 6,
  // Titles and status.
  kStringTitle = 10,
  kStringStopping = 11,
  kStringStopped = 12,
  kStringStarted = 13,
  kStringServiceName = 14,
  kStringServiceTitle = 15,
  kStringServiceDescription = 16,
  // Usage.
  kStringUsageTitle = 100,
  kStringUsageStart = 101,
  kStringUsageStop = 102,
  kStringUsageInstall = 103,
  kStringUsageUninstall = 104,
  // Errors.
  kStringStartFailed = 110,
  kStringStopFailed = 111,
  kStringConnectFailed = 112,
  kStringSendFailed = 113,
  kStringReceiveFailed = 114,
  kStringNoPort = 115,
  kStringNoPools = 116,
  kStringEmptyPool = 117,
  kStringThreadFailed = 118,
  kStringListenFailed = 119,
  kStringAcceptFailed = 120,
  kStringBadMessage = 121,
  kStringInvalidStatistic = 122,
};

struct StringResource {
  std::uint32_t id;
  const char* text;  // NUL-terminated
};

// All texts, ids ascending.
std::span<const StringResource> builtInStrings();

}  // namespace nimbolsp
