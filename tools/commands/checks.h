// Checks of option values that several commands make.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>

namespace nimbolsp::tools {

// A check that says in a sentence what is wanted, and has no note of its own in the help, where the option's
// text says what matters. Bounds that are no whole numbers are shown as if they were.
template <typename Number>
CLI::Validator between(Number lowest, Number highest) {
  const auto fault = [lowest, highest](const std::string& text) {
    Number number{};
    const bool isInRange = CLI::detail::lexical_cast(text, number) && number >= lowest && number <= highest;
    return isInRange
               ? std::string{}
               : "\"" + text + "\" is no number from " + std::to_string(static_cast<std::int64_t>(lowest)) +
                     " to " + std::to_string(static_cast<std::int64_t>(highest));
  };
  return {fault, "", ""};
}

}  // namespace nimbolsp::tools
