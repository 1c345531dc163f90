// The companion program: walks the table of its commands, parses the command line, and gives the exit status.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "service/wire/process_limits.h"
#include "tools/commands/command.h"
#include "tools/nearest.h"
#include "tools/process.h"

namespace nimbolsp::tools {
namespace {

constexpr const char* kVersion = "nimbolspctl " NIMBOLSP_VERSION;

constexpr const char* kCommonStatus = "\nAlso 71: the system had no memory, thread or descriptor left.";

struct Declared {
  CLI::App* options;
  Runner run;
};

// The first word that is neither an option nor a command; empty when there is none.
std::string wrongCommand(const std::vector<std::string>& words) {
  const auto first =
      std::ranges::find_if(words, [](const std::string& word) { return !word.starts_with('-'); });
  if (first == words.end()) return {};
  const bool isCommand =
      std::ranges::any_of(commands(), [&](const Command& row) { return *first == row.name; });
  return isCommand ? std::string{} : *first;
}

std::vector<std::string> optionNames(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

std::string nameOf(const CLI::App& command) {
  return command.get_name() + " --help\"";
}

// What is wrong with the command line, and where help is to be had.
std::string sentenceOf(const CLI::ParseError& error, CLI::App& program,
                       const std::vector<std::string>& words) {
  if (const std::string wrong = wrongCommand(words); !wrong.empty()) {
    std::vector<std::string> names;
    for (const Command& row : commands()) names.emplace_back(row.name);
    return "there is no command \"" + wrong + "\"" + suggestion(wrong, names) +
           " (\"nimbolspctl --help\" lists them)";
  }
  const std::vector<CLI::App*> chosen = program.get_subcommands();
  if (chosen.empty()) return std::string(error.what()) + " (\"nimbolspctl --help\")";
  const CLI::App& command = *chosen.front();
  for (const std::string& word : program.remaining(true)) {
    if (!word.starts_with("--")) continue;
    const std::string name = word.substr(0, word.find('='));
    return "\"" + command.get_name() + "\" has no option " + name + suggestion(name, optionNames(command)) +
           " (\"nimbolspctl " + nameOf(command) + ")";
  }
  return std::string(error.what()) + " (\"nimbolspctl " + nameOf(command) + ")";
}

int run(const std::vector<std::string>& words) {
  CLI::App program{
      "Companion of the Nimbo Web Client Load Sharing Process: shows what the service will do, what it\n"
      "does and what is wrong, and plays its neighbours.",
      "nimbolspctl"};
  program.set_version_flag("--version", kVersion);
  program.require_subcommand(1);
  program.footer(
      "\"nimbolspctl COMMAND --help\" tells the options and the exit statuses of a command. Of every "
      "command: 71\n"
      "the system had no memory, thread or descriptor left.");
  std::vector<Declared> declared;
  for (const Command& command : commands()) {
    CLI::App* options = program.add_subcommand(command.name, command.help);
    options->set_version_flag("--version", kVersion);
    declared.push_back({options, command.declare(*options)});
    options->footer(options->get_footer() + kCommonStatus);
  }
  try {
    program.parse(
        std::vector<std::string>(words.rbegin(), words.rend()));  // the parser wants the last one first
    for (const Declared& command : declared) {
      if (command.options->parsed()) return command.run();
    }
    return kWrongCommandLine;  // the parser wants a command
  } catch (const CLI::Success& asked) {
    std::ostringstream text;  // --help, --version
    const int status = program.exit(asked, text, text);
    print(text.str());
    return status;
  } catch (const CLI::ParseError& error) {
    complain(sentenceOf(error, program, words));
    return kWrongCommandLine;
  } catch (const std::invalid_argument& fault) {
    complain(fault.what());
    return kWrongCommandLine;
  }
}

}  // namespace
}  // namespace nimbolsp::tools

int main(int argc, char** argv) {
  using namespace nimbolsp::tools;
  std::signal(SIGPIPE, SIG_IGN);  // a peer that has gone costs nothing
  nimbolsp::openStandardDescriptors();
  try {
    return run({argv + std::min(argc, 1), argv + argc});
  } catch (const StoppedInOutput&) {
    return kStoppedBySignal;
  } catch (const OutputFailed& fault) {
    complain(std::string("standard output cannot be written: ") + fault.what());
    return kOutputFailed;
  } catch (const std::bad_alloc&) {
    std::fputs("nimbolspctl: no memory is left\n", stderr);  // without any
    return kSystemFailed;
  } catch (const std::exception& error) {
    complain(error.what());
    return kSystemFailed;
  }
}
