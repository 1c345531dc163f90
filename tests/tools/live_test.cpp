// What an operator sees of running servers and of the running daemon: the survey, the ping, the wait for the
// first polls, and the live picture.
#include <gtest/gtest.h>

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>

#include <algorithm>

#include "tests/support/daemon_process.h"
#include "tests/support/fake_server.h"
#include "tests/support/temp_folder.h"
#include "tools/commands/command.h"
#include "tools/polling/survey.h"
#include "tools/terminal/top_text.h"
#include "tools/terminal/top_view.h"

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
  const struct {
    std::size_t row;
    const char* remark;
  } told[] = {{0, "listed 2 times: the daemon counts each entry apart"},
              {0, "divisor 0: list 0, whatever the dividend"},
              {0, "full: handed out only when no server has room"},
              {1, "the port counts as 0: never reached"},
              {2, "the address is no dotted IPv4 address: never reached"}};
  for (const auto& [row, remark] : told) {
    EXPECT_EQ(std::ranges::count(survey.servers[row].remarks, remark), 1) << remark;
  }
  EXPECT_NE(surveyTable(survey).find("\na\\x1b  "), std::string::npos);
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
      {"servers --profile half.ini", kDone, "half.ini: the daemon would not start: "},
      {"servers none.ini", kWrongCommandLine, "none.ini names no server"},
      {"servers one.ini two.ini", kWrongCommandLine, "\"one.ini\" is no ADDRESS:PORT"},
      {"servers localhost:80", kWrongCommandLine, "\"localhost:80\" is neither a file nor ADDRESS:PORT"},
      {"servers 127.0.0.1:65536 one.ini", kWrongCommandLine, "\"127.0.0.1:65536\" is neither"},
      {"servers " + good.entry() + " " + dead, 1, "Connection refused"},
      {"servers --json " + good.entry() + " " + negative.entry(), 1, "\"answered\":2,\"well\":1,"},
      {"servers " + dead, 2, "0 answered, 1 did not"},
      {"ping --profile one.ini --wait 0.15", kServiceFailed, "cannot connect to 127.0.0.1:1:"},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(companion(folder, row.arguments), row.status) << row.arguments;
    EXPECT_NE(folder.read("output").find(row.told), std::string::npos) << folder.read("output");
  }
#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)  // which want descriptors themselves
  companion(folder, "--version; ulimit -n 6; " NIMBOLSPCTL_PROGRAM " top --profile one.ini --timeout 50");
  const char* const told = "0 answer, 0 do not, 0 full, 0 flaps, 1 not polled: nimbolspctl has too few descr";
  EXPECT_NE(folder.read("output").find(told), std::string::npos) << folder.read("output");
#endif
}

// Servers "a:1", "a:2" and so on with loads; kNoLoad: refused.
Picture pictureOf(const std::vector<std::int16_t>& loads) {
  Picture picture;
  PoolState& pool = picture.pools.emplace_back(PoolState{"P", milliseconds(1500), 1, {}});
  for (const std::int16_t load : loads) {
    ServerState& server = pool.servers.emplace_back();
    server.text = "a:" + std::to_string(pool.servers.size());
    server.endpoint = {1, 1};
    server.polls = 1;
    server.answers = load != kNoLoad;
    server.failures = server.answers ? 0 : 1;
    server.last = {server.answers ? PollEnd::kAnswered : PollEnd::kNotConnected, ECONNREFUSED, {}, {}};
    server.standing = standingOf({1, 0, load, 100}, 100);
    server.history = {load};
  }
  return picture;
}

std::string textOf(const std::vector<ScreenLine>& lines) {
  std::string text;
  for (const ScreenLine& line : lines) {
    for (const Span& span : line) text += span.text;
    text += "\n";
  }
  return text;
}

// The key that an escape stands for.
int codeOf(char key) {
  if (key == '\r') return kKeyEnter;
  if (key == '\x1B') return kKeyEscape;
  return key == '\b' ? static_cast<int>(kKeyBackspace) : key;
}

TEST(TopView, KeysChooseAndOrderTheRows) {
  const Picture picture = pictureOf({30, kNoLoad, 100, 30, -5});
  const struct {
    const char* keys;
    const char* rows;  // the servers' numbers
  } cases[] = {{"", "12345"},    {"l", "31452"},        {"ss", "13452"},     {"lr", "25413"},
               {"f", "21345"},   {"nr", "54321"},       {"t", "235"},        {"t\x1B", "12345"},
               {"/FULL\r", "3"}, {"/a:3\b4\rlq", "4"},  {"/x\x1B", "12345"}, {"/q", ""},
               {"?tq", "12345"}, {"x\x7F\x01", "12345"}};
  for (const auto& c : cases) {
    TopState state;
    for (const char* key = c.keys; *key != '\0'; ++key) {
      const int code = codeOf(*key);
      EXPECT_EQ(handleKey(state, code), code != 'q' || state.editingFilter) << c.keys;
    }
    std::string rows;
    for (const TopRow& row : chooseRows(picture, state)) rows += row.server->text.back();
    EXPECT_EQ(rows, c.rows) << c.keys;
  }
}

TEST(TopView, EveryScreenIsFullAndScrollsNoFurtherThanItsRows) {
  const Picture picture = pictureOf(std::vector<std::int16_t>(1024, 75));
  for (const bool unicode : {false, true}) {
    for (const std::size_t width : {0U, 1U, 20U, 40U, 80U, 132U, 200U}) {
      for (const std::size_t height : {1U, 5U, 24U}) {
        TopState state;
        state.unicode = unicode;
        handleKey(state, kKeyEnd);
        const auto lines = layoutScreen(picture, state, width, height, {});
        const std::string text = textOf(lines);
        EXPECT_EQ(lines.size(), height);
        EXPECT_EQ(std::ranges::count_if(text, [](char c) { return (c & 0xC0) != 0x80; }),
                  static_cast<std::ptrdiff_t>(height * (width + 1)));
        EXPECT_EQ(text.find("a:1024") != std::string::npos, width > 10 && height > 6)
            << width << "x" << height;
        for (int i = 0; i < 2000; ++i) handleKey(state, kKeyPageUp);
        EXPECT_EQ(state.firstRow, 0u);
      }
    }
  }
  EXPECT_NE(plainPicture(pictureOf({50, kNoLoad}), {}, 80, {}).find("P    a:2    refused"),
            std::string::npos);
}

TEST(TopView, SmallTextsFit) {
  using std::chrono::seconds;
  const struct {
    std::string text;
    const char* expected;
  } cases[] = {{barText(-5, 2, true), ""},
               {barText(55, 2, true), "█"},
               {barText(1000, 3, false), "###"},
               {millisecondsText(std::chrono::microseconds(1502'400)), "1502"},
               {durationText(seconds(-1)), "0s"},
               {durationText(seconds(200)), "3m20s"},
               {durationText(seconds(18'180)), "5h03m"},
               {durationText(seconds(187'200)), "2d04h"},
               {countText(12'999), "12k"},
               {intervalText(pictureOf({})), "polled every 1.5 s"},
               {textOf({historyText({0, 99, kNoLoad}, 2, false)}), "#x\n"}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(text, expected);
}

TEST(LiveProgram, TopGivesTheTerminalBackHoweverItEnds) {
  FakeServer server;
  const TempFolder folder;
  const std::string profile =
      folder.write("p.ini", "[Setup]\r\nPort=1\r\nPool1=p\r\n\r\n[p]\r\nServer1=" + server.entry() + "\r\n");
  EXPECT_EQ(companion(folder, "top --profile p.ini </dev/null"), kDone);
  EXPECT_NE(folder.read("output").find("1 server, 1 pool: 1 answer, 0 do not"), std::string::npos);
  for (const int signal : {0, SIGINT, SIGTERM, SIGHUP}) {
    winsize size{24, 80, 0, 0};
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
    if (child == 0) {
      setenv("TERM", "xterm", 1);
      execl(NIMBOLSPCTL_PROGRAM, "nimbolspctl", "top", "--profile", profile.c_str(), nullptr);
      _exit(99);
    }
    const Descriptor owned(terminal);
    termios before{}, after{};
    tcgetattr(terminal, &before);
    std::string seen;
    char part[4096];
    EXPECT_TRUE(eventually([&] {
      pollfd waiting{terminal, POLLIN, 0};
      const ssize_t got = poll(&waiting, 1, 0) > 0 ? read(terminal, part, sizeof part) : 0;
      seen.append(part, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
      return seen.find("1 answer") != std::string::npos;
    })) << seen;
    EXPECT_EQ(signal == 0 ? write(terminal, "q", 1) : kill(child, signal), signal == 0 ? 1 : 0);
    int status = -1;
    EXPECT_TRUE(eventually([&] { return waitpid(child, &status, WNOHANG) == child; }));
    EXPECT_EQ(status, 0) << signal;
    tcgetattr(terminal, &after);
    EXPECT_EQ(before.c_lflag, after.c_lflag) << signal;
  }
}

TEST(LiveProgram, WaitsForTheFirstPollsOfTheServiceThatRuns) {
  FakeServer server;
  DaemonProcess service(NIMBOLSP_PROGRAM);
  service.writeProfile("Pool1=p\r\n", "[p]\r\nServer1=" + server.entry() + "\r\nPollTimer=1\r\n");
  const TempFolder& folder = service.folder();
  EXPECT_EQ(companion(folder, "wait --polled --pid 999999999"), kServiceFailed);
  EXPECT_EQ(companion(folder, "wait --polled --timeout 1"), 1);
  EXPECT_NE(folder.read("output").find("nobody answers at 127.0.0.1:"), std::string::npos);
  ASSERT_TRUE(service.startService());
  EXPECT_EQ(companion(folder, "ping"), kDone);
  const std::string ping = "ping --wait 5 --json --pid ", own = std::to_string(getpid());
  EXPECT_EQ(companion(folder, ping + std::to_string(service.pid())), kDone);
  EXPECT_EQ(companion(folder, ping + "999999999"), kServiceFailed);
  EXPECT_NE(folder.read("output").find("there is no process 999999999; another one"), std::string::npos);
  EXPECT_EQ(companion(folder, ping + own), kServiceFailed);
  EXPECT_NE(folder.read("output").find("it is not process " + own + " that listens"), std::string::npos);
  EXPECT_EQ(companion(folder, "wait --polled"), kDone) << folder.read("output");
  EXPECT_GE(server.polls(), 2);  // its own, and the daemon's
  EXPECT_EQ(companion(folder, "wait --polled --pid " + std::to_string(service.pid())), kDone);
  EXPECT_EQ(service.stopService(), 0);
}

}  // namespace
}  // namespace nimbolsp::tools
