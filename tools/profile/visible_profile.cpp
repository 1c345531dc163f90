#include "tools/profile/visible_profile.h"

#include <algorithm>
#include <cctype>

namespace nimbolsp::tools {

namespace {

bool isBlank(char c) {
  return static_cast<unsigned char>(c) <= 0x20 || c == 0x7F;
}

bool isRemark(std::string_view text) {
  return text.starts_with(';') || text.starts_with('#') || text.starts_with("//");
}

// Where a remark behind a value begins; the text's size without one. A "#" may be part of a name.
std::size_t remarkStart(std::string_view value) {
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (i > 0 && !isBlank(value[i - 1])) continue;
    if (value[i] == ';') return i;
    if (value[i] == '#' && i + 1 < value.size() && isBlank(value[i + 1])) return i;
  }
  return value.size();
}

void classify(VisibleLine& line) {
  const std::string_view text = trimmed(line.unmarkedText());
  const std::size_t equals = text.find('=');
  if (text.empty()) {
    line.kind = VisibleLine::kEmpty;
  } else if (text.starts_with('[')) {
    line.kind = VisibleLine::kHeader;
    line.name = trimmed(text.substr(1, text.find(']', 1) - 1));
  } else if (isRemark(text)) {
    line.kind = VisibleLine::kRemark;
  } else if (equals == std::string_view::npos) {
    line.kind = VisibleLine::kWords;
  } else {
    line.kind = VisibleLine::kKey;
    line.name = trimmed(text.substr(0, equals));
    const std::string_view value = text.substr(equals + 1);
    const std::size_t end = remarkStart(value);
    line.value = trimmed(value.substr(0, end));
    line.remark = value.substr(end);
  }
}

class Reader {
 public:
  explicit Reader(std::string_view text) { profile_.text = text; }

  std::optional<VisibleProfile> read() {
    if (profile_.text.size() > kMostVisibleBytes || !readLines()) return {};
    for (std::size_t i = 0; i < profile_.lines.size(); ++i) sortIn(i);
    assignUses();
    return std::move(profile_);
  }

 private:
  bool readLines() {
    const std::string_view text = profile_.text;
    const bool countsByLf = text.find('\n') != std::string_view::npos;
    std::size_t number = 1;
    for (std::size_t start = 0; start < text.size();) {
      if (profile_.lines.size() == kMostVisibleLines) return false;
      const std::size_t end = std::min(text.find_first_of("\r\n", start), text.size());
      VisibleLine line;
      line.number = number;
      line.offset = start;
      line.text = text.substr(start, end - start);
      classify(line);
      profile_.lines.push_back(line);
      start = end + (text.substr(end).starts_with("\r\n") ? 2 : 1);
      if (!countsByLf || (start <= text.size() && text[start - 1] == '\n')) ++number;
    }
    return true;
  }

  void sortIn(std::size_t index) {
    VisibleLine& line = profile_.lines[index];
    if (line.kind == VisibleLine::kHeader) {
      const auto [found, isNew] = byName_.try_emplace(line.name, profile_.sections.size());
      if (isNew) profile_.sections.emplace_back().name = line.name;
      current_ = static_cast<std::ptrdiff_t>(found->second);
      profile_.sections[found->second].headers.push_back(index);
    }
    line.section = current_;
    if (line.kind == VisibleLine::kKey && current_ >= 0) {
      profile_.sections[static_cast<std::size_t>(current_)].keys.push_back(index);
    }
  }

  // The section of a name: the one of exactly this name, or else one in another case that nobody else uses.
  VisibleSection* sectionOf(std::string_view name, VisibleSection::Use use) {
    if (const auto exact = byName_.find(name); exact != byName_.end()) {
      return claim(profile_.sections[exact->second], use);
    }
    const auto found = std::ranges::find_if(profile_.sections, [name](const VisibleSection& section) {
      return section.use == VisibleSection::kUnused && equalInAnyCase(section.name, name);
    });
    return found == profile_.sections.end() ? nullptr : claim(*found, use);
  }

  VisibleSection* claim(VisibleSection& section, VisibleSection::Use use) {
    if (section.use != VisibleSection::kUnused) return &section;
    section.use = use;
    for (const std::size_t index : section.keys) {
      const auto key = knownKey(profile_.lines[index].name, use == VisibleSection::kOfPool);
      if (key) section.values.try_emplace({key->id, key->number}, index);
    }
    return &section;
  }

  void assignUses() {
    profile_.setup = sectionOf(kSetupSection, VisibleSection::kOfService);
    if (profile_.setup == nullptr) return;
    for (const auto& [key, index] : profile_.setup->values) {
      const std::string_view name = profile_.lines[index].value;
      if (key.first != kPool || key.second < 1 || key.second > kProfileKeys[kPool].highest || name.empty()) {
        continue;
      }
      profile_.pools.push_back({index, key.second, std::string(name), nullptr});
    }
    // Exact names first, so that none of their sections goes to a pool of another case.
    for (const bool exact : {true, false}) {
      for (VisiblePool& pool : profile_.pools) {
        if (pool.section != nullptr || (exact && !byName_.contains(pool.name))) continue;
        pool.section = sectionOf(pool.name, VisibleSection::kOfPool);
      }
    }
  }

  VisibleProfile profile_;
  std::map<std::string_view, std::size_t> byName_;
  std::ptrdiff_t current_ = -1;
};

}  // namespace

const VisibleLine& VisibleProfile::lineAt(std::size_t offset) const {
  const auto behind = std::ranges::upper_bound(lines, offset, {}, &VisibleLine::offset);
  return *(behind - 1);
}

const VisibleLine* VisibleProfile::valueOf(const VisibleSection* section, KnownKey key) const {
  if (section == nullptr) return nullptr;
  const auto found = section->values.find({key.id, key.number});
  return found == section->values.end() ? nullptr : &lines[found->second];
}

std::vector<const VisibleLine*> VisibleProfile::serversOf(const VisiblePool& pool) const {
  std::vector<const VisibleLine*> servers;
  for (int number = 1; number <= kProfileKeys[kServer].highest; ++number) {
    const VisibleLine* line = valueOf(pool.section, {kServer, number});
    if (line == nullptr || line->value.empty()) break;
    servers.push_back(line);
  }
  return servers;
}

bool isUtf16(std::string_view text) {
  const bool hasMark = text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF");
  std::size_t nuls[2] = {};  // at even and at odd offsets
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\0') ++nuls[i % 2];
  }
  const std::size_t most = std::max(nuls[0], nuls[1]);
  return std::min(nuls[0], nuls[1]) == 0 && most > 0 && (hasMark || most > text.size() / 4);
}

std::optional<VisibleProfile> readVisibleProfile(std::string_view text) {
  return Reader(text).read();
}

std::optional<KnownKey> knownKey(std::string_view name, bool ofPool) {
  for (int id = 0; id < kKeyCount; ++id) {
    const ProfileKey& row = kProfileKeys[id];
    const std::string_view stem = row.name;
    if (row.ofPool != ofPool || name.size() < stem.size() ||
        !equalInAnyCase(name.substr(0, stem.size()), stem)) {
      continue;
    }
    const std::string_view digits = name.substr(stem.size());
    if (row.highest == 0) {
      if (digits.empty()) return KnownKey{static_cast<KeyId>(id), 0};
      continue;
    }
    const bool isNumber = std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; });
    if (digits.empty() || !isNumber) continue;
    int number = 0;
    for (const char digit : digits) number = std::min(number * 10 + (digit - '0'), 99'999'999);
    return KnownKey{static_cast<KeyId>(id), number};
  }
  return {};
}

std::string rightName(KnownKey key) {
  return keyName(key.id, key.number);
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

std::optional<std::int64_t> visibleNumber(std::string_view text) {
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) text.remove_prefix(1);
  if (text.empty()) return {};
  std::int64_t number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return {};
    number = std::min<std::int64_t>(number * 10 + (c - '0'), 1'000'000'000'000'000);
  }
  return isNegative ? -number : number;
}

char trimmedByte(std::string_view text, std::string_view trimmedText) {
  return trimmedText.data() == text.data() ? text.back() : text.front();
}

bool equalInAnyCase(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
  return std::ranges::equal(a, b, {}, lower, lower);
}

}  // namespace nimbolsp::tools
