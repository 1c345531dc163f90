// What a person reads in a profile: lines, sections, keys and values without the blanks around them, remarks,
// names in any case. The daemon reads it by stricter rules (effective_profile). Pure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "service/profile_keys.h"

namespace nimbolsp::tools {

// Of texts of any size only these are looked into: the largest profile of use has 4.3 MB and 17,000 lines.
inline constexpr std::size_t kMostVisibleBytes = std::size_t{16} << 20;
inline constexpr std::size_t kMostVisibleLines = 250'000;

inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

struct VisibleLine {
  enum Kind { kEmpty, kHeader, kKey, kRemark, kWords };

  std::size_t number = 0;  // as editors count: from 1, by LF, or by CR in a text without any LF
  std::size_t offset = 0;  // in the text
  std::string_view text;   // without its end
  Kind kind = kEmpty;
  std::string_view name;        // of a header or key
  std::string_view value;       // of a key, without a remark behind it
  std::string_view remark;      // behind the value, with its mark
  std::ptrdiff_t section = -1;  // -1 in front of the first

  // Without a byte order mark in front, which only the first one can have.
  std::string_view unmarkedText() const {
    const bool hasMark = offset == 0 && text.starts_with(kByteOrderMark);
    return text.substr(hasMark ? kByteOrderMark.size() : 0);
  }

  // The value as the daemon takes it: all behind the "=".
  std::string_view rawValue() const { return text.substr(text.find('=') + 1); }
};

// A key of the daemon by its row; number 0 for one that is not numbered.
struct KnownKey {
  KeyId id;
  int number;

  bool operator==(const KnownKey&) const = default;
};

struct VisibleSection {
  enum Use { kUnused, kOfService, kOfPool };

  std::string name;
  Use use = kUnused;
  std::vector<std::size_t> headers;                     // line indices, as all below
  std::vector<std::size_t> keys;                        // every key line
  std::map<std::pair<KeyId, int>, std::size_t> values;  // of the keys of its use, the first of each
};

struct VisiblePool {
  std::size_t line = 0;
  int number = 0;
  std::string name;
  const VisibleSection* section = nullptr;  // null for none
};

// Can be moved and not copied: its parts point at each other.
struct VisibleProfile {
  VisibleProfile() = default;
  VisibleProfile(VisibleProfile&&) = default;
  VisibleProfile& operator=(VisibleProfile&&) = default;

  std::string_view text;
  std::vector<VisibleLine> lines;
  std::vector<VisibleSection> sections;   // by first header
  const VisibleSection* setup = nullptr;  // null for none
  std::vector<VisiblePool> pools;         // all that have a name, by number

  // The line that holds an offset of the text.
  const VisibleLine& lineAt(std::size_t offset) const;

  // The value of a key; null when the section or the key is missing.
  const VisibleLine* valueOf(const VisibleSection* section, KnownKey key) const;

  // The servers' lines, from the first to the first gap.
  std::vector<const VisibleLine*> serversOf(const VisiblePool& pool) const;
};

// Whether a text has two bytes a character, of which one is 0 in every character that a key can have.
bool isUtf16(std::string_view text);

// Reads a text, which must outlive the result. Nothing when it has too many bytes or lines.
std::optional<VisibleProfile> readVisibleProfile(std::string_view text);

// The key that is meant by a name in any case and with any leading zeros.
std::optional<KnownKey> knownKey(std::string_view name, bool ofPool);

// The key as it must be written.
std::string rightName(KnownKey key);

// Without the blanks, tabs and control characters at both ends.
std::string_view trimmed(std::string_view text);

// A number as a person reads it: of any size, here at most 10^15. Nothing for anything else.
std::optional<std::int64_t> visibleNumber(std::string_view text);

// One of those in front of what is left of a text, else the last one behind it.
char trimmedByte(std::string_view text, std::string_view trimmedText);

// Blanks and tabs are shown as room, and the others by most programs not at all.
inline bool isControl(char c) {
  return (c >= 0 && c < ' ' && c != '\t') || c == '\x7F';
}

bool equalInAnyCase(std::string_view a, std::string_view b);

}  // namespace nimbolsp::tools
