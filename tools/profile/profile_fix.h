// Rewrites a profile in the form in which the daemon loads what the file visibly says.
#pragma once

#include <string>

#include "tools/profile/visible_profile.h"

namespace nimbolsp::tools {

struct FixOutcome {
  bool changed = false;
  bool hasFailed = false;  // a file could not be written
  std::string why;         // nothing was changed
  std::string backup;      // of the former text
};

// The text that says the same with CR LF line ends, sections that end at an empty line, keys as the daemon
// writes them, no blanks around names and values, and remarks that swallow nothing. Pure.
std::string rewritten(const VisibleProfile& visible);

// Rewrites a file, or changes nothing where the daemon would not load then what is visible. Follows symbolic
// links; keeps owner and mode; whoever reads meanwhile finds the former or the new text. Throws
// std::invalid_argument with a sentence when the file cannot be read.
FixOutcome fixProfile(const std::string& path);

}  // namespace nimbolsp::tools
