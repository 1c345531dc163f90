// An index beside the cached contents of a profile: finds a key without walking the text again. It gives
// exactly what FindProfileKey gives, in every odd case. Pure: no file, no lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace nimboxi {

class ProfileIndex {
 public:
  // Indexes `text`, which must outlive the index, in one pass over its lines. A text that is very large, has
  // very many lines, or finds no memory for the index, is walked by every find instead.
  explicit ProfileIndex(std::string_view text);

  // The offset of the value, or -1: FindProfileKey's result. Neither allocates nor throws.
  std::ptrdiff_t find(std::string_view section, std::string_view key) const;

  // A line that a section walk may take for a key: its "=" stands on the line itself.
  struct KeyLine {
    std::uint32_t hash;    // of the key
    std::uint32_t offset;  // of the line
    // The walks that visit the line are those that start at or behind this offset (and not behind the line);
    // earlier ones have swallowed it as part of a longer key.
    std::uint32_t earliestStart;
  };

  // A header whose name and "]" stand on one line.
  struct Header {
    std::uint32_t hash;  // of the name
    std::uint32_t offset;
    std::uint32_t nameEnd;  // of the "]"
    std::uint32_t start;    // of the section's first line
    std::uint32_t end;      // of the line that ends the section, or the text's size
  };

 private:
  void build();
  void sortAndThinHeaders();

  std::string_view text_;
  bool indexed_ = false;
  std::vector<KeyLine> keyLines_;  // by hash, then offset
  std::vector<Header> headers_;    // by hash, then name, then offset: the sections of one name, never nested
};

}  // namespace nimboxi
