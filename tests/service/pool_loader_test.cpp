// Loading the pools of a profile: what is counted, and where it ends. The polling threads that it starts
// sleep for longer than any test lives. The errors of a profile show in the end-to-end tests.
#include "service/pool_loader.h"

#include <arpa/inet.h>
#include <pthread.h>

#include <algorithm>

#include "service/reports.h"
#include "service/resources/string_table.h"
#include "tests/support/eventually.h"
#include "tests/support/service_test.h"

namespace nimbolsp {
namespace {

class PoolLoaderTest : public ServiceTest {
 protected:
  PoolLoaderTest() {
    set(&Settings::debugLevel, 1);
    set(&Settings::logLineThreshold, 100000);
  }

  // Loads pools "P" of a section "P" with these lines, and waits until each of `threads` threads has told its
  // start and sleeps.
  std::uint32_t load(const std::string& pools, const std::string& servers, int threads) {
    set(&Settings::profilePath, folder_.write("profile.ini", "[Setup]\r\nPort=1\r\n" + pools +
                                                                 "\r\n[P]\r\nPollTimer=3600\r\n" + servers));
    const std::uint32_t error = loadPools();
    EXPECT_TRUE(eventually([&] { return std::ranges::count(rawLog(), '\n') == threads; })) << rawLog();
    logText("the lock is free");  // the last of them has let go of it
    return error;
  }

  static int poolCount() {
    int count = 0;
    for (const ServerPool* pool = poolList; pool != nullptr; pool = pool->next) ++count;
    return count;
  }
};

// Keys "stem1" to "stem<count>" with a value.
std::string keys(const std::string& stem, int count, const std::string& value) {
  std::string lines;
  for (int i = 1; i <= count; ++i) lines += stem + std::to_string(i) + "=" + value + "\r\n";
  return lines;
}

TEST(ServerEntry, SplitAtTheFirstColon) {
  const struct {
    const char *entry, *address;
    std::int32_t port;
  } cases[] = {{"10.0.0.5:5912", "10.0.0.5", 5912},
               {"dbhost:5912", "255.255.255.255", 5912},
               {":5912", "255.255.255.255", 5912},
               {"10.0.0.5:80:90", "10.0.0.5", 80},
               {"10.0.0.5: \t70000x", "10.0.0.5", 70000},
               {"10.0.0.5:- 5", "10.0.0.5", 0},
               {"-5", "0.0.0.0", -5},
               {"4294967297", "0.0.0.0", 1},
               {"", "0.0.0.0", 0},
               {"2147483649", "0.0.0.0", -2147483647}};
  for (const auto& row : cases) {
    const ServerEndpoint endpoint = parseServerEntry(row.entry);
    EXPECT_STREQ(inet_ntoa({endpoint.ipAddress}), row.address) << row.entry;
    EXPECT_EQ(endpoint.port, row.port) << row.entry;
  }
}

TEST_F(PoolLoaderTest, Of70PoolsTheFirst64AreLoadedAndAGapEndsTheServers) {
  EXPECT_EQ(load(keys("Pool", 70, "P"), keys("Server", 2, "7") + "Server4=8\r\n", 128), 0u);
  EXPECT_EQ(poolCount(), 64);
  EXPECT_EQ(poolList->serverCount, 2);
}

TEST_F(PoolLoaderTest, Of300ServersTheFirst256AreLoadedAndAGapEndsThePools) {
  EXPECT_EQ(load("Pool1=P\r\nPool3=P\r\n", keys("Server", 300, "7"), 256), 0u);
  EXPECT_EQ(poolCount(), 1);
  EXPECT_EQ(poolList->servers[255].port, 7);
}

TEST_F(PoolLoaderTest, ThreadThatCannotBeStartedEndsTheLoading) {
  pthread_attr_t usual, impossible;
  ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
  pthread_attr_init(&impossible);
  ASSERT_EQ(pthread_attr_setstacksize(&impossible, std::size_t{1} << 47), 0);
  ASSERT_EQ(pthread_setattr_default_np(&impossible), 0);
  EXPECT_EQ(load("Pool1=P\r\n", "Server1=1\r\n", 0), std::uint32_t{kStringThreadFailed});
  pthread_setattr_default_np(&usual);
  EXPECT_EQ(poolCount(), 1) << "what was loaded until then stays";
}

}  // namespace
}  // namespace nimbolsp
