// What the profile says: numbers right and wrong, the settings, the servers, and where loading them ends. The
// polling threads that it starts sleep for longer than any test lives. A profile's errors show end to end.
#include <arpa/inet.h>
#include <pthread.h>

#include <algorithm>

#include "service/pool_loader.h"
#include "service/resources/string_table.h"
#include "service/wire/server_entry.h"
#include "tests/support/eventually.h"
#include "tests/support/service_test.h"

namespace nimbolsp {
namespace {

class ProfileTest : public ServiceTest {
 protected:
  // Loads these pools and a section "P" of these lines, and waits until each of `threads` threads has told
  // its start and sleeps.
  std::uint32_t load(const std::string& pools, const std::string& servers, int threads) {
    set(&Settings::debugLevel, 1);
    set(&Settings::logLineThreshold, 100000);
    set(&Settings::profilePath,
        folder_.write(std::to_string(threads) + ".ini",
                      "[Setup]\r\nPort=1\r\n" + pools + "\r\n[P]\r\nPollTimer=3600\r\n" + servers));
    clearLog();
    const std::uint32_t error = loadPools();
    EXPECT_TRUE(eventually([&] { return std::ranges::count(rawLog(), '\n') == threads; })) << rawLog();
    return error;
  }
};

// Keys "stem1" to "stem<count>" with a value.
std::string keys(const std::string& stem, int count, const std::string& value) {
  std::string lines;
  for (int i = 1; i <= count; ++i) lines += stem + std::to_string(i) + "=" + value + "\r\n";
  return lines;
}

TEST(ProfileKeys, NumbersOutOfTheirLimits) {
  EXPECT_EQ(keyNumber(kPort, "70000x"), 70000);
  EXPECT_EQ(keyNumber(kLogLineThreshold, "0"), 256);
  EXPECT_EQ(keyNumber(kBucketSize, "3000000000"), 100);
  EXPECT_EQ(keyNumber(kDebugMode, "65537"), 1);
  for (const char* value : {"0", "536870912"}) EXPECT_EQ(keyNumber(kPollTimer, value), 30000) << value;
  EXPECT_EQ(keyNumber(kPollTimer, "3000000"), -1294967296);
}

TEST(ServerEntry, SplitAtTheFirstColon) {
  const auto split = [](const char* entry) {
    const ServerEndpoint endpoint = parseServerEntry(entry);
    return inet_ntoa({endpoint.ipAddress}) + (" " + std::to_string(endpoint.port));
  };
  EXPECT_EQ(split("10.0.0.5:5912"), "10.0.0.5 5912");
  EXPECT_EQ(split("dbhost:5912"), "255.255.255.255 5912");
  EXPECT_EQ(split("10.0.0.5:80:90"), "10.0.0.5 80");
  EXPECT_EQ(split("10.0.0.5: \t+70000x") + split("10.0.0.5:- 5"), "10.0.0.5 7000010.0.0.5 0");
  EXPECT_EQ(split("-5") + split("") + split("2147483649"), "0.0.0.0 -50.0.0.0 00.0.0.0 -2147483647");
}

TEST_F(ProfileTest, SettingsAreReadByTheirKeys) {
  folder_.write("program.ini", "[Setup]\nLogLineThreshold=1\nQuietMode=-1\nBucketSize=3\nDebugMode=65540\n");
  const Settings all = readSettings(folder_.file("program"), "-Word");
  EXPECT_EQ(all.logFilePath, folder_.file("program-Word.log"));
  EXPECT_TRUE(all.quietMode && all.logLineThreshold == 1 && all.bucketSize == 3 && all.debugLevel == 4);
  EXPECT_FALSE(readSettings(folder_.file("no program"), "").quietMode);
}

TEST_F(ProfileTest, Of70PoolsAnd300ServersTheFirst64And256AreLoadedOrThoseBeforeAGap) {
  EXPECT_EQ(load(keys("Pool", 70, "P"), keys("Server", 2, "7") + "Server4=8\r\n", 64 * 2), 0u);
  EXPECT_EQ(load("Pool1=P\r\nPool3=P\r\n", keys("Server", 300, "7"), 256), 0u);
  EXPECT_EQ(poolList->servers[255].port, 7);
}

TEST_F(ProfileTest, ThreadThatCannotBeStartedEndsTheLoading) {
  pthread_attr_t usual, impossible;
  ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
  ASSERT_EQ(pthread_attr_init(&impossible) + pthread_attr_setstacksize(&impossible, std::size_t{1} << 47), 0);
  ASSERT_EQ(pthread_setattr_default_np(&impossible), 0);
  EXPECT_EQ(load(keys("Pool", 2, "P"), "Server1=1\r\n", 0), std::uint32_t{kStringThreadFailed});
  pthread_setattr_default_np(&usual);
  EXPECT_TRUE(poolList != nullptr && poolList->next == nullptr) << "what was loaded until then stays";
}

}  // namespace
}  // namespace nimbolsp
