// How a command declares its options. The library that parses them is included by options.cpp and
// command_line.cpp alone, for its templates take long to compile.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace nimbolsp::tools {

// An option that was declared. Lives as long as the command line.
class Option {
 public:
  Option() = default;
  explicit Option(CLI::Option* option) : option_(option) {}

  const Option& required() const;
  const Option& needs(const Option& other) const;
  const Option& excludes(const Option& other) const;

  // Given once more, it takes one more word; without this, all words that follow.
  const Option& oneWordEach() const;

  // What is wrong with a value in a sentence; empty for nothing.
  const Option& checked(const std::function<std::string(const std::string& value)>& fault) const;

  bool wasGiven() const;

 private:
  CLI::Option* option_ = nullptr;
};

// The options of one command. Names are "-n,--count", or POOL for a word without a name; the values live as
// long as the command line, and are the defaults.
class Options {
 public:
  explicit Options(CLI::App& command) : command_(command) {}

  Option text(const std::string& names, std::string& value, const std::string& placeholder,
              const std::string& help);
  Option texts(const std::string& names, std::vector<std::string>& values, const std::string& placeholder,
               const std::string& help);
  Option flag(const std::string& names, bool& value, const std::string& help);

  // A number from `lowest` to `highest`; another one is told in a sentence.
  Option number(const std::string& names, std::int32_t& value, const std::string& placeholder,
                const std::string& help, std::int32_t lowest, std::int32_t highest);
  Option number(const std::string& names, std::int64_t& value, const std::string& placeholder,
                const std::string& help, std::int64_t lowest, std::int64_t highest);
  Option number(const std::string& names, double& value, const std::string& placeholder,
                const std::string& help, double lowest, double highest);

  // What stands below the options in the help.
  void footer(const std::string& text);

 private:
  CLI::App& command_;
};

}  // namespace nimbolsp::tools
