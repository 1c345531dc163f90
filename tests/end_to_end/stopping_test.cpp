// The end of the real service while its polling threads are at work, everywhere in a poll.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "tests/support/daemon_process.h"
#include "tests/support/fake_server.h"

namespace {

// Seconds whose milliseconds wrap to 8: the threads poll without a pause.
const std::string kNoPause = "PollTimer=115964117\r\n";

TEST(Stopping, EndsInOrderWhateverThePollersDo) {
  FakeServer good, resetting, silent, refusing;
  resetting.answerWith("", FakeServer::kReset);
  silent.answerWith("", FakeServer::kKeepOpen);
  refusing.refuse();
  const Descriptor full(bindPort());  // a connection to it waits for ever
  listen(full.number(), 0);
  const TestClient filling(portOf(full.number()));

  std::string servers;
  int number = 0;
  for (std::uint16_t port : {good.port(), good.port(), good.port(), resetting.port(), silent.port(),
                             refusing.port(), portOf(full.number())}) {
    servers += "Server" + std::to_string(++number) + "=" + std::to_string(port) + "\r\n";
  }
  DaemonProcess service(NIMBOLSP_PROGRAM);
  service.writeProfile("Pool1=Web\r\nDebugMode=2\r\nLogLineThreshold=100\r\n",
                       "\r\n[Web]\r\n" + kNoPause + servers);
  for (int round = 0; round < 10; ++round) {
    ASSERT_TRUE(service.startService());
    ASSERT_TRUE(good.waitForPolls(20));
    EXPECT_NE(ask(service.port(), "web"), "(no answer)");
    EXPECT_EQ(service.stopService(), 0);
    EXPECT_TRUE(service.log().ends_with("\nProcess stopped\n"));
    service.folder().write("nimbolsp-run.log", "");
  }
}

}  // namespace
