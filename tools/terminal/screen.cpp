#include "tools/terminal/screen.h"

#define NCURSES_NOMACROS 1
#include <curses.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace nimbolsp::tools {

namespace {

constexpr int kEscapeDelay = 50;  // milliseconds between Esc and what may follow it in a key's sequence
constexpr int kEscape = 27;

enum Pair : short { kGreen = 1, kYellow, kRed };

attr_t looksOf(Role role, bool withColours) {
  const auto coloured = [withColours](Pair pair, attr_t otherwise) -> attr_t {
    return withColours ? static_cast<attr_t>(COLOR_PAIR(pair)) : otherwise;
  };
  switch (role) {
    case Role::kTitle:
      return A_BOLD;
    case Role::kColumns:
      return A_REVERSE;
    case Role::kGood:
      return coloured(kGreen, A_NORMAL);
    case Role::kWarning:
      return coloured(kYellow, A_BOLD);
    case Role::kBad:
      return coloured(kRed, A_NORMAL) | A_BOLD;
    case Role::kDim:
      return A_DIM;
    default:
      return A_NORMAL;
  }
}

int translated(int key) {
  switch (key) {
    case KEY_UP:
      return kKeyUp;
    case KEY_DOWN:
      return kKeyDown;
    case KEY_PPAGE:
      return kKeyPageUp;
    case KEY_NPAGE:
      return kKeyPageDown;
    case KEY_HOME:
      return kKeyHome;
    case KEY_END:
      return kKeyEnd;
    case KEY_ENTER:
    case '\r':
    case '\n':
      return kKeyEnter;
    case kEscape:
      return kKeyEscape;
    case KEY_BACKSPACE:
    case '\b':
    case 127:
      return kKeyBackspace;
    default:
      return key > 127 ? kKeyOther : key;
  }
}

}  // namespace

Screen::Screen(bool withColours) {
  SCREEN* terminal = newterm(nullptr, stdout, stdin);
  if (terminal == nullptr) {
    const char* kind = std::getenv("TERM");
    throw std::runtime_error("the terminal's kind, TERM=" + std::string(kind != nullptr ? kind : "") +
                             R"(, is unknown; "top --batch" needs none)");
  }
  terminal_ = terminal;
  cbreak();
  noecho();
  nonl();
  keypad(stdscr, TRUE);
  nodelay(stdscr, TRUE);
  set_escdelay(kEscapeDelay);
  curs_set(0);
  if (!withColours || !has_colors()) return;
  withColours_ = true;
  start_color();
  use_default_colors();
  init_pair(kGreen, COLOR_GREEN, -1);
  init_pair(kYellow, COLOR_YELLOW, -1);
  init_pair(kRed, COLOR_RED, -1);
}

Screen::~Screen() {
  endwin();
  delscreen(static_cast<SCREEN*>(terminal_));
}

// ncurses keeps the screen in a global; to use it takes a Screen all the same.
// NOLINTBEGIN(readability-convert-member-functions-to-static)

std::size_t Screen::width() const {
  return static_cast<std::size_t>(getmaxx(stdscr));
}

std::size_t Screen::height() const {
  return static_cast<std::size_t>(getmaxy(stdscr));
}

void Screen::draw(const std::vector<ScreenLine>& lines) {
  pollfd terminal{STDOUT_FILENO, POLLOUT, 0};
  if (poll(&terminal, 1, 0) <= 0) return;  // stopped by Ctrl-S, or not read: signals must still be taken
  erase();
  int row = 0;
  for (const ScreenLine& line : lines) {
    move(row++, 0);
    for (const Span& span : line) {
      attrset(static_cast<int>(looksOf(span.role, withColours_)));
      addstr(span.text.c_str());
    }
  }
  attrset(A_NORMAL);
  refresh();
}

std::optional<int> Screen::readKey() {
  const int key = getch();
  if (key == ERR) return std::nullopt;
  return translated(key);
}

void Screen::followSize() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 && size.ws_col > 0) {
    resizeterm(size.ws_row, size.ws_col);
  }
  clearok(stdscr, TRUE);
}

// NOLINTEND(readability-convert-member-functions-to-static)

void Screen::suspend() {
  def_prog_mode();
  endwin();
  std::raise(SIGSTOP);
  reset_prog_mode();
  followSize();
}

}  // namespace nimbolsp::tools
