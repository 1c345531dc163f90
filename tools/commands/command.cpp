#include "tools/commands/command.h"

namespace nimbolsp::tools {

namespace {

constexpr Command kCommands[] = {
    {"check", "Show what the daemon makes of a profile, and everything that is wrong in it", declareCheck},
    {"simulate", "Act as servers to poll, on this machine", declareSimulate},
    {"respond", "Answer polls beside a server that does not, from what is known of its load", declareRespond},
    {"servers", "Poll every server once and show what each says", declareServers},
    {"top", "Show all servers and the daemon live, in the terminal", declareTop},
    {"ping", "Ask the daemon whether it is there; touches no pool", declarePing},
    {"wait", "Wait until the daemon has polled every server", declareWait},
    {"ask", "Act as a front end: ask the daemon for servers of a pool", declareAsk},
    {"serve", "Show all servers to browsers and monitoring, over HTTP", declareServe},
};

}  // namespace

std::span<const Command> commands() {
  return kCommands;
}

}  // namespace nimbolsp::tools
