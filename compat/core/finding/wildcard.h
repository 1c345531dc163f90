// Whether a file name matches a wildcard pattern. Pure.
#pragma once

namespace nimboxi {

// '?' stands for any one character; '*' for any run up to the first occurrence of the character behind it;
// "*.*" for every name. Names are bytes; without `caseSensitive` they are compared in upper case.
bool matchesWildcard(const char* pattern, const char* name, bool caseSensitive);

}  // namespace nimboxi
