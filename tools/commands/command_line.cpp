#include "tools/commands/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "tools/commands/options.h"
#include "tools/nearest.h"
#include "tools/process.h"

namespace nimbolsp::tools {

namespace {

constexpr const char* kVersion = "nimbolspctl " NIMBOLSP_VERSION;

constexpr const char* kCommonStatus = "\nAlso 71: the system had no memory, thread or descriptor left.";

struct Declared {
  CLI::App* parser;
  Runner run;
};

bool isCommand(const std::string& word) {
  return std::ranges::any_of(commands(), [&](const Command& row) { return word == row.name; });
}

// The first word that is neither an option nor a command; empty when there is none.
std::string wrongCommand(const std::vector<std::string>& words) {
  const auto first =
      std::ranges::find_if(words, [](const std::string& word) { return !word.starts_with('-'); });
  return first == words.end() || isCommand(*first) ? std::string{} : *first;
}

// The command that options stand in front of; empty when there is none.
std::string lateCommand(const std::vector<std::string>& words) {
  const auto command = std::ranges::find_if(words, isCommand);
  return command != words.end() && words.front().starts_with('-') ? *command : std::string{};
}

std::vector<std::string> namesIn(const CLI::App& command) {
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
  if (const std::string late = lateCommand(words); !late.empty()) {
    return "options go behind the command: nimbolspctl " + late + " " + words.front() +
           "... (\"nimbolspctl " + late + " --help\")";
  }
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
    return "\"" + command.get_name() + "\" has no option " + name + suggestion(name, namesIn(command)) +
           " (\"nimbolspctl " + nameOf(command) + ")";
  }
  return std::string(error.what()) + " (\"nimbolspctl " + nameOf(command) + ")";
}

}  // namespace

std::vector<std::string> optionNames(const Command& command) {
  CLI::App scratch;
  Options options(scratch);
  command.declare(options);
  return namesIn(scratch);
}

int runCommandLine(std::vector<std::string> words) {
  if (!words.empty() && words.front() == "help") {  // as some programs take it
    words.erase(words.begin());
    words.emplace_back("--help");
  }
  CLI::App program{
      "Companion of the Nimbo Web Client Load Sharing Process: shows what the daemon will do, what it\n"
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
    CLI::App* const parser = program.add_subcommand(command.name, command.help);
    parser->set_version_flag("--version", kVersion);
    Options options(*parser);
    declared.push_back({parser, command.declare(options)});
    parser->footer(parser->get_footer() + kCommonStatus);
  }
  try {
    program.parse(
        std::vector<std::string>(words.rbegin(), words.rend()));  // the parser wants the last one first
    for (const Declared& command : declared) {
      if (command.parser->parsed()) return command.run();
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

}  // namespace nimbolsp::tools
