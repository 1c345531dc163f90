// The options by which a command finds the daemon and its profile: the same words in every command.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "tools/commands/options.h"
#include "tools/profile/effective_profile.h"
#include "tools/service_client.h"

namespace nimbolsp::tools {

inline constexpr const char* kDefaultProfile = "nimbolsp.ini";

// --profile FILE, --host ADDRESS, --port PORT, --timeout MILLISECONDS, as they were given.
struct ServiceOptions {
  std::string profile = kDefaultProfile;
  ServiceAddress address;
  std::int64_t timeoutMilliseconds = 5000;

  std::chrono::milliseconds timeout() const { return std::chrono::milliseconds(timeoutMilliseconds); }

  // The daemon's address: the port of the command line, or else the profile's. Throws std::invalid_argument
  // with a sentence when the profile has none or cannot be read.
  ServiceAddress resolved() const;

  // The same by a profile that was read already.
  ServiceAddress resolved(const EffectiveProfile& read) const;
};

// What the daemon makes of a profile that names a server, for a command that shows all pools it can. Warns
// on standard error when the daemon would not start with it: the pools behind the fault are missing. Throws
// std::invalid_argument with a sentence when it cannot be read or names no server.
EffectiveProfile loadProfile(const std::string& path);

// The same for a command that wants all pools: throws also when the daemon would not start with it.
EffectiveProfile loadFaultlessProfile(const std::string& path);

// Declares --profile. Returns the option, for what goes with it or excludes it.
Option addProfileOption(Options& options, std::string& profile);

// Declares --timeout, whose default is the value that `milliseconds` has.
void addTimeoutOption(Options& options, std::int64_t& milliseconds, const std::string& what);

// Declares --profile, --host and --port.
void addAddressOptions(Options& options, ServiceOptions& service);

// Declares all four.
void addServiceOptions(Options& options, ServiceOptions& service);

}  // namespace nimbolsp::tools
