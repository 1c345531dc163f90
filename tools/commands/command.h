// The sub-commands of the companion program: one file each, and the one table that the program walks.
#pragma once

#include <functional>
#include <span>

namespace nimbolsp::tools {

class Options;

// Exit statuses that mean the same in every command. Each has more of its own, which its help tells.
inline constexpr int kDone = 0;
inline constexpr int kServiceFailed = 3;      // the daemon could not be reached or broke off
inline constexpr int kWrongCommandLine = 64;  // EX_USAGE of sysexits
inline constexpr int kSystemFailed = 71;      // EX_OSERR: no memory, thread or descriptor was left
inline constexpr int kOutputFailed = 74;      // EX_IOERR: standard output could not be written
inline constexpr int kStoppedBySignal = 130;  // by SIGINT or SIGTERM, before the work was done

// Runs a command by the options that were parsed. Returns the exit status; throws std::invalid_argument with
// a sentence where options do not go together.
using Runner = std::function<int()>;

struct Command {
  const char* name;
  const char* help;             // one line
  Runner (*declare)(Options&);  // declares the options and all further help
};

// In the order of the help.
std::span<const Command> commands();

Runner declareAsk(Options& options);
Runner declarePing(Options& options);
Runner declareServers(Options& options);
Runner declareServe(Options& options);
Runner declareCheck(Options& options);
Runner declareRespond(Options& options);
Runner declareSimulate(Options& options);
Runner declareTop(Options& options);
Runner declareWait(Options& options);

}  // namespace nimbolsp::tools
