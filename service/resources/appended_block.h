// The resource block that a module file may carry at its end: parsing its bytes into tables. Pure: any bytes
// give tables, and no table holds more than the bytes given. All integers are little-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "service/resources/string_table.h"

namespace nimbolsp {

using Bytes = std::span<const std::uint8_t>;

// The end of the file: an 80-byte header and the marker.
inline constexpr std::string_view kBlockMarker = "^^^RC_DAT^^^";
inline constexpr std::size_t kBlockHeaderSize = 4 + 16 + 4 + 4 + 52;  // word, reserved, two offsets, reserved

struct BlockHeader {
  std::uint32_t firstWord;     // of no use but to readAppendedBlock, which returns it
  std::uint32_t dialogOffset;  // from the start of the file, 0 for no table
  std::uint32_t stringOffset;
};

struct AppendedStrings {
  std::vector<StringResource> entries;  // in stored order, which is meant to be descending ids
  std::vector<char> texts;              // what the entries point into
};

struct DialogItem {
  std::uint32_t id;
  std::uint32_t style;
  std::uint32_t x;
  std::uint32_t y;
  std::uint32_t width;
  std::uint32_t height;
  std::string className;  // Windows-1252, as all texts of the block
  std::string text;
};

struct DialogRecord {
  std::uint32_t id;
  std::uint32_t style;
  std::uint32_t itemCount;  // as many as `items` holds, whatever the block says
  std::uint32_t x;
  std::uint32_t y;
  std::uint32_t width;
  std::uint32_t height;
  std::string caption;
  std::uint32_t pointSize;
  std::string fontName;
  std::vector<DialogItem> items;
};

// The header at the end of a file whose last bytes these are; nothing when they do not hold header and
// marker.
std::optional<BlockHeader> parseBlockEnd(Bytes fileEnd);

// The tables whose bytes begin here. What lies beyond the bytes is missing: a text is cut, an entry that does
// not begin, or a dialog without its seven words, is left out.
AppendedStrings parseStringTable(Bytes bytes);
std::vector<DialogRecord> parseDialogTable(Bytes bytes);

}  // namespace nimbolsp
