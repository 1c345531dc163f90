// The examples of docs/examples, which need python3: a front end and a server that meet through the real
// service.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/daemon_process.h"
#include "tests/support/eventually.h"

namespace {

TEST(ExamplesTest, FrontEndReachesTheServerThatLives) {
  if (std::system("command -v python3 >/dev/null") != 0) GTEST_SKIP() << "needs python3";
  DaemonProcess service(NIMBOLSP_PROGRAM), server(NIMBOLSP_EXAMPLES "/server.py"),
      frontEnd(NIMBOLSP_EXAMPLES "/front_end.py");
  const std::string port = std::to_string(server.port()), dead = std::to_string(frontEnd.port());
  service.writeProfile("Pool1=Web\r\nDebugMode=1\r\n", "\r\n[Web]\r\nPollTimer=1\r\nServer1=127.0.0.1:" +
                                                           dead + "\r\nServer2=" + port + "\r\n");
  const auto bring = [&](const std::string& pool) {
    return frontEnd.run({pool, "hello", std::to_string(service.port())});
  };
  server.spawn({"server.py", port});
  ASSERT_TRUE(eventually([&] { return TestClient(server.port()).connected(); }));
  ASSERT_TRUE(service.startService());
  for (int visit = 0; visit < 2; ++visit) {  // the second is first given the server that is dead
    EXPECT_EQ(bring("Web"), 0);
    EXPECT_EQ(frontEnd.output(), "olleh\n");
  }
  EXPECT_TRUE(eventually([&] { return service.log().find(port + " ] Load: 0%") != std::string::npos; }));
  EXPECT_EQ(bring("Mail"), 1);
}

}  // namespace
