// The lists of a pool's servers: which server takes a request, what that changes and what it tells at debug
// level 2, and what a poll's reply makes of a server's load and list.
#include "service/allocation.h"

#include <cstring>
#include <vector>

#include "service/server_pool.h"
#include "tests/support/service_test.h"

namespace nimbolsp {
namespace {

// A server as the polls and allocations until now have left it.
struct Row {
  int list;  // -1: withheld
  std::int16_t load;
  std::int32_t lastAllocation = 0, used = 0, limit = 0;
};

// Nobody but the test knows its pool, so it looks at it without the lock.
class AllocationTest : public ServiceTest {
 protected:
  // Servers 1, 2, ... in their lists in this order from the head; allocation 50 is the next.
  void fill(const std::vector<Row>& rows) NIMBOXI_NO_THREAD_SAFETY_ANALYSIS {
    pool_ = createPool("Web", static_cast<std::int16_t>(rows.size()), 1000);
    pool_->allocationSequence = 50;
    for (std::size_t i = rows.size(); i-- > 0;) {
      PoolServer* server = &pool_->servers[i];
      const Row& row = rows[i];
      server->port = static_cast<std::int32_t>(i + 1);
      server->address[0] = static_cast<char>('1' + i);
      server->addressLength = 1;
      server->statistics = {0, 0, row.used, row.limit};
      server->listIndex = static_cast<std::int16_t>(row.list);
      listOf(server).pushToHead({static_cast<std::int16_t>(i), row.load, row.lastAllocation});
    }
  }

  // The text of the server that is chosen; "none".
  std::string allocate() {
    char reply[kNameSize] = "none";
    allocateServer(pool_, reply);
    return reply;
  }

  // Load, requests counted, and sequence number of the last allocation, one attempt after the filling.
  std::string stateOf(const std::string& number) NIMBOXI_NO_THREAD_SAFETY_ANALYSIS {
    PoolServer& server = pool_->servers[std::stoul(number) - 1];
    const ServerList& list = listOf(&server);
    const ServerRow row = list.row(list.placeOf(numberOf(&server)).value());
    return std::to_string(row.load) + " " + std::to_string(server.statistics.loadUsed) + " " +
           std::to_string(row.lastAllocation) + (pool_->allocationSequence == 51 ? "" : " not counted");
  }

  PoolServer* server(int number) { return &pool_->servers[static_cast<std::size_t>(number - 1)]; }

  // The servers of every list from its head, -1 for the unallocated list.
  std::string lists() NIMBOXI_NO_THREAD_SAFETY_ANALYSIS {
    std::string all;
    for (int list = -1; list < kAllocationLists; ++list) {
      const ServerList& rows = list < 0 ? pool_->unallocatedList : pool_->allocationLists[list];
      if (!rows.empty()) all += " " + std::to_string(list) + ":";
      for (std::size_t place = 0; place < rows.size(); ++place) {
        const PoolServer& at = pool_->servers[static_cast<std::size_t>(rows.row(place).number)];
        all += at.listIndex == list ? at.address : "?";
      }
    }
    return all;
  }

  void place(int number, std::int32_t average) NIMBOXI_NO_THREAD_SAFETY_ANALYSIS {
    PoolHold hold(pool_);
    placeServer(pool_, server(number), allocationListOf(1, average, 100));
  }

  ServerPool* pool_ = nullptr;
};

TEST_F(AllocationTest, Choice) {
  const struct {
    const char* name;
    std::vector<Row> servers;
    const char *chosen, *stateAfter;
  } cases[] = {
      {"of the least loaded the least recent", {{0, 40, 7}, {0, 30, 9}, {0, 30, 5}}, "3", "30 1 50"},
      {"equally recent: the first in the list", {{0, 40, 7}, {0, 30, 9}, {0, 30, 9}}, "2", "30 1 50"},
      {"a higher load is no tie", {{0, 31, 1}, {0, 30, 9}, {0, 31, 2}}, "2", "30 1 50"},
      {"a wrapped sequence number is the smallest", {{0, 0, 3}, {0, 0, -5}}, "2", "0 1 50"},
      {"the lower list wins whatever the load", {{1, 0}, {0, 95}}, "2", "95 1 50"},
      {"a full server in list 0 is passed over", {{0, 100}, {9, 99}}, "2", "99 1 50"},
      {"100 before 99 is no candidate", {{0, 100}, {0, 100}, {0, 99, 40}}, "3", "99 1 50"},
      {"a negative load beats all", {{0, 0}, {0, -3, 40}, {0, 0}}, "2", "-3 1 50"},
      {"the request raises the load", {{0, 30, 0, 3, 10}}, "1", "40 4 50"},
      {"the highest count wraps", {{0, 0, 0, INT32_MAX, 1}}, "1", "0 -2147483648 50"},
      {"all full: the lowest list's head, unchanged", {{3, 100}, {2, 120, 2}, {2, 100, 1}}, "2", "120 0 2"},
      {"all full or withheld: a full one", {{-1, 0}, {9, 101, 4}}, "2", "101 0 4"},
      {"all withheld: the one withheld last", {{-1, 70, 4, 7, 10}, {-1, 0}}, "1", "70 7 4"},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    fill(row.servers);
    EXPECT_EQ(allocate(), row.chosen);
    EXPECT_EQ(stateOf(row.chosen), row.stateAfter);
  }
  fill({});
  EXPECT_EQ(allocate(), "none");
}

TEST_F(AllocationTest, PoolsWhoseNamesHaveOneHashAreToldApart) {
  char names[][3] = {"AB", "B#", "!"};  // 65 * 31 + 66 and 66 * 31 + 35; their lowest byte
  ServerPool* pools[3];
  for (int i = 0; i < 3; ++i) pools[i] = createPool(names[i], 1, 1000);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(findPool(names[i], std::strlen(names[i])), pools[i]) << names[i];
}

TEST_F(AllocationTest, DebugLinesOfLevelTwo) {
  set(&Settings::debugLevel, 1);
  fill({{0, 0}});
  allocate();
  set(&Settings::debugLevel, 2);
  fill({{1, 30, 9}, {1, 30, 5}});
  allocate();
  EXPECT_EQ(log(), R"([ DEBUG ] Found 0 servers as possible candidates to take the request
[ DEBUG ] [ 1 ] Server assigned to allocation list 1 with load 30%
[ DEBUG ] [ 2 ] Server assigned to allocation list 1 with load 30%
[ DEBUG ] Found 2 servers as possible candidates to take the request
[ DEBUG ] [ 2 ] Because multiple possible server candidates have been found, we prefer )"
                   R"(the least recently used server (smallest allocation sequence number)
[ DEBUG ] [ 2 ] This server will be allocated to handle this request
)");
  fill({{-1, 0}});
  allocate();
  EXPECT_TRUE(
      log().ends_with("[ 1 ] Failed to allocate the least busy server so we will allocate any server "
                      "to handle the request\n"));
}

TEST_F(AllocationTest, ServersMoveToTheHeadOfAnotherList) {
  fill({{0, 0}, {0, 0}, {0, 0}});
  place(3, 50);
  EXPECT_EQ(lists(), " 0:123");
  place(3, 450);
  place(1, 499);
  EXPECT_EQ(lists(), " 0:2 4:13");
  place(3, 40000);
  EXPECT_EQ(lists(), " 0:32 4:1");
  for (int number : {2, 1, 3}) markUnavailable(server(number));
  EXPECT_EQ(lists(), " -1:312");
  place(1, 10000);
  PoolHold hold(pool_);  // a second call would wait for it
  markUnavailable(server(2));
  EXPECT_EQ(lists(), " -1:32 9:1");
}

TEST(Balance, ReplyIsReadBehindEighteenBytesOfAnything) {
  PollReply reply;
  std::memcpy(reply.data(), "eighteen any bytes\0\0\0\x01\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFE\x80\0\0\0", 34);
  EXPECT_EQ(decodePollReply(reply), (Statistics{1, INT32_MAX, -2, INT32_MIN}));
  EXPECT_FALSE(hasNegative({0, INT32_MAX, 0, INT32_MAX}));
  for (const Statistics& one : {Statistics{-1}, {0, -1}, {0, 0, INT32_MIN}, {0, 0, 0, -1}}) {
    EXPECT_TRUE(hasNegative(one)) << "one is enough";
  }
}

TEST(Balance, Load) {
  EXPECT_EQ(loadPercent(50, 0), 0) << "without a limit";
  EXPECT_EQ(loadPercent(-2, 3), -66) << "cut toward zero";
  EXPECT_EQ(loadPercent(30, -40), -75) << "a negative limit looks idle";
  EXPECT_EQ(loadPercent(21474837, 100), 20973) << "the product wraps negative";
  EXPECT_EQ(loadPercent(536870912, -1), 0) << "the lowest product by -1 wraps";
  EXPECT_EQ(loadPercent(700, 1), 4464) << "cut to 16 bits";
}

TEST(Balance, AllocationList) {
  EXPECT_EQ(allocationListOf(0, 5000, 100), 0) << "divisor 0";
  EXPECT_EQ(allocationListOf(1, 100, 100), 1);
  EXPECT_EQ(allocationListOf(2, 199, 100), 0) << "the average is cut, not rounded";
  EXPECT_EQ(allocationListOf(1, 40000, 100), 0) << "wraps negative";  // Pins(average-wraps)
  EXPECT_EQ(allocationListOf(1, 65786, 100), 2) << "65536 and 250 count as 250";
  EXPECT_EQ(allocationListOf(-1, -500, 100), 5) << "a positive average of negatives";
  EXPECT_EQ(allocationListOf(-1, INT32_MIN, 1), 0) << "the lowest by -1 wraps to a low half of 0";
  EXPECT_EQ(allocationListOf(1, 32767, INT32_MAX), 0) << "the widest bucket";
}

}  // namespace
}  // namespace nimbolsp
