// Where a full log is cut, in whatever pieces it is read.
#include "service/log_trim.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace nimbolsp {
namespace {

TEST(LogTrim, CutPoint) {
  const struct {
    const char* name;
    std::int32_t threshold;
    std::string text;
    std::int64_t cut;
  } cases[] = {
      {"threshold 1 never cuts", 1, "a\nb\nc\n", 0},
      {"an unterminated last line does not count", 2, "one\ntwo", 0},
      {"an unterminated line behind the threshold", 2, "one\ntwo\nthree", 4},
      {"threshold 3 drops one line", 3, "a\nb\nc\n", 2},
      {"empty lines count, a lone CR and a NUL do not", 3, std::string("\r\0\n\n\n", 5), 3},
      {"a line of more than 511 bytes counts once", 2, std::string(5000, 'x') + "\ny\n", 5001},
  };
  for (const auto& row : cases) {
    for (std::size_t pieceSize : {1u, 2u, 511u, 100000u}) {
      SCOPED_TRACE(std::string(row.name) + ", in pieces of " + std::to_string(pieceSize));
      LogTrim trim(row.threshold);
      std::size_t at = 0;
      while (at < row.text.size() && trim.feed(row.text.substr(at, pieceSize))) at += pieceSize;
      EXPECT_EQ(trim.cutPoint(), row.cut);
    }
  }
}

}  // namespace
}  // namespace nimbolsp
