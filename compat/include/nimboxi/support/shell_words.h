// A file name as a word of a shell command. Pure.
#pragma once

#include <string>
#include <string_view>

namespace nimboxi {

// The name as it stands when the shell takes it for one word, else in single quotes (POSIX shell, 2.2.2).
inline std::string shellWord(std::string_view name) {
  constexpr std::string_view kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789%+,-./:@_";
  if (!name.empty() && name.find_first_not_of(kPlain) == std::string_view::npos) return std::string(name);
  std::string word = "'";
  for (const char ch : name) {
    if (ch == '\'') {
      word += "'\\''";  // a quote stands outside the quotes
    } else {
      word += ch;
    }
  }
  return word += "'";
}

}  // namespace nimboxi
