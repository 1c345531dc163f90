// Rewrites a profile in the form in which the service loads what the file visibly says.
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

// The text that says the same with CR LF line ends, sections that end at an empty line, keys as the service
// writes them, no blanks around names and values, and remarks that swallow nothing. Pure.
std::string rewritten(const VisibleProfile& visible);

// Rewrites a file, or changes nothing where the service would not load then what is visible. Follows symbolic
// links; keeps owner and mode; whoever reads meanwhile finds the former or the new text.
FixOutcome fixProfile(const std::string& path);

// The text of a file, or a byte more than is looked into; nothing of what is no ordinary file.
std::string readProfileText(const std::string& path);

}  // namespace nimbolsp::tools
