// Which line the daemon takes a key from, where a person sees several, or one that it does not find. By the
// layer's own search, so that it is right in every odd case. Pure.
#pragma once

#include <map>
#include <string>

#include "compat/services/profile/profile_index.h"
#include "tools/profile/visible_profile.h"

namespace nimbolsp::tools {

class ReadLines {
 public:
  // The profile must outlive it.
  explicit ReadLines(const VisibleProfile& visible);

  // The line of a key in a section of the daemon's use; null when it finds none.
  const VisibleLine* of(const VisibleSection& section, KnownKey key) const;

 private:
  const VisibleProfile& visible_;
  nimboxi::ProfileIndex index_;
  std::map<const VisibleSection*, std::string> names_;  // by which the daemon looks for them
};

}  // namespace nimbolsp::tools
