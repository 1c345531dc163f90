// One run of a command by the shell, without waiting for it: its output, its end. What it has started ends
// with it, if that is still in its process group; and all of it when the run is destroyed.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "service/wire/descriptor.h"

namespace nimbolsp::tools {

inline constexpr std::size_t kLongestReport = 4096;  // bytes; of longer output one more is kept

class CommandRun {
 public:
  // Starts it; its standard error is ours. What goes wrong is the result.
  explicit CommandRun(const std::string& command);
  ~CommandRun();
  CommandRun(const CommandRun&) = delete;
  CommandRun& operator=(const CommandRun&) = delete;

  struct Result {
    std::string output;
    std::string fault;  // the end of a sentence that begins with "the command"; empty for none
  };

  // Nothing while it runs; does not wait.
  std::optional<Result> result();

 private:
  Descriptor output_;
  pid_t process_ = -1;
  std::string fault_;  // of the start
};

}  // namespace nimbolsp::tools
