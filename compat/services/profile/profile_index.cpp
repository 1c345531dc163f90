// How one pass tells what every walk of every section would visit.
//
// All walks that visit a line leave it the same way: on to the next line, into a long key that swallows all
// up to the line with the next "=", or nowhere, when the line ends the section. So walks only ever join. Two
// groups hold the sections whose walks are under way: `visiting` see the current line, `swallowing` land on
// the line behind the next "=". A line moves a whole group at once, and a section leaves its group once, when
// it ends; so the pass is linear, also where every section runs on through all that follow it.
//
// Which of the walks visit a line needs no list either: it is always those that start at or behind some line.
#include "compat/services/profile/profile_index.h"

#include <algorithm>
#include <functional>
#include <new>
#include <span>

#include "compat/services/profile/profile_text.h"

namespace nimboxi {
namespace {

using KeyLine = ProfileIndex::KeyLine;
using Header = ProfileIndex::Header;

// Bounds of the memory that an index takes: 12 bytes a key line, 20 (24 while it is built) a header.
constexpr std::size_t kMaxIndexedBytes = std::size_t{64} << 20;
constexpr std::size_t kMaxEntries = std::size_t{4} << 20;

std::uint32_t hashOf(std::string_view name) {
  return static_cast<std::uint32_t>(std::hash<std::string_view>{}(name));
}

std::uint32_t narrow(std::size_t offset) {
  return static_cast<std::uint32_t>(offset);
}

struct Line {
  std::size_t start;
  std::size_t next;     // start of the next line
  std::size_t equals;   // first "=", or kNoPosition
  std::size_t bracket;  // first "]", or kNoPosition

  bool hasEquals() const { return equals != kNoPosition; }
};

Line readLine(std::string_view text, std::size_t start) {
  Line line{start, start, kNoPosition, kNoPosition};
  std::size_t i = start;
  for (; i < text.size() && text[i] != '\r' && text[i] != '\n'; ++i) {
    if (text[i] == '=' && line.equals == kNoPosition) line.equals = i;
    if (text[i] == ']' && line.bracket == kNoPosition) line.bracket = i;
  }
  line.next = nextLine(text, i);
  return line;
}

// The headers whose sections are open, in two groups, each a list linked through `next_` by header number.
class OpenSections {
 public:
  explicit OpenSections(std::vector<Header>& headers) : headers_(headers) {}

  // The section of the header added last starts at the line that is stepped to next.
  void open() {
    next_.push_back(kNone);
    const std::uint32_t added = narrow(headers_.size() - 1);
    Group one{added, added};
    join(visiting_, one);
  }

  // Takes all walks over a line.
  void step(std::string_view text, const Line& line) {
    if (endsSection(text, line.start)) {
      end(visiting_, line.start);
    } else if (text[line.start] != '[' && !line.hasEquals()) {
      join(swallowing_, visiting_);
    }
    if (line.hasEquals()) join(visiting_, swallowing_);
  }

  // Ends all that is open with the text.
  void finish(std::size_t textSize) {
    end(visiting_, textSize);
    end(swallowing_, textSize);
  }

 private:
  static constexpr std::uint32_t kNone = UINT32_MAX;

  struct Group {
    std::uint32_t first = kNone;
    std::uint32_t last = kNone;
  };

  void join(Group& group, Group& other) {
    if (other.first == kNone) return;
    if (group.first == kNone) {
      group = other;
    } else {
      next_[group.last] = other.first;
      group.last = other.last;
    }
    other = Group{};
  }

  void end(Group& group, std::size_t offset) {
    for (std::uint32_t i = group.first; i != kNone; i = next_[i]) headers_[i].end = narrow(offset);
    group = Group{};
  }

  std::vector<Header>& headers_;
  std::vector<std::uint32_t> next_;
  Group visiting_;
  Group swallowing_;
};

std::string_view nameOf(std::string_view text, const Header& header) {
  return text.substr(header.offset + 1, header.nameEnd - header.offset - 1);
}

// A name to look for among the headers.
struct HashedName {
  std::uint32_t hash;
  std::string_view name;

  bool operator<(const HashedName& other) const {
    return hash != other.hash ? hash < other.hash : name < other.name;
  }
};

HashedName hashedNameOf(std::string_view text, const Header& header) {
  return {header.hash, nameOf(text, header)};
}

std::span<const Header> headersOf(std::string_view text, const std::vector<Header>& headers,
                                  std::string_view section) {
  const HashedName wanted{hashOf(section), section};
  auto before = [text](const Header& header, const HashedName& name) {
    return hashedNameOf(text, header) < name;
  };
  auto behind = [text](const HashedName& name, const Header& header) {
    return name < hashedNameOf(text, header);
  };
  auto first = std::lower_bound(headers.begin(), headers.end(), wanted, before);
  return {first, std::upper_bound(first, headers.end(), wanted, behind)};
}

std::span<const KeyLine> keyLinesOf(const std::vector<KeyLine>& keyLines, std::string_view key) {
  const std::uint32_t wanted = hashOf(key);
  auto before = [](const KeyLine& line, std::uint32_t hash) { return line.hash < hash; };
  auto behind = [](std::uint32_t hash, const KeyLine& line) { return hash < line.hash; };
  auto first = std::lower_bound(keyLines.begin(), keyLines.end(), wanted, before);
  return {first, std::upper_bound(first, keyLines.end(), wanted, behind)};
}

bool visits(const Header& header, const KeyLine& line) {
  return line.earliestStart <= header.start && header.start <= line.offset && line.offset < header.end;
}

// The first line that a section of `headers` visits and that has the key; null for none. For few headers.
const KeyLine* findByHeaders(std::string_view text, std::span<const Header> headers,
                             std::span<const KeyLine> lines, std::string_view key) {
  for (const Header& header : headers) {
    auto line = std::lower_bound(lines.begin(), lines.end(), header.start,
                                 [](const KeyLine& a, std::uint32_t offset) { return a.offset < offset; });
    for (; line != lines.end() && line->offset < header.end; ++line) {
      if (visits(header, *line) && hasKey(text, line->offset, key)) return &*line;
    }
  }
  return nullptr;
}

// The same for few lines: only the last section that starts at or in front of a line can visit it.
const KeyLine* findByLines(std::string_view text, std::span<const Header> headers,
                           std::span<const KeyLine> lines, std::string_view key) {
  for (const KeyLine& line : lines) {
    auto behind = std::upper_bound(headers.begin(), headers.end(), line.offset,
                                   [](std::uint32_t offset, const Header& a) { return offset < a.start; });
    if (behind == headers.begin()) continue;
    if (visits(*(behind - 1), line) && hasKey(text, line.offset, key)) return &line;
  }
  return nullptr;
}

bool holdsLineEnd(std::string_view name) {
  return name.find_first_of("\r\n") != kNoPosition;
}

}  // namespace

ProfileIndex::ProfileIndex(std::string_view text) : text_(text) {
  if (text.size() > kMaxIndexedBytes) return;
  try {
    build();
  } catch (const std::bad_alloc&) {
  }
  if (indexed_) return;
  keyLines_ = {};
  headers_ = {};
}

void ProfileIndex::build() {
  OpenSections open(headers_);
  std::size_t earliestStart = 0;
  for (std::size_t start = 0; start < text_.size();) {
    const Line line = readLine(text_, start);
    const bool isHeader = text_[start] == '[';
    if (line.hasEquals() && !endsSection(text_, start)) {
      keyLines_.push_back(
          {hashOf(text_.substr(start, line.equals - start)), narrow(start), narrow(earliestStart)});
    }
    open.step(text_, line);
    if (isHeader && line.bracket != kNoPosition) {
      const std::string_view name = text_.substr(start + 1, line.bracket - start - 1);
      headers_.push_back({hashOf(name), narrow(start), narrow(line.bracket), narrow(line.next), 0});
      open.open();
    }
    if (keyLines_.size() + headers_.size() > kMaxEntries) return;
    // Behind a "=" all walks are on the line; behind a key line without one only a walk that starts there.
    if (line.hasEquals()) {
      earliestStart = 0;
    } else if (!isHeader) {
      earliestStart = line.next;
    }
    start = line.next;
  }
  open.finish(text_.size());
  std::sort(keyLines_.begin(), keyLines_.end(), [](const KeyLine& a, const KeyLine& b) {
    return a.hash != b.hash ? a.hash < b.hash : a.offset < b.offset;
  });
  sortAndThinHeaders();
  indexed_ = true;
}

// Keeps of the headers of one name those that the walk takes for headers: it goes on behind the end of a
// section that it has searched, and one inside that is a mere key line.
void ProfileIndex::sortAndThinHeaders() {
  std::sort(headers_.begin(), headers_.end(), [this](const Header& a, const Header& b) {
    if (a.hash != b.hash) return a.hash < b.hash;
    const int order = nameOf(text_, a).compare(nameOf(text_, b));
    return order != 0 ? order < 0 : a.offset < b.offset;
  });
  const Header* kept = nullptr;
  auto isNested = [&kept, this](const Header& header) {
    if (kept != nullptr && nameOf(text_, *kept) == nameOf(text_, header) && header.offset <= kept->end)
      return true;
    kept = &header;
    return false;
  };
  std::vector<Header> thinned;
  std::copy_if(headers_.begin(), headers_.end(), std::back_inserter(thinned), std::not_fn(isNested));
  headers_ = std::move(thinned);
}

std::ptrdiff_t ProfileIndex::find(std::string_view section, std::string_view key) const {
  // A name ends at its first "]", a key at its first "=".
  if (section.find(']') != kNoPosition || key.find('=') != kNoPosition) return -1;
  if (!indexed_ || holdsLineEnd(section) || holdsLineEnd(key)) {
    return FindProfileKey(text_, section, key, nullptr);
  }
  const std::span<const Header> headers = headersOf(text_, headers_, section);
  const std::span<const KeyLine> lines = keyLinesOf(keyLines_, key);
  const KeyLine* found = headers.size() <= lines.size() ? findByHeaders(text_, headers, lines, key)
                                                        : findByLines(text_, headers, lines, key);
  return found == nullptr ? -1 : static_cast<std::ptrdiff_t>(found->offset + key.size() + 1);
}

}  // namespace nimboxi
