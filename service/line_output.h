// Lines for what may stop taking them: a terminal, a pipe, a socket. It is waited for once; then what is
// meant for it is dropped until it takes lines again, and none of its lines is ever torn. The log owns those
// there are, and its lock guards them.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace nimbolsp {

class LineOutput {
 public:
  // patience: how long a descriptor that takes nothing is waited for
  explicit LineOutput(std::chrono::milliseconds patience) : patience_(patience) {}

  // Writes whole lines, each with its newline, at once.
  //   descriptor  open for writing, of any kind; other processes may share it, so its flags stay as they are
  // Blocks for the patience at most, and not at all while the descriptor has not taken the lines before.
  void write(int descriptor, std::string_view lines);

 private:
  std::chrono::milliseconds patience_;
  std::string rest_;    // of a line that went out in part; comes before the next
  bool stuck_ = false;  // it did not take the lines before
};

}  // namespace nimbolsp
