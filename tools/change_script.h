// A script of changes to simulated servers over time, so that an incident can be replayed. Pure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/server_options.h"

namespace nimbolsp::tools {

struct Change {
  std::int64_t time = 0;              // milliseconds from the start
  std::optional<std::size_t> server;  // its place in the list of servers; none: all of them
  std::string keys;                   // as changed() takes them
  std::string line;                   // as the script has it, without blanks and remarks around
};

struct ChangeScript {
  std::vector<Change> changes;      // by time; those of the same time in the script's order
  std::vector<std::string> faults;  // all of them, "FILE:LINE: " and a sentence
};

// Reads lines "TIME SERVER key=value...": the time with its unit, ms, s, m or h; the server as ADDRESS:PORT
// or as a port of 127.0.0.1, or * for all; `#` begins a remark.
//   fileName  for the faults
ChangeScript readChangeScript(std::string_view text, const std::string& fileName,
                              const std::vector<ServerOptions>& servers);

// The part of a command's help that explains such scripts.
extern const char* const kChangeScriptHelp;

}  // namespace nimbolsp::tools
