// The profile's format in its plainest form, that the product's is compared with. Shares nothing with it.
#pragma once

#include <algorithm>
#include <string>
#include <utility>

namespace model {

inline constexpr std::size_t kNowhere = std::string::npos;

inline std::size_t lineEnd(const std::string& text, std::size_t at) {
  return std::min(text.find_first_of("\r\n", at), text.size());
}

inline std::size_t nextLine(const std::string& text, std::size_t at) {
  at = std::min(lineEnd(text, at) + 1, text.size());
  return at < text.size() && text[at] == '\n' ? at + 1 : at;
}

// Where the lines of the section begin whose header stands at `at`; kNowhere for another one, or none.
inline std::size_t sectionAt(const std::string& text, std::size_t at, const std::string& section) {
  const std::size_t end = std::min(text.find(']', at), text.size());
  return text[at] == '[' && text.substr(at + 1, end - at - 1) == section ? nextLine(text, end) : kNowhere;
}

inline bool isInSection(const std::string& text, std::size_t line) {
  return line < text.size() && static_cast<signed char>(text[line]) >= 0x21;
}

// Where the value begins, and where a write begins; kNowhere for none.
inline std::pair<std::size_t, std::size_t> find(const std::string& text, const std::string& section,
                                                const std::string& key) {
  std::size_t insertion = kNowhere;
  for (std::size_t at = 0; at < text.size(); at = nextLine(text, at)) {
    std::size_t line = sectionAt(text, at, section), equals;
    if (line == kNowhere) continue;
    for (; isInSection(text, line); line = nextLine(text, equals)) {
      equals = std::min(text.find('=', line), text.size());
      if (text[line] == '[') equals = std::min(equals, lineEnd(text, line));  // no key runs on from a header
      if (text[equals] == '=' && text.substr(line, equals - line) == key) return {equals + 1, line};
    }
    at = insertion = line;
  }
  return {kNowhere, insertion};
}

inline std::string value(const std::string& text, const std::string& section, const std::string& key) {
  const std::size_t at = find(text, section, key).first;
  return at == kNowhere ? std::string() : text.substr(at, lineEnd(text, at) - at);
}

inline std::string written(const std::string& contents, const std::string& section, const std::string& key,
                           const std::string& newValue) {
  const std::string text = contents.c_str();
  const auto [old, insertion] = find(text, section, key);
  std::string head = text.substr(0, insertion);
  if (insertion == kNowhere) head += (contents.empty() ? "[" : "\r\n[") + section + "]\r\n";
  std::size_t rest = std::min(old == kNowhere ? insertion : lineEnd(text, old), text.size());
  if (old != kNowhere) rest = std::min(rest + (text.compare(rest, 2, "\r\n") == 0 ? 2 : 1), text.size());
  return head + key + "=" + newValue + "\r\n" + contents.substr(rest);
}

// What a read of a section gives, and returns. `size` is 2 at least.
inline std::pair<std::string, std::size_t> sectionRead(const std::string& text, const std::string& section,
                                                       std::size_t size) {
  std::string lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t begin = sectionAt(text, at, section);
    at = begin == kNowhere ? nextLine(text, at) : begin;
    for (; begin != kNowhere && isInSection(text, at) && text[at] != '['; at = nextLine(text, at)) {
      const std::string line = text.substr(at, lineEnd(text, at) - at) + '\0';
      if (lines.size() + line.size() > size - 2) return {lines + '\0', size - 2};
      lines += line;
    }
  }
  return {lines + '\0', lines.size()};
}

}  // namespace model
