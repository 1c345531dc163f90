// Follows the daemon's search through each section that it reads, line by line, and finds where it goes
// other ways than a reader's eye: over a section's end, past a key, not far enough. One walk a name.
#include <algorithm>

#include "compat/services/profile/profile_index.h"
#include "compat/services/profile/profile_text.h"
#include "tools/profile/findings.h"

namespace nimbolsp::tools {

namespace {

using nimboxi::endsSection;
using nimboxi::nextLine;

constexpr std::size_t kMostListed = 5;
constexpr std::size_t kLongestSuggestion = 60;  // bytes of its value

std::string listOf(const std::vector<std::string>& names) {
  std::string list;
  for (std::size_t i = 0; i < std::min(names.size(), kMostListed); ++i) {
    list += (i == 0 ? "" : ", ") + quoted(names[i]);
  }
  return list + (names.size() > kMostListed ? " and more" : "");
}

std::string kindOfEnd(std::string_view line) {
  if (line.empty()) return "an empty line";
  switch (const auto byte = static_cast<unsigned char>(line.front())) {
    case ' ':
      return "a line that begins with a blank";
    case '\t':
      return "a line that begins with a tab";
    default:
      return byte < 0x80 ? "a line that begins with a control character"
                         : "a line that begins with byte " + quoted(line.substr(0, 1));
  }
}

// The walks of one section name.
class SectionWalk {
 public:
  SectionWalk(const VisibleProfile& visible, const nimboxi::ProfileIndex& index,
              const VisibleSection& section, Findings& findings)
      : visible_(visible),
        index_(index),
        text_(nimboxi::readableText(visible.text)),
        section_(section),
        ofPool_(section.use == VisibleSection::kOfPool),
        findings_(findings) {}

  // From every header that a reader sees, so that a wrong one does not hide what else is wrong behind it.
  void walk() {
    std::size_t end = 0;
    for (const std::size_t header : section_.headers) {
      const std::size_t offset = visible_.lines[header].offset;
      if (offset >= text_.size()) return;
      if (end <= offset) end = walkSection(nextLine(text_, offset));
    }
  }

 private:
  // Returns where the section ends.
  std::size_t walkSection(std::size_t at) {
    crossed_ = nullptr;
    leaking_.clear();
    counting_ = false;
    bool hasEnded = false;  // in the line before
    while (at < text_.size()) {
      if (endsSection(text_, at)) {
        if (crossed_ != nullptr || !goesOn(visible_.lineAt(at), hasEnded)) break;
        hasEnded = true;
        at = nextLine(text_, at);
        continue;
      }
      hasEnded = false;
      const VisibleLine& line = visible_.lineAt(at);
      if (text_[at] == '[') {
        if (!isInside(line)) cross(line, line);
        at = nextLine(text_, at);
        continue;
      }
      const std::size_t equals = text_.find('=', at);
      if (equals == std::string_view::npos) {
        if (line.kind == VisibleLine::kWords && isInside(line)) {
          findings_.add(kWithoutEquals, line, "a line without \"=\"");
        }
        at = text_.size();
        break;
      }
      const VisibleLine& valueLine = visible_.lineAt(equals);
      if (&valueLine != &line) {
        swallow(line, valueLine);
      } else if (crossed_ != nullptr) {
        visit(line);
      }
      at = nextLine(text_, equals);
    }
    if (crossed_ != nullptr) tellCrossing();
    return at;
  }

  bool isInside(const VisibleLine& line) const {
    return line.section >= 0 && &visible_.sections[static_cast<std::size_t>(line.section)] == &section_;
  }

  void cross(const VisibleLine& culprit, const VisibleLine& into) {
    if (crossed_ != nullptr) return;
    crossed_ = &culprit;
    into_ = visible_.sections[static_cast<std::size_t>(into.section)].name;
  }

  // A line without "=" whose key ends at the "=" of a later line.
  void swallow(const VisibleLine& line, const VisibleLine& valueLine) {
    const bool isRemark = line.kind == VisibleLine::kRemark;
    const std::string what = isRemark ? "a remark" : "a line without \"=\"";
    const bool inside = isInside(line);
    bool crosses = false;
    for (const VisibleLine* between = &line + 1; between <= &valueLine; ++between) {
      crosses = crosses || !isInside(*between);
    }
    const auto key = knownKey(valueLine.name, ofPool_);
    if (inside && !crosses && valueLine.kind == VisibleLine::kKey) {
      const bool matters = key.has_value() && valueLine.name == rightName(*key);
      if (matters || isRemark) {
        findings_.add(
            isRemark ? kRemarkSwallowsKey : kSwallowsKey, line,
            what + " swallows " + quoted(valueLine.name) + " in line " + std::to_string(valueLine.number));
        return;
      }
    }
    if (crosses) {
      cross(line, valueLine);
    } else if (inside) {
      findings_.add(kWithoutEquals, line, what + " in section " + quoted("[" + section_.name + "]"));
    }
  }

  // A key line of another section that counts here too, if it has a key that is looked for.
  void visit(const VisibleLine& line) {
    if (isInside(line)) return;
    const std::string_view key = line.text.substr(0, line.text.find('='));
    const auto known = knownKey(key, ofPool_);
    if (!known || key != rightName(*known)) return;
    leaking_.emplace_back(key);
    const std::size_t value = line.offset + key.size() + 1;
    if (index_.find(section_.name, key) == static_cast<std::ptrdiff_t>(value))
      counting_ = counting_ || counts(*known);
  }

  // Whether a key that is found is also asked for: of a numbered one all in front must be there.
  bool counts(KnownKey key) const {
    return kProfileKeys[key.id].highest == 0 || key.number == 1 ||
           index_.find(section_.name, rightName({key.id, key.number - 1})) >= 0;
  }

  void tellCrossing() {
    std::string what = "section " + quoted("[" + section_.name + "]") + " does not end in front of " +
                       quoted("[" + into_ + "]");
    if (crossed_->kind != VisibleLine::kHeader) {
      what = std::string(crossed_->kind == VisibleLine::kRemark ? "a remark" : "a line without \"=\"") +
             " takes section " + quoted("[" + section_.name + "]") + " on into " + quoted("[" + into_ + "]");
    }
    if (crossed_->kind == VisibleLine::kHeader && (crossed_ - 1)->kind == VisibleLine::kEmpty) {
      what += ", for with LF line ends a single empty line does not count";
    }
    if (!leaking_.empty())
      what += "; there " + std::string(leaking_.size() == 1 ? "is " : "are ") + listOf(leaking_);
    findings_.add(counting_ ? kKeysLeak : kSectionNotEnded, *crossed_, what);
  }

  // Tells of a line that ends the section if keys that are meant for it follow: the walk then goes on, so
  // that one fault does not hide the next.
  bool goesOn(const VisibleLine& end, bool isTold) {
    if (!isInside(end) || end.kind == VisibleLine::kHeader) return false;
    const VisibleLine* behind = visible_.lines.data() + visible_.lines.size();
    if (isTold && end.kind == VisibleLine::kEmpty && &end < lastKey_) return true;
    std::vector<std::string> lost;
    for (const VisibleLine* line = &end; line < behind && lost.size() <= kMostListed; ++line) {
      if (line->kind == VisibleLine::kHeader || line->offset >= text_.size()) break;
      if (line->kind != VisibleLine::kKey || !knownKey(line->name, ofPool_)) continue;
      lost.emplace_back(line->name);
      lastKey_ = line;
    }
    if (findings_.isFull(kSectionEndsEarly)) return false;
    if (!lost.empty() && !(isTold && end.kind == VisibleLine::kEmpty)) {
      findings_.add(kSectionEndsEarly, end,
                    kindOfEnd(end.text) + " ends section " + quoted("[" + section_.name + "]") +
                        " in front of " + listOf(lost));
    }
    return !lost.empty();
  }

  const VisibleProfile& visible_;
  const nimboxi::ProfileIndex& index_;
  const std::string_view text_;
  const VisibleSection& section_;
  const bool ofPool_;
  Findings& findings_;
  const VisibleLine* crossed_ = nullptr;  // the line at which the walk left its section
  std::string into_;
  std::vector<std::string> leaking_;
  bool counting_ = false;                 // one of them is loaded
  const VisibleLine* lastKey_ = nullptr;  // one that stands behind the section's end
};

// The name of a header as the daemon compares it, blanks and case included.
std::string_view nameInBrackets(const VisibleLine& header) {
  const std::size_t begin = header.text.find('[') + 1;
  return header.text.substr(begin, header.text.find(']', begin) - begin);
}

void findInHeaders(const VisibleProfile& visible, Findings& findings) {
  for (const VisibleSection& section : visible.sections) {
    for (const std::size_t index : section.headers) {
      const VisibleLine& line = visible.lines[index];
      const std::size_t bracket = line.text.find('[');
      const std::size_t close = line.text.find(']', bracket);
      const std::string shown = "[" + std::string(line.name) + "]";
      if (!line.unmarkedText().starts_with('['))
        findings.add(kHeaderNotFirst, line, quoted(shown) + " is not in the first column");
      if (close == std::string_view::npos) {
        findings.add(kHeaderOpen, line, "no \"]\" behind " + quoted(line.name));
      } else if (const auto name = line.text.substr(bracket + 1, close - bracket - 1); name != line.name) {
        if (isControl(trimmedByte(name, line.name))) {
          findings.add(kControlCharacter, line, "a control character in the section's name " + quoted(name));
        } else {
          findings.add(kSectionBlanks, line, "blanks around the section's name " + quoted(line.name));
        }
      }
    }
    for (std::size_t i = 1; i < section.headers.size(); ++i) {
      const VisibleLine& line = visible.lines[section.headers[i]];
      const auto first = std::ranges::find_if(section.headers, [&](std::size_t index) {
        return nameInBrackets(visible.lines[index]) == nameInBrackets(line);
      });
      const bool isNew = *first == section.headers[i];
      findings.add(isNew ? kRepeatedSectionDiffers : kRepeatedSection, line,
                   quoted("[" + section.name + "]") + " again, first in line " +
                       std::to_string(visible.lines[isNew ? section.headers[0] : *first].number));
    }
  }
}

// Lines that begin with a key of the daemon, and go on with anything but "=".
void findBareKeys(const VisibleProfile& visible, Findings& findings) {
  for (const VisibleLine& line : visible.lines) {
    if (line.kind != VisibleLine::kWords || line.section < 0) continue;
    const VisibleSection& section = visible.sections[static_cast<std::size_t>(line.section)];
    const std::string_view text = trimmed(line.unmarkedText());
    const std::size_t end = std::min(text.find_first_of(": \t"), text.size());
    const auto key = knownKey(text.substr(0, end), section.use == VisibleSection::kOfPool);
    if (section.use == VisibleSection::kUnused || !key) continue;
    const std::string_view value = text.substr(std::min(text.find_first_not_of(": \t", end), text.size()));
    findings.add(kKeyWithoutEquals, line, "no \"=\" behind " + quoted(text.substr(0, end)),
                 rightName(*key) + "=" + std::string(value.substr(0, kLongestSuggestion)));
  }
}

}  // namespace

void findInLines(const VisibleProfile& visible, Findings& findings) {
  findInHeaders(visible, findings);
  findBareKeys(visible, findings);
  const nimboxi::ProfileIndex index(nimboxi::readableText(visible.text));
  for (const VisibleSection& section : visible.sections) {
    if (section.use != VisibleSection::kUnused) SectionWalk(visible, index, section, findings).walk();
  }
}

}  // namespace nimbolsp::tools
