// Counting answers and showing them: order, shares, harmless text.
#include "tools/answer_count.h"

#include <gtest/gtest.h>

namespace nimbolsp::tools {

TEST(AnswerCount, SortsByCountThenByTextAndTellsShares) {
  AnswerCount count;
  EXPECT_EQ(count.table(false), "ANSWERS  SHARE  SERVER\n");
  for (const char* server : {"c:1", "a:1", "b:1", "b:1", "", ""}) count.add(server);
  EXPECT_EQ(count.plainLines(), "2 (no server)\n2 b:1\n1 a:1\n1 c:1\n");
  EXPECT_EQ(count.withoutServer(), 2u);
  count.addFailedVisit("a:1");
  EXPECT_NE(count.table(true).find("      1  16.7%              1  a:1\n"), std::string::npos);
}

TEST(AnswerCount, TextOfThePeerCannotSteerTheTerminal) {
  AnswerCount count;
  count.add("a\x1B[2J\n9 b");
  EXPECT_EQ(count.plainLines(), "1 a\\x1b[2J\\x0a9 b\n");
}

}  // namespace nimbolsp::tools
