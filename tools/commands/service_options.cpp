#include "tools/commands/service_options.h"

#include <arpa/inet.h>

#include <stdexcept>

#include "tools/commands/checks.h"

namespace nimbolsp::tools {

namespace {

std::string faultOfAddress(const std::string& host) {
  in_addr address{};
  return inet_pton(AF_INET, host.c_str(), &address) == 1 ? "" : "\"" + host + "\" is no IPv4 address";
}

}  // namespace

ServiceAddress ServiceOptions::resolved() const {
  ServiceAddress service = address;
  if (service.port == 0) {
    service.port = readEffectiveProfile(profile).port;
    if (service.port == 0) throw std::invalid_argument(profile + " has no Port in section [Setup]");
  }
  return service;
}

CLI::Option* addProfileOption(CLI::App& command, std::string& profile) {
  return command
      .add_option("--profile", profile,
                  "The service's profile (default " + std::string(kDefaultProfile) + ", in this folder)")
      ->type_name("FILE");
}

void addTimeoutOption(CLI::App& command, std::int64_t& milliseconds, const std::string& what) {
  command.add_option("--timeout", milliseconds, what + " (default " + std::to_string(milliseconds) + ")")
      ->type_name("MILLISECONDS")
      ->check(between(std::int64_t{1}, std::int64_t{86'400'000}));
}

void addAddressOptions(CLI::App& command, ServiceOptions& options) {
  addProfileOption(command, options.profile);
  command.add_option("--host", options.address.host, "The service's address, dotted (default 127.0.0.1)")
      ->type_name("ADDRESS")
      ->check(CLI::Validator(faultOfAddress, ""));
  command.add_option("--port", options.address.port, "The service's port (default: the profile's)")
      ->type_name("PORT")
      ->check(between(1, 65535));
}

void addServiceOptions(CLI::App& command, ServiceOptions& options) {
  addAddressOptions(command, options);
  addTimeoutOption(command, options.timeoutMilliseconds, "Wait for an answer so long at most");
}

}  // namespace nimbolsp::tools
