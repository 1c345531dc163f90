// Checks of option values that several commands make.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <string>

namespace nimbolsp::tools {

inline std::string boundText(double bound) {
  char text[32];
  std::snprintf(text, sizeof text, "%.15g", bound);
  return text;
}
inline std::string boundText(std::int64_t bound) {
  return std::to_string(bound);
}
inline std::string boundText(std::int32_t bound) {
  return std::to_string(bound);
}

// A check that says in a sentence what is wanted, and has no note of its own in the help, where the option's
// text says what matters.
template <typename Number>
CLI::Validator between(Number lowest, Number highest) {
  const auto fault = [lowest, highest](const std::string& text) {
    Number number{};
    const bool isInRange = CLI::detail::lexical_cast(text, number) && number >= lowest && number <= highest;
    return isInRange
               ? std::string{}
               : "\"" + text + "\" is no number from " + boundText(lowest) + " to " + boundText(highest);
  };
  return {fault, "", ""};
}

}  // namespace nimbolsp::tools
