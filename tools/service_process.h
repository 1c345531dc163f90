// The daemon's process, as it can be seen from outside by what the system tells of sockets and processes.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/service_client.h"

namespace nimbolsp::tools {

// Whether the address is one of this machine's own.
bool isLocal(const ServiceAddress& service);

// The number of the socket that listens there, which no other socket has had since the machine started or
// will soon have again. None when nobody listens on this machine.
std::optional<std::uint64_t> listeningSocket(const ServiceAddress& service);

// Whether a process has a socket open; none when that cannot be seen: it is another user's, or one in a user
// namespace of its own.
std::optional<bool> hasSocket(pid_t process, std::uint64_t socketNumber);

// Whether it is certainly another process than this one that listens there, on this machine.
bool isListenedToByAnother(const ServiceAddress& service, pid_t process);

// Sentences for a process that is not the daemon, or not there.
std::string notTheListener(const ServiceAddress& service, pid_t process);
std::string noProcess(pid_t process);

// The process that has a socket open; -1 when it cannot be seen: it is another user's.
pid_t ownerOf(std::uint64_t socketNumber);

struct ProcessStart {
  std::uint64_t ticks = 0;           // of the process, after the machine's start: tells two of one id apart
  std::chrono::milliseconds age{0};  // of the process
  std::chrono::milliseconds newest{0};  // age of its newest thread, rather too low than too high
};

// When a process was started, as ProcessStart has it: one look. None when there is no such process.
std::optional<std::uint64_t> startTicksOf(pid_t process);

// When a process and its threads were started: a look at each thread. None when there is no such process.
std::optional<ProcessStart> startOf(pid_t process);

}  // namespace nimbolsp::tools
