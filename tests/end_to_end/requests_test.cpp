// Requests to the real service: good, odd and broken ones.
#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <thread>

#include "tests/support/daemon_process.h"

namespace {

const std::string kSlow = "PollTimer=3600\r\n";

// All bytes that a value of the profile can have, up to a length.
std::string anyBytes(std::size_t length, const std::string& without) {
  std::string bytes;
  for (int value = 1; value < 256; ++value) {
    const char byte = static_cast<char>(value);
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
  for (const std::string& half : {std::string("\0", 1), std::string("\0\3we", 4)}) {
    TestClient(service_.port()).send(half);
  }
  for (const char type : {'\1', '\3', '\xFF'}) {
    TestClient client(service_.port());
    client.send(std::string{type, '\0'});
    EXPECT_TRUE(client.isReset());
  }
  const std::string bad = "Bad message type received\n";
  EXPECT_EQ(askService("web"), "3");
  EXPECT_EQ(service_.log(), "Process started\n" + bad + bad + bad);
}

TEST_F(RequestsTest, SlowClientHoldsUpTheOthersUntilItIsServed) {
  TestClient slow(service_.port()), quick(service_.port());
  quick.send(requestFor("web") + "more than is read");
  for (char byte : requestFor("web")) slow.send(std::string(1, byte));
  EXPECT_EQ(slow.receive(3), "\1\0013");
  EXPECT_EQ(quick.receive(12), "\1\01210.0.0.2:2");
}

TEST_F(RequestsTest, ClientsAtOnceShareTheServersEvenly) {
  std::mutex mutex;
  std::map<std::string, int> answers;
  std::vector<std::thread> clients;
  for (int i = 0; i < 4; ++i) {
    clients.emplace_back([&] {
      for (int n = 0; n < 75; ++n) {
        const std::string answer = askService("web");
        const std::lock_guard lock(mutex);
        ++answers[answer];
      }
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(answers, (std::map<std::string, int>{{"3", 100}, {"10.0.0.1:1", 100}, {"10.0.0.2:2", 100}}));
}

}  // namespace
