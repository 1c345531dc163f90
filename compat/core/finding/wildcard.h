// Whether a file name matches a wildcard pattern. Pure.
#pragma once

namespace nimboxi {

// As MatchWildcard. Names are bytes, in Windows-1252 where case does not count.
bool matchesWildcard(const char* pattern, const char* name, bool caseSensitive);

}  // namespace nimboxi
