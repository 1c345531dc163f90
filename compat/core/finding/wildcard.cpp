// Whether a file name matches a wildcard pattern.
#include "compat/core/finding/wildcard.h"

#include <cstdint>
#include <cstring>

#include "compat/services/text/code_page.h"

namespace nimboxi {
namespace {

bool sameCharacter(char first, char second, bool caseSensitive) {
  const auto a = static_cast<std::uint8_t>(first);
  const auto b = static_cast<std::uint8_t>(second);
  return a == b || (!caseSensitive && toUpperAnsi(a) == toUpperAnsi(b));
}

// Behind a run of '*' that starts at `pattern`.
const char* skipStars(const char* pattern) {
  while (*pattern == '*') ++pattern;
  return pattern;
}

}  // namespace

bool matchesWildcard(const char* pattern, const char* name, bool caseSensitive) {
  if (std::strcmp(pattern, "*.*") == 0) return true;  // Required(star-dot-star): names without a dot too.
  while (*name != '\0') {
    if (*pattern == '*') {
      pattern = skipStars(pattern);
      if (*pattern == '\0') return true;
      // Required(first-occurrence): only the first occurrence counts, so "*a" does not find "banana"; and a
      // '?' behind '*' is looked for as it stands.
      while (*name != '\0' && !sameCharacter(*pattern, *name, caseSensitive)) ++name;
      if (*name == '\0') return false;
    } else if (*pattern == '\0' || (*pattern != '?' && !sameCharacter(*pattern, *name, caseSensitive))) {
      return false;
    }
    ++pattern;
    ++name;
  }
  return *skipStars(pattern) == '\0';
}

}  // namespace nimboxi
