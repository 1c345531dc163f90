// The terminal while "top" has it: draws lines of spans and reads keys, by ncurses. One at a time; whatever
// ends its life gives the terminal back as it was.
#pragma once

#include <optional>
#include <vector>

#include "tools/terminal/top_view.h"

namespace nimbolsp::tools {

class Screen {
 public:
  // Takes the terminal of standard input and output. Throws std::runtime_error with a sentence when its kind
  // is unknown.
  explicit Screen(bool withColours);
  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  std::size_t width() const;
  std::size_t height() const;

  void draw(const std::vector<ScreenLine>& lines);

  // The next key that was pressed, a character or a TopKey; none when there is none now.
  std::optional<int> readKey();

  // Takes over the terminal's new size.
  void followSize();

  // Gives the terminal back, stops this process, and takes the terminal again once it goes on.
  void suspend();

 private:
  void* terminal_ = nullptr;
  bool withColours_ = false;
};

}  // namespace nimbolsp::tools
