#include "service/log_trim.h"

namespace nimbolsp {

bool LogTrim::feed(std::string_view bytes) {
  for (char byte : bytes) {
    ++offset_;
    if (byte != '\n') continue;
    ++lines_;
    // Required(threshold-one): with a threshold of 1 the half is 0, no line reaches it, and the file grows
    // without limit.
    if (lines_ == threshold_ / 2) {
      halfPoint_ = offset_;
    } else if (lines_ == threshold_) {
      full_ = true;
      return false;
    }
  }
  return true;
}

}  // namespace nimbolsp
