#include "tools/commands/options.h"

#include <CLI/CLI.hpp>
#include <cstdio>

namespace nimbolsp::tools {

namespace {

std::string boundText(double bound) {
  char text[32];
  std::snprintf(text, sizeof text, "%.15g", bound);
  return text;
}
std::string boundText(std::int64_t bound) {
  return std::to_string(bound);
}
std::string boundText(std::int32_t bound) {
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

template <typename Value>
CLI::Option* declare(CLI::App& command, const std::string& names, Value& value,
                     const std::string& placeholder, const std::string& help) {
  CLI::Option* const option = command.add_option(names, value, help);
  return placeholder.empty() ? option : option->type_name(placeholder);
}

}  // namespace

const Option& Option::required() const {
  option_->required();
  return *this;
}

const Option& Option::needs(const Option& other) const {
  option_->needs(other.option_);
  return *this;
}

const Option& Option::excludes(const Option& other) const {
  option_->excludes(other.option_);
  return *this;
}

const Option& Option::oneWordEach() const {
  option_->allow_extra_args(false);
  return *this;
}

const Option& Option::checked(const std::function<std::string(const std::string&)>& fault) const {
  option_->check(CLI::Validator(fault, ""));
  return *this;
}

bool Option::wasGiven() const {
  return option_->count() > 0;
}

Option Options::text(const std::string& names, std::string& value, const std::string& placeholder,
                     const std::string& help) {
  return Option(declare(command_, names, value, placeholder, help));
}

Option Options::texts(const std::string& names, std::vector<std::string>& values,
                      const std::string& placeholder, const std::string& help) {
  return Option(declare(command_, names, values, placeholder, help));
}

Option Options::flag(const std::string& names, bool& value, const std::string& help) {
  return Option(command_.add_flag(names, value, help));
}

Option Options::number(const std::string& names, std::int32_t& value, const std::string& placeholder,
                       const std::string& help, std::int32_t lowest, std::int32_t highest) {
  return Option(declare(command_, names, value, placeholder, help)->check(between(lowest, highest)));
}

Option Options::number(const std::string& names, std::int64_t& value, const std::string& placeholder,
                       const std::string& help, std::int64_t lowest, std::int64_t highest) {
  return Option(declare(command_, names, value, placeholder, help)->check(between(lowest, highest)));
}

Option Options::number(const std::string& names, double& value, const std::string& placeholder,
                       const std::string& help, double lowest, double highest) {
  return Option(declare(command_, names, value, placeholder, help)->check(between(lowest, highest)));
}

void Options::footer(const std::string& text) {
  command_.footer(text);
}

}  // namespace nimbolsp::tools
