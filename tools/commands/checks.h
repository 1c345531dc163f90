// Checks of option values that several commands make.
#pragma once

#include <CLI/CLI.hpp>

namespace nimbolsp::tools {

// A check without its own note in the help, where the option's text says what matters.
template <typename Number>
CLI::Validator between(Number lowest, Number highest) {
  return CLI::Range(lowest, highest).description("");
}

}  // namespace nimbolsp::tools
