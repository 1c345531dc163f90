#include "tools/text_table.h"

#include <algorithm>
#include <cstdio>

namespace nimbolsp::tools {

namespace {

constexpr std::string_view kGap = "  ";

std::string padded(const std::string& cell, std::size_t width, char alignment) {
  const std::string blanks(width - cell.size(), ' ');
  return alignment == 'r' ? blanks + cell : cell + blanks;
}

}  // namespace

std::string printable(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\\') {
      result += "\\\\";
    } else if (byte >= 0x20 && byte <= 0x7E) {
      result += c;
    } else {
      result.append("\\x").append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 0xF]);
    }
  }
  return result;
}

std::string decimal(double number, int digits) {
  char text[400];  // the largest number has 309 digits before the point
  std::snprintf(text, sizeof text, "%.*f", digits, number);
  return text;
}

std::string formatTable(const std::vector<std::vector<std::string>>& rows, std::string_view alignment) {
  std::vector<std::size_t> widths(alignment.size(), 0);
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string result;
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (i > 0) line += kGap;
      line += padded(row[i], widths[i], alignment[i]);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    result += line + '\n';
  }
  return result;
}

}  // namespace nimbolsp::tools
