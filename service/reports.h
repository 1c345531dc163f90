// What the service reports: messages by string id, debug lines and the usage. Each report takes the log lock
// (a pool's lock may be held, never the log lock), reaches the terminal unless quiet mode is on, and the log.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "nimboxi/support/thread_annotations.h"
#include "service/log_file.h"

namespace nimbolsp {

// The text of a string id, cut to 255 characters; empty for an unknown one.
std::string stringText(std::uint32_t id);

// Reports a message by its string id.
void logMessage(std::uint32_t id) NIMBOXI_EXCLUDES(logLock);

// Reports a text as one line: for what has no string id, which is nothing at present.
void logText(std::string_view text) NIMBOXI_EXCLUDES(logLock);

// Reports a message by its string id, on the terminal behind the service's title.
void reportStatus(std::uint32_t id) NIMBOXI_EXCLUDES(logLock);

// Reports a debug line when debugging is on.
//   ipAddress  in network order, 0 for none
//   port       0 for none; the line then carries no address either
void debugLog(std::string_view text, std::uint32_t ipAddress, std::int32_t port) NIMBOXI_EXCLUDES(logLock);

// Reports the usage, under one open of the log.
void printUsage() NIMBOXI_EXCLUDES(logLock);

// The debug line that debugLog reports. Pure.
std::string debugLine(std::string_view text, std::uint32_t ipAddress, std::int32_t port);

}  // namespace nimbolsp
