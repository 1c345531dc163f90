// Where to cut a log file that has grown to its threshold: counts lines, knows no file. Pure.
#pragma once

#include <cstdint>
#include <string_view>

namespace nimbolsp {

// Feed it the file's bytes from the start, piece by piece, until it wants no more.
class LogTrim {
 public:
  // threshold: the number of lines, at least 1, at which the file is full
  explicit LogTrim(std::int32_t threshold) : threshold_(threshold) {}

  // Counts the complete lines of the next bytes. False once the file is known to be full.
  bool feed(std::string_view bytes);

  // The offset in bytes from which the file is kept; 0 when it is kept whole.
  std::int64_t cutPoint() const { return full_ ? halfPoint_ : 0; }

 private:
  std::int32_t threshold_;
  std::int32_t lines_ = 0;
  std::int64_t offset_ = 0;
  std::int64_t halfPoint_ = 0;  // just after line threshold / 2
  bool full_ = false;
};

}  // namespace nimbolsp
