// What answers polls beside a server that does not: the words of a source, and the program with each source.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "tests/support/fake_server.h"
#include "tests/support/temp_folder.h"
#include "tools/load_report.h"
#include "tools/tcp_table.h"

namespace nimbolsp::tools {
namespace {

TEST(LoadReport, ReadsWordsAndKeepsToWhatTheServiceUnderstands) {
  const struct {
    const char* words;
    LoadReport report;
  } good[] = {
      {" used=3\nlimit=50\tratio=1000/3 ", {3, 50, 333, false}},
      {"used=3 average=40", {3, 9, 40, false}},
      {"drain", {0, 9, 0, true}},
      {"used=7 ratio=5/0", {7, 9, 0, false}},
      {"used=4000000000 limit=8000000000", {4'000'000'000 / 373, 8'000'000'000 / 373, 0, false}},
      {"used=1000000 limit=1 average=40000", {300, 1, 32767, false}},
  };
  for (const auto& row : good) EXPECT_EQ(parseLoadReport(row.words, 9), row.report) << row.words;
  for (const char* words :
       {"", "limit=3", "used", "used=", "used=-1", "used=0.5", "used=9x", "used=1 limit=0", "used=1 used=1",
        "used=1 =", "used=1 ratio=5", "used=1 ratio=5/", "used=1 average=1 ratio=1/1", "used=1 lmit=5",
        "used=99999999999999999999", "used=1 drain=1"}) {
    EXPECT_THROW(parseLoadReport(words, 9), std::invalid_argument) << words;
  }
  EXPECT_THROW(parseLoadReport("used=1", 0), std::invalid_argument);
}

TEST(TcpTable, FindsEveryKindOfAddressOnce) {
  const TempFolder folder;
  const std::string table = folder.write(
      "tcp",
      "  sl  local_address rem_address   st\n"
      "   0: 0B00007F:1F90 00000000:0000 0A 00000000:00000000 00:00000000 00000000  33  0 7001 1 0\n"
      "   1: 0000000000000000FFFF00000B00007F:1F90 0000000000000000FFFF00000B00007F:D431 01 "
      "00000000:00000000 02:00000000 00000000  33  0 7002 1 0\n"
      "12345: 00000000000000000000000000000000:FFFF 00000000000000000000000000000000:0000 0A "
      "00000000:00000000 00:00000000 00000000  33  0 4294967296 1 0\n"
      "   3: 00000000000000000000000001000000:0050 00000000000000000000000001000000:0051 06 "
      "00000000:00000000 00:00000000 00000000  33  0 0 1 0\n"
      "5: 00000000FFFF0000B00007F01:1F90 00000000:0000 0A 0:0 0:0 0 0 0 1\n"  // of no family
      "cut short: 0B0000");
  std::string found;
  forEachTcpSocket(table, [&found](const TcpTableRow& s) {
    char text[64];
    std::snprintf(text, sizeof text, "%08X %u %d %llu\n", s.address, s.port, s.state,
                  static_cast<unsigned long long>(s.number));
    found += text;
  });
  EXPECT_EQ(found,
            "0B00007F 8080 10 7001\n0B00007F 8080 1 7002\n00000000 65535 10 4294967296\n"
            "FFFFFFFF 80 6 0\n");
}

// The program with some options, on a free port, from here to the end of the scope.
class Responding {
 public:
  explicit Responding(const std::string& options) {
    const std::string command =
        "trap '' CHLD; exec " NIMBOLSPCTL_PROGRAM " respond --listen 0 --every 0.1 " + options;
    output_ = popen(("echo $$; " + command + " 2>&1").c_str(), "re");
    process_ = std::stoi(line());
    port_ = static_cast<std::uint16_t>(std::stoi(line().substr(sizeof "at 127.0.0.1")));
  }
  Responding(const Responding&) = delete;
  ~Responding() {
    kill(process_, SIGTERM);
    std::string last;
    for (char text[512]; std::fgets(text, sizeof text, output_) != nullptr;) last = text;
    EXPECT_EQ(pclose(output_), 0) << last;
  }

  std::string line() {
    char text[512] = "";
    EXPECT_NE(std::fgets(text, sizeof text, output_), nullptr);
    return text;
  }
  // Whether it soon does so with a poll.
  bool says(const Statistics& statistics) const { return saysBytes(bytesOf(encodePollReply(statistics))); }
  bool refuses() const { return saysBytes(""); }

 private:
  bool saysBytes(const std::string& wanted) const {
    return eventually([&] {
      TestClient client(port_);
      if (!client.connected()) return wanted.empty();
      client.send(bytesOf(encodePollRequest()));
      return client.receive(2 * kPollReplySize) == wanted;
    });
  }

  FILE* output_;
  pid_t process_;
  std::uint16_t port_;
};

TEST(Respond, TellsWhatAFileSaysWhileItIsYoungAndIsDrainedByAFile) {
  const TempFolder folder;
  Responding program("--max-age 60 --warm-up 86400 --file " + folder.file("load") + " --drain-file " +
                     folder.file("drain"));
  EXPECT_NE(program.line().find("polls are refused: "), std::string::npos);
  EXPECT_TRUE(program.refuses());
  folder.write("load", "used=50 limit=100 average=7");
  EXPECT_TRUE(program.says({1, 7, 99, 100}));  // warms up from full
  EXPECT_EQ(program.line(), "answering\n");
  folder.write("drain", "");
  EXPECT_TRUE(program.says({1, 32767, 100, 100}));
  EXPECT_EQ(program.line().substr(0, 8), "drained:");
  using namespace std::filesystem;
  last_write_time(folder.file("load"), file_time_type::clock::now() - std::chrono::seconds(62));
  EXPECT_TRUE(program.refuses());
  EXPECT_NE(program.line().find("/load is older than 60 s\n"), std::string::npos);
}

TEST(Respond, TellsWhatACommandPrintsUnlessItFailsOrHangs) {
  const TempFolder folder;
  const std::string load = folder.write("load", "echo used=1");
  Responding program("--limit 4 --max-age 0.3 --command '. " + load + "'");
  EXPECT_TRUE(program.says({1, 0, 1, 4}));
  for (const char* fault :
       {"echo used=1; exit 3", "echo usd=1", "sleep 100 & wait", "kill -9 $$", "printf used=2%5000s"}) {
    folder.write("load", fault);
    EXPECT_TRUE(program.refuses()) << fault;
    folder.write("load", "echo used=2");
    EXPECT_TRUE(program.says({1, 0, 2, 4})) << fault;
  }
  const std::string left = folder.file("left");
  folder.write("load", "for i in $(seq 300); do sleep 0.01; echo >>" + left + "; done & echo used=3");
  EXPECT_TRUE(program.says({1, 0, 3, 4}));
  folder.write("load", "echo used=2");
  EXPECT_TRUE(program.says({1, 0, 2, 4}));
  std::error_code absent;
  const auto size = std::filesystem::file_size(left, absent);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(std::filesystem::file_size(left, absent), size) << "what the command left behind runs on";
}

TEST(Respond, CountsConnectionsWhileSomebodyListens) {
  Descriptor served(bindPort());
  const std::uint16_t port = portOf(served.number());
  const std::string text = std::to_string(port);
  Responding program("--limit 4 --connections 127.0.0.1:" + text);
  Responding checks("--limit 4 --command 'echo used=1' --check-port " + text);
  EXPECT_TRUE(program.refuses());
  listen(served.number(), 9);
  const TestClient one(port), two(port);
  EXPECT_TRUE(program.says({1, 0, 2, 4}));
  EXPECT_TRUE(checks.says({1, 0, 1, 4}));
  served.close();
  EXPECT_TRUE(program.refuses());
  EXPECT_TRUE(checks.refuses());
}

}  // namespace
}  // namespace nimbolsp::tools
