// What an operator sees of running servers and of the running service: the survey, the ping, the wait for the
// first polls, and the live picture.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/daemon_process.h"
#include "tests/support/fake_server.h"
#include "tests/support/temp_folder.h"
#include "tools/commands/command.h"
#include "tools/polling/survey.h"

namespace nimbolsp::tools {
namespace {

using std::chrono::milliseconds;

// Runs the companion in a folder. Returns its status; what it told is in the file "output" there.
int companion(const TempFolder& folder, const std::string& arguments) {
  const std::string start = "cd " + folder.path() + "; exec >output 2>&1; " NIMBOLSPCTL_PROGRAM " ";
  return WEXITSTATUS(std::system((start + arguments).c_str()));
}

TEST(Survey, PollsADestinationOnceAndTellsWhatIsOdd) {
  FakeServer server({0, 0, 50, 40});
  const std::string port = std::to_string(server.port());
  const auto entry = [](const std::string& text) { return ServerEntry{text, parseServerEntry(text)}; };
  const PoolEntry pool{"a\x1B", 0, {entry(port), entry("0"), entry("localhost:1")}};
  const Survey survey = takeSurvey({pool, {"b", 0, {entry(server.entry())}}}, 100, milliseconds(30'000), -1);
  EXPECT_EQ(server.polls(), 1);
  const std::pair<std::size_t, const char*> told[] = {
      {0, "listed 2 times: the service counts each entry apart"},
      {0, "divisor 0: list 0, whatever the dividend"},
      {0, "full: handed out only when no server has room"},
      {1, "the port counts as 0: never reached"},
      {2, "the address is no dotted IPv4 address: never reached"}};
  for (const auto& [row, remark] : told) {
    EXPECT_EQ(std::ranges::count(survey.servers[row].remarks, remark), 1) << remark;
  }
  EXPECT_NE(surveyTable(survey).find("\nA\\x1b  "), std::string::npos);
  EXPECT_NE(surveyTable(survey).find("4 servers: 2 answered, 2 did not\n"), std::string::npos);
}

TEST(LiveProgram, TellsWhatIsSeenAndExitsWithItsStatus) {
  FakeServer good, negative({-1, 0, 0, 100});
  const Descriptor refusing(bindPort());
  const std::string dead = "127.0.0.1:" + std::to_string(portOf(refusing.number()));
  const TempFolder folder;
  const std::string pool = "Pool1=p\r\n\r\n[p]\r\nServer1=" + good.entry() + "\r\n";
  folder.write("one.ini", "[Setup]\r\nPort=1\r\n" + pool);
  folder.write("half.ini", "[Setup]\r\nPort=1\r\nPool2=q\r\n" + pool);
  folder.write("none.ini", "[Setup]\r\nPort=1\r\n");
  const struct {
    std::string arguments;
    int status;
    const char* told;
  } cases[] = {
      {"servers one.ini", kDone, "1 server: 1 answered, 0 did not\n"},
      {"servers --profile half.ini", kDone, "the service would not start with half.ini"},
      {"servers none.ini", kWrongCommandLine, "none.ini names no server"},
      {"servers one.ini two.ini", kWrongCommandLine, "\"one.ini\" is no ADDRESS:PORT"},
      {"servers 127.0.0.1:65536 one.ini", kWrongCommandLine, "\"127.0.0.1:65536\" is no ADDRESS:PORT"},
      {"servers " + good.entry() + " " + dead, 1, "Connection refused"},
      {"servers --json " + good.entry() + " " + negative.entry(), 1, "\"answered\":2,\"well\":1,"},
      {"servers " + dead, 2, "0 answered, 1 did not"},
      {"ping --profile one.ini --wait 0.15", kServiceFailed, "cannot connect to 127.0.0.1:1:"},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(companion(folder, row.arguments), row.status) << row.arguments;
    EXPECT_NE(folder.read("output").find(row.told), std::string::npos) << folder.read("output");
  }
}

TEST(LiveProgram, WaitsForTheFirstPollsOfTheServiceThatRuns) {
  FakeServer server;
  DaemonProcess service(NIMBOLSP_PROGRAM);
  service.writeProfile("Pool1=p\r\n", "[p]\r\nServer1=" + server.entry() + "\r\nPollTimer=1\r\n");
  const TempFolder& folder = service.folder();
  EXPECT_EQ(companion(folder, "wait --polled --pid 999999999"), kServiceFailed);
  EXPECT_EQ(companion(folder, "wait --polled --timeout 1"), 1);
  ASSERT_TRUE(service.startService());
  EXPECT_EQ(companion(folder, "ping"), kDone);
  EXPECT_EQ(companion(folder, "wait --polled"), kDone) << folder.read("output");
  EXPECT_GE(server.polls(), 2);  // its own, and the service's
  EXPECT_EQ(companion(folder, "wait --polled --pid " + std::to_string(service.pid())), kDone);
  EXPECT_EQ(service.stopService(), 0);
}

}  // namespace
}  // namespace nimbolsp::tools
