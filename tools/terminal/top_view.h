// What "top" shows, and what its keys do: rows, their order, the filter, and the text for any width. Pure:
// what draws it is screen.h.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tools/polling/monitor.h"

namespace nimbolsp::tools {

// What a piece of text is; how that looks is the screen's.
enum class Role { kPlain, kTitle, kColumns, kGood, kWarning, kBad, kDim };

struct Span {
  std::string text;  // printable; UTF-8 only where the view may use it
  Role role = Role::kPlain;
};

using ScreenLine = std::vector<Span>;

// In the order of key "s".
enum class SortKey { kProfile, kLoad, kTime, kFailures, kFlaps, kList, kName };

// The words for them, in that order.
inline constexpr std::string_view kSortNames[] = {"profile", "load", "time", "failures",
                                                  "flaps",   "list", "name"};

// Keys that are no characters.
enum TopKey : int {
  kKeyUp = 0x110000,  // beyond every character
  kKeyDown,
  kKeyPageUp,
  kKeyPageDown,
  kKeyHome,
  kKeyEnd,
  kKeyEnter,
  kKeyEscape,
  kKeyBackspace,
  kKeyOther,
};

struct TopState {
  SortKey sort = SortKey::kProfile;
  bool reversed = false;
  bool onlyTroubled = false;
  bool held = false;           // the picture stays
  bool help = false;           // the keys are shown instead of the rows
  bool editingFilter = false;  // what is typed goes there
  bool unicode = false;        // the view may use more than ASCII
  std::string filter;          // in any case; part of pool, server or state
  std::size_t firstRow = 0;
  std::size_t page = 1;  // rows that the last view had room for
};

// Does what a key says. False when it says to quit.
bool handleKey(TopState& state, int key);

struct TopRow {
  const PoolState* pool;
  const ServerState* server;
};

// The rows that the state asks for, in its order. They point into the picture.
std::vector<TopRow> chooseRows(const Picture& picture, const TopState& state);

// A screen of that many columns and lines. Brings the state's first row and page within what there is.
std::vector<ScreenLine> layoutScreen(const Picture& picture, TopState& state, std::size_t width,
                                     std::size_t height, std::chrono::system_clock::time_point now);

// The same without the help line, with all rows, as plain text.
std::string plainPicture(const Picture& picture, const TopState& state, std::size_t width,
                         std::chrono::system_clock::time_point now);

}  // namespace nimbolsp::tools
