#include "tools/commands/service_options.h"

#include <arpa/inet.h>

#include <stdexcept>

#include "tools/process.h"

namespace nimbolsp::tools {

namespace {

std::string faultOfAddress(const std::string& host) {
  in_addr address{};
  return inet_pton(AF_INET, host.c_str(), &address) == 1 ? "" : "\"" + host + "\" is no IPv4 address";
}

std::string wouldNotStart(const std::string& path, const EffectiveProfile& profile) {
  return path + ": the daemon would not start: " + profile.errorText();
}

}  // namespace

ServiceAddress ServiceOptions::resolved() const {
  return address.port != 0 ? address : resolved(readEffectiveProfile(profile));
}

ServiceAddress ServiceOptions::resolved(const EffectiveProfile& read) const {
  ServiceAddress service = address;
  if (service.port == 0) service.port = read.port;
  if (service.port == 0) throw std::invalid_argument(profile + " has no Port in section [Setup]");
  return service;
}

EffectiveProfile loadProfile(const std::string& path) {
  EffectiveProfile profile = readEffectiveProfile(path);
  if (profile.pools.empty())
    throw std::invalid_argument(path + " names no server that the daemon would poll");
  if (profile.error != 0) complain(wouldNotStart(path, profile) + "; shown are the pools before the fault");
  return profile;
}

EffectiveProfile loadFaultlessProfile(const std::string& path) {
  EffectiveProfile profile = readEffectiveProfile(path);
  if (profile.error != 0) throw std::invalid_argument(wouldNotStart(path, profile));
  return profile;
}

Option addProfileOption(Options& options, std::string& profile) {
  return options.text("--profile", profile, "FILE",
                      "The daemon's profile (default " + std::string(kDefaultProfile) + ", in this folder)");
}

void addTimeoutOption(Options& options, std::int64_t& milliseconds, const std::string& what) {
  options.number("--timeout", milliseconds, "MILLISECONDS",
                 what + " (default " + std::to_string(milliseconds) + ")", 1, 86'400'000);
}

void addAddressOptions(Options& options, ServiceOptions& service) {
  addProfileOption(options, service.profile);
  options.text("--host", service.address.host, "ADDRESS", "The daemon's address, dotted (default 127.0.0.1)")
      .checked(faultOfAddress);
  options.number("--port", service.address.port, "PORT", "The daemon's port (default: the profile's)", 1,
                 65535);
}

void addServiceOptions(Options& options, ServiceOptions& service) {
  addAddressOptions(options, service);
  addTimeoutOption(options, service.timeoutMilliseconds, "Wait for an answer so long at most");
}

}  // namespace nimbolsp::tools
