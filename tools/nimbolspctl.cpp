// The companion program: walks the table of its commands, parses the command line, and gives the exit status.
#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <stdexcept>
#include <vector>

#include "service/wire/descriptors.h"
#include "tools/commands/command.h"
#include "tools/process.h"

namespace nimbolsp::tools {
namespace {

struct Declared {
  const CLI::App* options;
  Runner run;
};

int run(int argc, char** argv) {
  CLI::App program{
      "Companion of the Nimbo Web Client Load Sharing Process: simulated servers to poll, and a\n"
      "simulated front end.",
      "nimbolspctl"};
  program.set_version_flag("--version", "nimbolspctl " NIMBOLSP_VERSION);
  program.require_subcommand(1);
  program.footer("\"nimbolspctl COMMAND --help\" tells the options and the exit statuses of a command.");
  std::vector<Declared> declared;
  for (const Command& command : commands()) {
    CLI::App* options = program.add_subcommand(command.name, command.help);
    declared.push_back({options, command.declare(*options)});
  }
  try {
    program.parse(argc, argv);
    for (const Declared& command : declared) {
      if (command.options->parsed()) return command.run();
    }
    return kWrongCommandLine;  // the parser wants a command
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? kDone : kWrongCommandLine;
  } catch (const std::invalid_argument& fault) {
    complain(fault.what());
    return kWrongCommandLine;
  }
}

}  // namespace
}  // namespace nimbolsp::tools

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);  // a peer that has gone costs nothing
  nimbolsp::openStandardDescriptors();
  try {
    return nimbolsp::tools::run(argc, argv);
  } catch (const std::exception& error) {
    nimbolsp::tools::complain(error.what());
    return nimbolsp::tools::kWrongCommandLine;
  }
}
