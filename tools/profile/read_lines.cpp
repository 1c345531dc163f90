#include "tools/profile/read_lines.h"

#include "compat/services/profile/profile_text.h"

namespace nimbolsp::tools {

ReadLines::ReadLines(const VisibleProfile& visible)
    : visible_(visible), index_(nimboxi::readableText(visible.text)) {
  names_[visible.setup] = kSetupSection;
  for (const VisiblePool& pool : visible.pools) names_.try_emplace(pool.section, pool.name);
}

const VisibleLine* ReadLines::of(const VisibleSection& section, KnownKey key) const {
  const auto name = names_.find(&section);
  if (name == names_.end()) return nullptr;
  const std::ptrdiff_t value = index_.find(name->second, rightName(key));
  return value < 0 ? nullptr : &visible_.lineAt(static_cast<std::size_t>(value));
}

}  // namespace nimbolsp::tools
