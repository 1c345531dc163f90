// The walk over a profile's lines. Forward only: no step looks back, so every walk is linear.
#include "compat/services/profile/profile_text.h"

#include <cstring>

namespace nimboxi {
namespace {

constexpr std::string_view kLineEndBytes = "\r\n";

bool isLineEnd(char byte) {
  return byte == '\r' || byte == '\n';
}

// The end of the line that holds `position`, in front of its line end.
std::size_t lineEnd(std::string_view text, std::size_t position) {
  while (position < text.size() && !isLineEnd(text[position])) ++position;
  return position;
}

// Whether the line is a header of this section. No scan for the "]": a name cannot hold one.
bool isHeaderOf(std::string_view text, std::size_t line, std::string_view section) {
  if (text[line] != '[') return false;
  const std::string_view behind = text.substr(line + 1);
  return behind.starts_with(section) && section.find(']') == kNoPosition &&
         (behind.size() == section.size() || behind[section.size()] == ']');
}

// Where the section of a header begins; the header's name may span lines.
std::size_t sectionStart(std::string_view text, std::size_t header, std::string_view section) {
  return nextLine(text, header + 1 + section.size());
}

// Searches one section from the line `line` on. Returns the value's offset or kNoPosition.
//   lastLine  receives the matching line, or the one that ends the section
std::size_t searchSection(std::string_view text, std::size_t line, std::string_view key,
                          std::size_t* lastLine) {
  for (;;) {
    *lastLine = line;
    if (endsSection(text, line)) return kNoPosition;
    const bool isHeader = text[line] == '[';
    // Required(header-in-section): a header does not end the section, so the keys of the next section are
    // found in this one unless a blank line stands between. It never runs on into the next line.
    if (hasKey(text, line, key) && key.find('=') == kNoPosition &&
        !(isHeader && key.find_first_of(kLineEndBytes) != kNoPosition)) {
      return line + key.size() + 1;
    }
    if (isHeader) {
      line = nextLine(text, line);
      continue;
    }
    // Required(line-without-equals): a key line without "=" swallows the key of the line with the next "=".
    const std::size_t equals = text.find('=', line);
    line = equals == kNoPosition ? text.size() : nextLine(text, equals);
  }
}

// Behind one CR, one LF or one CR LF at `position`, if there is one.
// Required(write-skips-one-lf): unlike a walk, a write takes one LF away and keeps a second: an empty line
// that follows the replaced one stays in the file.
std::size_t skipOneLineEnd(std::string_view text, std::size_t position) {
  if (text.substr(position).starts_with("\r\n")) return position + 2;
  return position < text.size() ? position + 1 : position;
}

}  // namespace

std::string_view readableText(std::string_view contents) {
  return contents.substr(0, contents.find('\0'));
}

std::size_t nextLine(std::string_view text, std::size_t position) {
  std::size_t end = lineEnd(text, position);
  if (end == text.size()) return end;
  ++end;
  // Required(double-lf): LF LF is one line end, so in a file with LF line ends a single empty line does not
  // count.
  return end < text.size() && text[end] == '\n' ? end + 1 : end;
}

bool endsSection(std::string_view text, std::size_t position) {
  // Required(signed-first-byte): signed, so a line that begins with a letter of the upper half, 0x80 and
  // above, ends a section.
  return position >= text.size() || static_cast<signed char>(text[position]) < 0x21;
}

bool hasKey(std::string_view text, std::size_t line, std::string_view key) {
  const std::string_view rest = text.substr(line);
  return rest.size() > key.size() && rest[key.size()] == '=' && rest.starts_with(key);
}

std::string_view valueAt(std::string_view text, std::size_t position) {
  return text.substr(position, lineEnd(text, position) - position);
}

std::ptrdiff_t FindProfileKey(std::string_view text, std::string_view section, std::string_view key,
                              std::size_t* insertionPoint) {
  std::size_t unused;
  if (insertionPoint == nullptr) insertionPoint = &unused;
  *insertionPoint = kNoPosition;
  std::size_t line = 0;
  while (line < text.size()) {
    if (isHeaderOf(text, line, section)) {
      const std::size_t value = searchSection(text, sectionStart(text, line, section), key, insertionPoint);
      if (value != kNoPosition) return static_cast<std::ptrdiff_t>(value);
      line = *insertionPoint;
    }
    line = nextLine(text, line);
  }
  return -1;
}

std::uint32_t copyProfileSection(std::string_view text, std::string_view section, char* buffer,
                                 std::uint32_t size) {
  if (size > 0) buffer[0] = '\0';
  if (size < 2) return 0;
  std::size_t written = 0;
  const std::size_t room = size - 2;
  std::size_t line = 0;
  while (line < text.size()) {
    if (!isHeaderOf(text, line, section)) {
      line = nextLine(text, line);
      continue;
    }
    // Here, unlike in a search for one key, a header ends the section; it may be one of the same name.
    line = sectionStart(text, line, section);
    for (; !endsSection(text, line) && text[line] != '['; line = nextLine(text, line)) {
      const std::string_view content = valueAt(text, line);
      // Required(section-overflow): `size` - 2, whatever fitted in, tells the caller that the buffer was too
      // small.
      if (room - written < content.size() + 1) return size - 2;
      std::memcpy(buffer + written, content.data(), content.size());
      written += content.size() + 1;
      buffer[written - 1] = '\0';
      buffer[written] = '\0';
    }
  }
  return static_cast<std::uint32_t>(written);
}

ProfileCut cutProfile(std::string_view contents, std::string_view section, std::string_view key) {
  const std::string_view text = readableText(contents);
  std::size_t insertion;
  const std::ptrdiff_t value = FindProfileKey(text, section, key, &insertion);
  ProfileCut cut{text, true, {}, contents.substr(text.size())};
  if (insertion == kNoPosition) return cut;
  cut.newSection = false;
  cut.head = text.substr(0, insertion);
  std::size_t rest = insertion;
  if (value >= 0) rest = skipOneLineEnd(text, lineEnd(text, static_cast<std::size_t>(value)));
  cut.rest = text.substr(rest);
  return cut;
}

}  // namespace nimboxi
