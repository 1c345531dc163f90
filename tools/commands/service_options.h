// The options by which a command finds the service and its profile: the same words in every command.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "tools/profile/effective_profile.h"
#include "tools/service_client.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace nimbolsp::tools {

inline constexpr const char* kDefaultProfile = "nimbolsp.ini";

// --profile FILE, --host ADDRESS, --port PORT, --timeout MILLISECONDS, as they were given.
struct ServiceOptions {
  std::string profile = kDefaultProfile;
  ServiceAddress address;
  std::int64_t timeoutMilliseconds = 5000;

  std::chrono::milliseconds timeout() const { return std::chrono::milliseconds(timeoutMilliseconds); }

  // The service's address: the port of the command line, or else the profile's. Throws std::invalid_argument
  // with a sentence when the profile has none or cannot be read.
  ServiceAddress resolved() const;
};

// Declares --profile. Returns the option, for what goes with it or excludes it.
CLI::Option* addProfileOption(CLI::App& command, std::string& profile);

// Declares --timeout, whose default is the value that `milliseconds` has.
void addTimeoutOption(CLI::App& command, std::int64_t& milliseconds, const std::string& what);

// Declares --profile, --host and --port.
void addAddressOptions(CLI::App& command, ServiceOptions& options);

// Declares all four.
void addServiceOptions(CLI::App& command, ServiceOptions& options);

}  // namespace nimbolsp::tools
