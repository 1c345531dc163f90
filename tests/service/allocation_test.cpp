// Which server takes a request, what that changes, and what it tells at debug level 2.
#include "service/allocation.h"

#include <cstring>
#include <vector>

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
  void fill(const std::vector<Row>& rows) NO_THREAD_SAFETY_ANALYSIS {
    pool_ = createPool("Web", static_cast<std::int16_t>(rows.size()), 1000);
    pool_->allocationSequence = 50;
    for (std::size_t i = rows.size(); i-- > 0;) {
      PoolServer* server = &pool_->servers[i];
      const Row& row = rows[i];
      server->port = static_cast<std::int32_t>(i + 1);
      std::strcpy(server->address, std::to_string(server->port).c_str());
      server->addressLength = 1;
      server->statistics = {0, 0, row.used, row.limit};
      server->load = row.load;
      server->lastAllocation = row.lastAllocation;
      server->listIndex = static_cast<std::int16_t>(row.list);
      pushToList(row.list < 0 ? &pool_->unallocatedList : &pool_->allocationLists[row.list], server);
    }
  }

  // The text of the server that is chosen; "none".
  std::string allocate() {
    char reply[kNameSize] = "none";
    allocateServer(pool_, reply);
    return reply;
  }

  // Load, requests counted, and sequence number of the last allocation.
  std::string stateOf(const std::string& number) NO_THREAD_SAFETY_ANALYSIS {
    const PoolServer& server = pool_->servers[std::stoul(number) - 1];
    return std::to_string(server.load) + " " + std::to_string(server.statistics.loadUsed) + " " +
           std::to_string(server.lastAllocation);
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
      {"a withheld server is not searched", {{-1, 0}, {0, 99}}, "2", "99 1 50"},
      {"the request raises the load", {{0, 30, 0, 3, 10}}, "1", "40 4 50"},
      {"the highest count wraps", {{0, 0, 0, 2147483647, 1}}, "1", "0 -2147483648 50"},
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
}

TEST_F(AllocationTest, BurstFillsServersEvenlyAndThenFallsBack) {
  fill({{0, 0, 0, 0, 2}, {0, 0, 0, 0, 4}});
  std::string order;
  for (int i = 0; i < 8; ++i) order += allocate();
  EXPECT_EQ(order, "12212211");  // 50 | 25 | 50 | 100, 75 | 100 | full: the head
}

TEST_F(AllocationTest, DebugLinesOfLevelTwo) {
  const std::string candidates = " servers as possible candidates to take the request\n";
  fill({{1, 40, 7}, {1, 30, 9}, {1, 30, 5}});
  settings().debugLevel = 2;
  allocate();
  EXPECT_EQ(log(),
            "[ DEBUG ] Found 0" + candidates +
                "[ DEBUG ] [ 1 ] Server assigned to allocation list 1 with load 40%\n"
                "[ DEBUG ] [ 2 ] Server assigned to allocation list 1 with load 30%\n"
                "[ DEBUG ] [ 3 ] Server assigned to allocation list 1 with load 30%\n"
                "[ DEBUG ] Found 2" +
                candidates +
                "[ DEBUG ] [ 3 ] Because multiple possible server candidates have been found, we prefer "
                "the least recently used server (smallest allocation sequence number)\n"
                "[ DEBUG ] [ 3 ] This server will be allocated to handle this request\n");
  fill({{-1, 0}});
  allocate();
  EXPECT_TRUE(
      log().ends_with("[ 1 ] Failed to allocate the least busy server so we will allocate any server "
                      "to handle the request\n"));
  clearLog();
  settings().debugLevel = 1;
  allocate();
  EXPECT_EQ(log(), "");
}

}  // namespace
}  // namespace nimbolsp
