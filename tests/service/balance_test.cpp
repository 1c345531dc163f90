// What a poll's reply says, and what it makes of the server's load and list. The choice shows in
// allocation_test.cpp.
#include "service/balance.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

namespace nimbolsp {
namespace {

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();

TEST(Balance, ReplyIsReadBehindEighteenBytesOfAnything) {
  PollReply reply;
  std::memcpy(reply.data(), "eighteen any bytes\0\0\0\x01\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFE\x80\0\0\0", 34);
  EXPECT_EQ(decodePollReply(reply), (Statistics{1, kHighest, -2, kLowest}));
}

TEST(Balance, OneNegativeStatisticIsEnough) {
  EXPECT_FALSE(hasNegative({0, kHighest, 0, kHighest}));
  for (const Statistics& one : {Statistics{-1}, {0, -1}, {0, 0, kLowest}, {0, 0, 0, -1}}) {
    EXPECT_TRUE(hasNegative(one));
  }
}

TEST(Balance, Load) {
  const struct {
    const char* name;
    std::int32_t used, limit, load;
  } cases[] = {
      {"without a limit it is 0", 50, 0, 0},
      {"cut toward zero", -2, 3, -66},
      {"a negative limit looks idle", 30, -40, -75},
      {"the product wraps negative", 21474837, 100, 20973},
      {"the lowest product by -1 wraps", 536870912, -1, 0},
      {"cut to 16 bits", 700, 1, 4464},
  };
  for (const auto& row : cases) EXPECT_EQ(loadPercent(row.used, row.limit), row.load) << row.name;
}

TEST(Balance, AllocationList) {
  const struct {
    const char* name;
    std::int32_t divisor, dividend, bucketSize;
    int list;
  } cases[] = {
      {"divisor 0 goes to list 0", 0, 5000, 100, 0},
      {"100 is the first of list 1", 1, 100, 100, 1},
      {"the average is cut, not rounded", 2, 199, 100, 0},
      // Pins(average-wraps)
      {"40000 wraps negative", 1, 40000, 100, 0},
      {"65536 and 250 count as 250", 1, 65786, 100, 2},
      {"both negative make a positive average", -1, -500, 100, 5},
      {"the lowest by -1 wraps to a low half of 0", -1, kLowest, 1, 0},
      {"the widest bucket", 1, 32767, kHighest, 0},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(allocationListOf(row.divisor, row.dividend, row.bucketSize), row.list) << row.name;
  }
}

}  // namespace
}  // namespace nimbolsp
