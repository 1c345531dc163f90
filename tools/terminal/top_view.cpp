#include "tools/terminal/top_view.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <utility>

#include "service/balance.h"
#include "tools/polling/survey.h"
#include "tools/terminal/top_text.h"
#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

using SystemTime = std::chrono::system_clock::time_point;

constexpr std::size_t kWidestPool = 16;
constexpr std::size_t kWidestServer = 32;
constexpr std::size_t kNarrow = 100;  // columns; below, names have less room
constexpr std::size_t kPoolWhenNarrow = 8;
constexpr std::size_t kServerWhenNarrow = 21;  // 255.255.255.255:65535

const char* const kHelpLine = " q quit  s sort  r reverse  / filter  t troubled  space hold  arrows  ? help";

const char* const kHelpLines[] = {
    " q              quit",
    " s              sort by the next in turn, or at once by one of these keys:",
    " p l a f c i n    profile's order, load, answer time, failures, flaps, list,",
    "                  name",
    " r              reverse the order",
    " /              filter: part of a pool, server or state; Enter keeps, Esc drops",
    " t              only servers in trouble",
    " Esc            all servers again",
    " space          hold the picture; the polls go on",
    " Up Down PgUp PgDn Home End   scroll",
    "",
    " LIST allocation list      FLAP changes between answering and not",
    " MS   answer time in ms    FAIL failed polls      SINCE time in this state",
    " good; full: 100 % and above; odd: see the remarks; negative: a statistic is;",
    " waiting: not yet polled; unpolled: nimbolspctl had no descriptor; refused;",
    " silent: no answer in time; broken off before the whole reply; unreachable;",
    " no address: nothing to connect to",
    " Any key goes back."};

// One column: its head, its width, and the cell of a row.
struct Column {
  std::string head;
  std::size_t width;
  bool toTheRight;
  std::function<ScreenLine(const TopRow&)> cell;
};

Role roleOfState(const std::string& state) {
  if (state == "good") return Role::kGood;
  if (state == "full" || state == "odd" || state == "negative" || state == "unpolled") return Role::kWarning;
  return state == "waiting" ? Role::kDim : Role::kBad;
}

// Where a server has answered, the figure; else a dash.
ScreenLine figure(const TopRow& row, const std::string& text) {
  return row.server->isUp() ? ScreenLine{{text}} : ScreenLine{{"-", Role::kDim}};
}

std::string remarks(const TopRow& row, std::chrono::milliseconds timeout) {
  const ServerState& server = *row.server;
  if (server.polls == 0 && !server.isUnpolled()) return {};
  std::string text;
  for (const std::string& remark : remarksOf(server.endpoint, server.last, server.standing, timeout)) {
    text += (text.empty() ? "" : "; ") + remark;
  }
  return text;
}

// Deals out the width: what matters most first; what is left makes the bars longer.
class Columns {
 public:
  Columns(const Picture& picture, std::size_t width, bool unicode, SystemTime now)
      : picture_(picture), unicode_(unicode), now_(now) {
    const bool isNarrow = width < kNarrow;
    std::size_t pool = 4, server = 6;
    for (const PoolState& each : picture.pools) {
      pool = std::max(pool, printable(each.name).size());
      for (const ServerState& one : each.servers) server = std::max(server, printable(one.text).size());
    }
    pool_ = std::min(pool, isNarrow ? kPoolWhenNarrow : kWidestPool);
    server_ = std::min(server, isNarrow ? kServerWhenNarrow : kWidestServer);
    const std::size_t base = pool_ + 1 + server_ + 1 + kState + 1 + kLoad;
    left_ = width > base ? width - base : 0;
    deal();
  }

  std::vector<Column> all() const {
    const std::vector<Column> wanted{
        {"POOL", pool_, false, [](auto& row) { return ScreenLine{{printable(row.pool->name)}}; }},
        {"SERVER", server_, false, [](auto& row) { return ScreenLine{{printable(row.server->text)}}; }},
        {"STATE", kState, false,
         [](auto& row) {
           const std::string state = stateOf(*row.server);
           return ScreenLine{{state, roleOfState(state)}};
         }},
        {"", bar_, false, [this](auto& row) { return bar(row); }},
        {"LOAD", kLoad, true,
         [](auto& row) { return figure(row, std::to_string(row.server->standing.load) + "%"); }},
        {"LIST", list_, true,
         [](auto& row) { return figure(row, std::to_string(row.server->standing.list)); }},
        {"AVERAGE", average_, true,
         [](auto& row) { return figure(row, std::to_string(row.server->standing.average)); }},
        {"USED/LIMIT", used_, true,
         [](auto& row) {
           const Statistics& now = row.server->last.statistics;
           return figure(row, std::to_string(now.loadUsed) + "/" + std::to_string(now.loadLimit));
         }},
        {"MS", time_, true, [](auto& row) { return figure(row, millisecondsText(row.server->last.took)); }},
        {"FLAP", flaps_, true, [](auto& row) { return count(row.server->flaps, Role::kWarning); }},
        {"FAIL", failures_, true, [](auto& row) { return count(row.server->failures, Role::kBad); }},
        {"SINCE", since_, true,
         [this](auto& row) {
           const ServerState& server = *row.server;
           return ScreenLine{{server.polls == 0 ? "-" : durationText(now_ - server.since), Role::kDim}};
         }},
        {"HISTORY", history_, false,
         [this](auto& row) { return historyText(row.server->history, history_, unicode_); }},
        {"REMARKS", remarks_, false,
         [this](auto& row) { return ScreenLine{{printable(remarks(row, picture_.timeout))}}; }},
    };
    std::vector<Column> columns;
    std::ranges::copy_if(wanted, std::back_inserter(columns), [](auto& column) { return column.width > 0; });
    return columns;
  }

 private:
  static constexpr std::size_t kState = 11;
  static constexpr std::size_t kLoad = 6;  // -32768% is cut

  static ScreenLine count(std::uint64_t number, Role role) {
    return {{countText(number), number > 0 ? role : Role::kDim}};
  }

  ScreenLine bar(const TopRow& row) const {
    const std::int16_t load = row.server->standing.load;
    if (!row.server->isUp()) return {};
    const Role role = load >= kFullLoad ? Role::kBad : load >= kWarningLoad ? Role::kWarning : Role::kGood;
    return {{barText(load, bar_, unicode_), role}};
  }

  std::size_t take(std::size_t width) {
    if (left_ < width + 1) return 0;
    left_ -= width + 1;
    return width;
  }

  void grow(std::size_t& column, std::size_t most) {
    const std::size_t more = column == 0 ? 0 : std::min(left_, most);
    column += more;
    left_ -= more;
  }

  void deal() {
    bar_ = take(8);
    time_ = take(6);
    failures_ = take(4);
    flaps_ = take(4);
    list_ = take(4);
    since_ = take(6);
    used_ = take(13);
    remarks_ = take(24);
    history_ = take(16);
    average_ = take(7);
    grow(remarks_, 32);
    grow(bar_, 12);
    grow(history_, kHistory - 16);
    grow(remarks_, SIZE_MAX);
  }

  static constexpr std::int16_t kWarningLoad = 80;  // per cent

  const Picture& picture_;
  const bool unicode_;
  const SystemTime now_;
  std::size_t left_ = 0;
  std::size_t pool_ = 0, server_ = 0, bar_ = 0, time_ = 0, failures_ = 0, flaps_ = 0, list_ = 0, since_ = 0,
              used_ = 0, remarks_ = 0, history_ = 0, average_ = 0;
};

ScreenLine titleLine(const Picture& picture, const TopState& state, SystemTime now) {
  ScreenLine line{{"nimbolspctl top", Role::kTitle}, {"  " + printable(picture.profilePath) + "  "}};
  line.push_back({clockText(now)});
  if (state.held) line.push_back({"  HELD: press space to go on", Role::kWarning});
  return line;
}

ScreenLine serviceLine(const ServiceState& service, SystemTime now) {
  const std::string name = "Daemon " + service.address.text();
  if (!service.shortage.empty()) return {{"Daemon " + service.shortage, Role::kWarning}};
  if (service.requests == 0) return {{name}, {" has not been asked yet", Role::kDim}};
  const std::string failed =
      "; " + std::to_string(service.failures) + " of " + std::to_string(service.requests) + " failed";
  if (!service.answers) {
    return {{name},
            {" DOES NOT ANSWER, for " + durationText(now - service.since), Role::kBad},
            {failed + ": " + printable(service.last.failure)}};
  }
  const std::int64_t took = std::max<std::int64_t>(typicalTime(service).count(), 1);
  return {{name},
          {" answers", Role::kGood},
          {" in " + millisecondsText(std::chrono::microseconds(took)) +
           " ms: " + std::to_string(1'000'000 / took) + " requests/s" + failed}};
}

ScreenLine serversLine(const Picture& picture) {
  std::size_t all = 0, waiting = 0, unpolled = 0, failed = 0, full = 0;
  std::uint64_t flaps = 0;
  std::string lacking;
  for (const PoolState& pool : picture.pools) {
    for (const ServerState& server : pool.servers) {
      ++all;
      flaps += server.flaps;
      if (server.isUnpolled()) {
        ++unpolled;
        lacking = describe(server.last, picture.timeout);
      } else if (server.polls == 0) {
        ++waiting;
      } else if (!server.answers) {
        ++failed;
      } else if (!server.standing.hasRoom) {
        ++full;
      }
    }
  }
  const auto part = [](std::size_t number, const char* what, Role role) {
    return Span{std::to_string(number) + what, number > 0 ? role : Role::kDim};
  };
  ScreenLine line{
      {std::to_string(all) + (all == 1 ? " server, " : " servers, ") + std::to_string(picture.pools.size()) +
       (picture.pools.size() == 1 ? " pool: " : " pools: ")},
      part(all - waiting - unpolled - failed, " answer", Role::kGood),
      {", "},
      part(failed, " do not", Role::kBad),
      {", "},
      part(full, " full", Role::kWarning),
      {", "},
      part(flaps, " flaps", Role::kWarning)};
  if (unpolled > 0) line.push_back({", " + std::to_string(unpolled) + " " + lacking, Role::kWarning});
  if (waiting > 0) line.push_back({", " + std::to_string(waiting) + " waiting", Role::kDim});
  return line;
}

ScreenLine choiceLine(const Picture& picture, const TopState& state, std::size_t rows, std::size_t shown) {
  std::string text = "By " + std::string(kSortNames[static_cast<std::size_t>(state.sort)]) +
                     (state.reversed ? ", reversed" : "") + "; " + intervalText(picture);
  if (state.onlyTroubled) text += "; only troubled";
  const std::size_t first = rows == 0 ? 0 : state.firstRow + 1;
  text += "; rows " + std::to_string(first) + "-" + std::to_string(state.firstRow + shown) + " of " +
          std::to_string(rows);
  if (!state.editingFilter && state.filter.empty()) return {{text, Role::kDim}};
  return {{text + "; ", Role::kDim},
          {"filter: " + state.filter + (state.editingFilter ? "_" : ""), Role::kTitle}};
}

// A row's line, every cell cut or filled to its column's width.
ScreenLine lineOf(const std::vector<Column>& columns, const std::function<ScreenLine(const Column&)>& cell,
                  bool unicode) {
  ScreenLine line;
  for (const Column& column : columns) {
    ScreenLine fitted = fit(cell(column), column.width, column.toTheRight, unicode);
    if (!line.empty()) line.push_back({" "});
    std::ranges::move(fitted, std::back_inserter(line));
  }
  return line;
}

std::vector<ScreenLine> pictureLines(const Picture& picture, const TopState& state,
                                     const std::vector<TopRow>& rows, std::size_t shown, std::size_t width,
                                     SystemTime now) {
  std::vector<ScreenLine> lines{titleLine(picture, state, now), serviceLine(picture.service, now),
                                serversLine(picture), choiceLine(picture, state, rows.size(), shown)};
  const Columns dealt(picture, width, state.unicode, now);
  const std::vector<Column> columns = dealt.all();
  lines.push_back(lineOf(
      columns, [](auto& column) { return ScreenLine{{column.head}}; }, state.unicode));
  for (Span& span : lines.back()) span.role = Role::kColumns;
  for (std::size_t i = state.firstRow; i < state.firstRow + shown; ++i) {
    lines.push_back(lineOf(
        columns, [&](auto& column) { return column.cell(rows[i]); }, state.unicode));
  }
  return lines;
}

constexpr std::size_t kLinesAround = 6;  // head and help line

}  // namespace

std::vector<ScreenLine> layoutScreen(const Picture& picture, TopState& state, std::size_t width,
                                     std::size_t height, SystemTime now) {
  const std::vector<TopRow> rows = chooseRows(picture, state);
  state.page = height > kLinesAround ? height - kLinesAround : 1;
  state.firstRow = std::min(state.firstRow, rows.size() - std::min(rows.size(), state.page));
  const std::size_t shown = std::min(state.page, rows.size() - state.firstRow);
  std::vector<ScreenLine> lines = pictureLines(picture, state, rows, shown, width, now);
  if (state.help) {
    lines.resize(2);
    for (const char* line : kHelpLines) lines.push_back({{line}});
  }
  if (height > 0) lines.resize(height - 1);
  lines.push_back({{kHelpLine, Role::kDim}});
  for (ScreenLine& line : lines) line = fit(std::move(line), width, false, state.unicode);
  return lines;
}

std::string plainPicture(const Picture& picture, const TopState& state, std::size_t width, SystemTime now) {
  TopState plain = state;
  plain.firstRow = 0;
  const std::vector<TopRow> rows = chooseRows(picture, plain);
  std::string text;
  for (const ScreenLine& line : pictureLines(picture, plain, rows, rows.size(), width, now)) {
    std::string joined;
    for (const Span& span : line) joined += span.text;
    text += joined.substr(0, joined.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}

}  // namespace nimbolsp::tools
