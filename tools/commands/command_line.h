// The words of the command line: which command is meant, with which options, or what is wrong with them.
#pragma once

#include <string>
#include <vector>

#include "tools/commands/command.h"

namespace nimbolsp::tools {

// Parses the words behind the program's name and runs the command that they mean, or prints the help or the
// version. Returns the exit status; tells what is wrong with the words, and throws what the command throws
// but std::invalid_argument, which it tells.
int runCommandLine(std::vector<std::string> words);

// The long names of a command's options, "--port", as its help lists them.
std::vector<std::string> optionNames(const Command& command);

}  // namespace nimbolsp::tools
