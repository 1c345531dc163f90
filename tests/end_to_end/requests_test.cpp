// Requests to the real service: good, odd and broken ones, and a bounded number of hostile ones:
// NIMBOLSP_HOSTILE_COUNT, 2000 without it.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <random>
#include <thread>

#include "tests/support/daemon_process.h"
#include "tests/support/eventually.h"

namespace {

const std::string kSlow = "PollTimer=4294967\r\n";  // nearly the most milliseconds there are

// All bytes that a value of the profile can have, up to a length.
std::string anyBytes(std::size_t length, const std::string& without) {
  std::string bytes;
  for (char byte = 1; byte != 0; ++byte) {
    if (without.find(byte) == std::string::npos) bytes += byte;
  }
  bytes.resize(length, 'z');
  return bytes;
}

class RequestsTest : public testing::Test {
 protected:
  RequestsTest() {
    service_.writeProfile("Pool1=Web\r\nPool2=B\xFCro\r\nPool3=" + longName_ + "\r\n",
                          "\r\n[Web]\r\nServer1=10.0.0.1:1\r\nServer2=10.0.0.2:2\r\nServer3=3\r\n" + kSlow +
                              "\r\n[B\xFCro]\r\nServer1=" + longText_ + "\r\n" + kSlow + "\r\n[" + longName_ +
                              "]\r\nServer1=long\r\n" + kSlow);
    EXPECT_TRUE(service_.startService());
  }
  ~RequestsTest() override { EXPECT_EQ(service_.stopService(), 0); }

  std::string askService(const std::string& pool) const { return ask(service_.port(), pool); }

  const std::string longName_ = anyBytes(255, "\r\n]");
  const std::string longText_ = anyBytes(300, "\r\n");  // cut to 255
  DaemonProcess service_{NIMBOLSP_PROGRAM};
};

TEST_F(RequestsTest, AnswerIsTheTextAsConfigured) {
  const struct {
    const char* name;
    std::string pool, answer;
  } cases[] = {
      {"the last server first", "WEB", "3"},
      {"then the next in the list", "web", "10.0.0.2:2"},
      {"an unknown pool", "Mail", ""},
      {"a shorter name", "We", ""},
      {"a longer name", "Webs", ""},
      {"an empty name", "", ""},
      {"a name with a NUL", std::string("Web\0", 4), ""},
      {"another letter of the code page", "b\xDCRO", longText_.substr(0, 255)},
      {"a name of 255 bytes", longName_, "long"},
  };
  for (const auto& row : cases) EXPECT_EQ(askService(row.pool), row.answer) << row.name;
}

TEST_F(RequestsTest, BadMessageTypeIsReportedAndResetAndHalfARequestDroppedSilently) {
  for (std::size_t size : {1U, 4U}) TestClient(service_.port()).send(requestFor("web").substr(0, size));
  for (const char type : {'\1', '\3', '\xFF'}) {
    TestClient client(service_.port());
    client.send(std::string{type, '\0'});
    EXPECT_TRUE(client.isReset());
  }
  const std::string bad = "Bad message type received\n";
  EXPECT_EQ(askService("web"), "3");
  EXPECT_EQ(service_.log(), "Process started\n" + bad + bad + bad);
}

// One hostile connection: half a request or none, or random bytes, or gone before the answer. Never a stop.
void attack(std::uint16_t port, std::mt19937& random) {
  TestClient client(port);
  std::string bytes = requestFor("web");
  if (random() % 2 == 0) bytes.resize(random() % 300);
  if (random() % 2 == 0) std::ranges::generate(bytes, [&] { return static_cast<char>(random()); });
  if (bytes.starts_with('\2')) bytes[0] = 0;
  client.send(bytes.substr(0, random() % 3 == 0 ? 1 : bytes.size()));
  if (random() % 2 == 0) client.reset();
}

TEST_F(RequestsTest, HostileClientsLeaveNothingBehind) {
  ASSERT_EQ(askService("web"), "3");
  const std::ptrdiff_t before = service_.descriptors();
  const char* count = std::getenv("NIMBOLSP_HOSTILE_COUNT");
  std::atomic<int> left = count == nullptr ? 2000 : std::atoi(count);
  std::vector<std::jthread> clients;
  for (unsigned int seed = 1; seed <= 3; ++seed) {  // each has two connections in the queue at the most
    clients.emplace_back([&, seed] {
      std::mt19937 random(seed);
      while (left-- > 0) {
        attack(service_.port(), random);
        EXPECT_NE(askService("web"), "(no answer)");
      }
    });
  }
  clients.clear();
  EXPECT_TRUE(eventually([&] { return service_.descriptors() <= before; }));
}

}  // namespace
