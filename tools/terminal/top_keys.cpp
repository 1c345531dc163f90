// What the keys of "top" do, and which rows that asks for.
#include <algorithm>

#include "service/balance.h"
#include "tools/terminal/top_text.h"
#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

constexpr std::size_t kLongestFilter = 40;
constexpr std::string_view kSortKeys = "plafcin";  // a key for each way to sort
static_assert(kSortKeys.size() == std::size(kSortNames));

void editFilter(TopState& state, int key) {
  if (key == kKeyEnter || key == kKeyEscape) state.editingFilter = false;
  if (key == kKeyEscape) state.filter.clear();
  if (key == kKeyBackspace && !state.filter.empty()) state.filter.pop_back();
  const bool isText = key >= ' ' && key <= '~';
  if (isText && state.filter.size() < kLongestFilter) state.filter += static_cast<char>(key);
}

void sortBy(TopState& state, SortKey key) {
  state.sort = key;
  state.firstRow = 0;
}

void scroll(TopState& state, int key) {
  const std::size_t step = key == kKeyUp || key == kKeyDown ? 1 : state.page;
  switch (key) {
    case kKeyUp:
    case kKeyPageUp:
      state.firstRow -= std::min(step, state.firstRow);
      break;
    case kKeyDown:
    case kKeyPageDown:
      state.firstRow += step;
      break;
    case kKeyHome:
      state.firstRow = 0;
      break;
    case kKeyEnd:
      state.firstRow = SIZE_MAX / 2;  // the view brings it back
      break;
    default:
      break;
  }
}

std::string lower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

bool isTroubled(const ServerState& server) {
  return (server.polls > 0 || server.isUnpolled()) && stateOf(server) != "good";
}

// By what the rows are sorted; the lowest comes first.
std::int64_t rankOf(const ServerState& server, SortKey key) {
  switch (key) {
    case SortKey::kLoad:
      return server.isUp() ? -std::int64_t{server.standing.load} : INT32_MAX;
    case SortKey::kTime:
      return server.isUp() ? -server.last.took.count() : INT64_MAX;
    case SortKey::kFailures:
      return -static_cast<std::int64_t>(server.failures);
    case SortKey::kFlaps:
      return -static_cast<std::int64_t>(server.flaps);
    case SortKey::kList:
      return server.isUp() ? server.standing.list : kAllocationLists;
    default:
      return 0;
  }
}

}  // namespace

bool handleKey(TopState& state, int key) {
  if (state.editingFilter) {
    editFilter(state, key);
    state.firstRow = 0;
    return true;
  }
  if (state.help) {
    state.help = false;
    return key != 'q';
  }
  if (const std::size_t chosen = kSortKeys.find(static_cast<char>(key));
      key < 128 && chosen != kSortKeys.npos) {
    sortBy(state, static_cast<SortKey>(chosen));
    return true;
  }
  switch (key) {
    case 'q':
      return false;
    case 's':
      sortBy(state, static_cast<SortKey>((static_cast<std::size_t>(state.sort) + 1) % std::size(kSortNames)));
      break;
    case 'r':
      state.reversed = !state.reversed;
      break;
    case '/':
      state.editingFilter = true;
      break;
    case kKeyEscape:
      state.filter.clear();
      state.onlyTroubled = false;
      break;
    case 't':
      state.onlyTroubled = !state.onlyTroubled;
      break;
    case ' ':
      state.held = !state.held;
      break;
    case '?':
    case 'h':
      state.help = true;
      break;
    default:
      scroll(state, key);
  }
  return true;
}

std::vector<TopRow> chooseRows(const Picture& picture, const TopState& state) {
  std::vector<TopRow> rows;
  const std::string wanted = lower(state.filter);
  for (const PoolState& pool : picture.pools) {
    for (const ServerState& server : pool.servers) {
      if (state.onlyTroubled && !isTroubled(server)) continue;
      const std::string text = printable(pool.name) + " " + printable(server.text) + " " + stateOf(server);
      if (lower(text).find(wanted) != std::string::npos) rows.push_back({&pool, &server});
    }
  }
  if (state.sort == SortKey::kName) {
    std::ranges::stable_sort(rows, {}, [](const TopRow& row) { return row.server->text; });
  } else if (state.sort != SortKey::kProfile) {
    std::ranges::stable_sort(rows, {}, [&](const TopRow& row) { return rankOf(*row.server, state.sort); });
  }
  if (state.reversed) std::ranges::reverse(rows);
  return rows;
}

}  // namespace nimbolsp::tools
