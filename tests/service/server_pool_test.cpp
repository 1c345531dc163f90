// Pools: which list holds a server, and the end of a pool while threads use it.
#include "service/server_pool.h"

#include <thread>
#include <vector>

#include "service/allocation.h"
#include "service/poller.h"
#include "tests/support/fake_server.h"
#include "tests/support/service_test.h"

namespace nimbolsp {
namespace {

// Nobody but the test knows its pool, so it looks at it without the lock.
class ServerPoolTest : public ServiceTest {
 protected:
  // Servers 1 to 3, filed in list 0 in this order from the head.
  ServerPoolTest() NO_THREAD_SAFETY_ANALYSIS {
    for (int i = 3; i >= 1; --i) pushToList(&pool_->allocationLists[0], server(i));
  }

  PoolServer* server(int number) { return &pool_->servers[static_cast<std::size_t>(number - 1)]; }

  // The servers of a list, from its head; -1 is the unallocated list.
  std::string listed(int list) NO_THREAD_SAFETY_ANALYSIS {
    std::string numbers;
    PoolServer* at = list < 0 ? pool_->unallocatedList : pool_->allocationLists[list];
    for (; at != nullptr; at = at->next) {
      EXPECT_EQ(at->listIndex, list);
      numbers += std::to_string(at - pool_->servers.get() + 1);
    }
    return numbers;
  }

  void place(int number, std::int32_t average) NO_THREAD_SAFETY_ANALYSIS {
    PoolHold hold(pool_);
    server(number)->statistics = {1, average, 0, 0};
    placeServer(pool_, server(number));
  }

  ServerPool* pool_ = createPool("Web", 3, 1000);
};

TEST_F(ServerPoolTest, MarkUnavailableMovesOnceToTheHeadOfTheUnallocated) {
  for (int number : {2, 1, 3}) markUnavailable(server(number));
  EXPECT_EQ(listed(0), "");
  EXPECT_EQ(listed(-1), "312");
  PoolHold hold(pool_);  // a second call would wait for it
  markUnavailable(server(2));
  EXPECT_EQ(listed(-1), "312");
}

TEST_F(ServerPoolTest, PlaceServerMovesToTheHeadUnlessTheListIsTheSame) {
  place(3, 50);
  EXPECT_EQ(listed(0), "123") << "the same list: not moved";
  place(3, 450);
  place(1, 499);
  EXPECT_EQ(listed(0) + " " + listed(4), "2 13");
  place(3, 40000);
  EXPECT_EQ(listed(0) + " " + listed(4), "32 1");
  markUnavailable(server(3));
  markUnavailable(server(2));
  place(3, 10000);
  EXPECT_EQ(listed(-1) + " " + listed(9), "2 3");
}

TEST_F(ServerPoolTest, PoolsEndWhileTheirThreadsPoll) {
  FakeServer good({1, 100, 3, 10}), bad;
  bad.answerWith("no reply");
  std::vector<std::thread> threads;
  for (int i = 1; i <= 3; ++i) {
    server(i)->port = i < 3 ? good.port() : bad.port();
    ASSERT_TRUE(pool_->users.tryUse());
    threads.emplace_back([pool = pool_, polled = server(i)] {
      while (!stopPolling) pollServer(polled);
      letGoOfPool(pool);
    });
  }
  char reply[kNameSize];
  while (good.polls() < 20 || bad.polls() < 5) allocateServer(pool_, reply);
  destroyAllPools();
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace nimbolsp
