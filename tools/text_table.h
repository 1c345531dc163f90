// Text for the terminal: columns, and what came from the network made harmless. Pure.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace nimbolsp::tools {

// The text with every byte that is no printable ASCII character as \xHH, and a backslash doubled, so that no
// peer can steer the terminal or break a line.
std::string printable(std::string_view text);

// A number with so many digits behind the point.
std::string decimal(double number, int digits);

// A duration as a number, parts of a millisecond included.
inline double inMilliseconds(std::chrono::microseconds duration) {
  return static_cast<double>(duration.count()) / 1000;
}

// Rows of cells as lines, every column as wide as its widest cell, two blanks between columns.
//   alignment  one letter a column: 'l' or 'r'; a row has no more cells than that
std::string formatTable(const std::vector<std::vector<std::string>>& rows, std::string_view alignment);

}  // namespace nimbolsp::tools
