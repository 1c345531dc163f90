// Reports: what they leave in the log on disk, whatever stands there, what suppresses them, and what becomes
// of output that nobody takes. Their texts show in the end-to-end tests.
#include "service/log_file.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <time.h>

#include <filesystem>

#include "service/line_output.h"
#include "service/reports.h"
#include "service/resources/string_table.h"
#include "tests/support/pseudo_terminal.h"
#include "tests/support/resource_limit.h"
#include "tests/support/service_test.h"

namespace nimbolsp {
namespace {

using LogFileTest = ServiceTest;

std::string numbered(int first, int last) {
  std::string text;
  for (int i = first; i <= last; ++i) text += std::to_string(i) + "\n";
  return text;
}

TEST_F(LogFileTest, ReportCutsTheFullFileToItsNewerHalf) {
  const std::string binary("\0\x01\r\r\xFF\x1A%s\n\x80 \n", 12);
  const struct {
    const char* name;
    std::int32_t threshold;
    std::string before, kept;
  } cases[] = {
      {"threshold 1: grows without limit", 1, numbered(1, 50), numbered(1, 50)},  // Pins(threshold-one)
      {"empty lines count, an unterminated one does not", 3, "\n\nc", "\n\nc"},
      {"threshold 3 drops one line", 3, "a\nb\nc\n", "b\nc\n"},
      {"not yet full", 256, numbered(1, 255), numbered(1, 255)},
      {"full: more lines than the threshold all stay", 256, numbered(1, 1000), numbered(129, 1000)},
      {"every byte stays as it is", 4, binary + binary, binary},
      {"an unterminated last line is continued", 2, "one\ntwo\nthree", "two\nthree"},
      {"a long kept line", 2, "a\n" + std::string(100000, 'x') + "\n", std::string(100000, 'x') + "\n"},
  };
  clearLog();
  std::filesystem::create_hard_link(folder_.file("nimbolsp-test.log"), folder_.file("twin"));
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    set(&Settings::logLineThreshold, row.threshold);
    folder_.write("nimbolsp-test.log", row.before);
    logText("new");
    const std::string after = rawLog();
    EXPECT_EQ(folder_.read("twin"), after) << "another file";
    EXPECT_EQ(after.size(), row.kept.size() + 24 + 1 + 4);
    EXPECT_TRUE(after.starts_with(row.kept) && after.ends_with(" new\n")) << after;
  }
}

// A limit on file sizes stops the move after its first bytes, as a kill would.
TEST_F(LogFileTest, InterruptedCutLosesNothing) {
  signal(SIGXFSZ, SIG_IGN);
  const std::string first(100, 'a'), kept = numbered(1, 20000);
  set(&Settings::logLineThreshold, 2);
  folder_.write("nimbolsp-test.log", first + "\n" + kept);
  {
    const ResourceLimit low(RLIMIT_FSIZE, 20000);
    logText("not written");
  }
  EXPECT_EQ(rawLog(), kept.substr(0, 20000) + kept.substr(20000 - 101));
}

TEST_F(LogFileTest, ReportThatFindsNoRoomIsDroppedWhole) {
  signal(SIGXFSZ, SIG_IGN);
  logText("first");
  const std::string before = rawLog();
  {
    const ResourceLimit low(RLIMIT_FSIZE, before.size() + 28);
    logText("half of this line");
  }
  EXPECT_EQ(rawLog(), before);
}

TEST_F(LogFileTest, FileThatCannotBeWrittenCostsOnlyTheFile) {
  mkfifo(folder_.file("fifo").c_str(), 0600);
  for (const std::string& path :
       {folder_.path(), folder_.file("missing/a.log"), folder_.file(std::string(5000, 'n')),
        folder_.file("fifo"), std::string("/dev/full"), std::string("/dev/zero")}) {
    set(&Settings::logFilePath, path);
    EXPECT_EQ(terminalOf([] { logText("seen"); }), "seen\n");
  }
  set(&Settings::logFilePath, folder_.file("fifo"));
  const Descriptor reader(open(folder_.file("fifo").c_str(), O_RDONLY | O_NONBLOCK));
  terminalOf([] { logText("read"); });
  char line[64] = {};
  ASSERT_EQ(read(reader.number(), line, sizeof line), 25 + 5);
  EXPECT_STREQ(line + 25, "read\n");
}

TEST_F(LogFileTest, LineBeginsWithTheLocalTimeOfTheZoneOfTheMoment) {
  logText("in another zone");
  clearLog();
  setenv("TZ", "TEST-05:30", 1);
  const std::time_t before = std::time(nullptr);
  {
    LogWriter writer;
    for (const char* part : {"no", "w\n"}) writer.writeText(part);
  }
  const std::string line = rawLog();
  std::tm stamped{};
  ASSERT_STREQ(strptime(line.c_str(), "%a %b %e %H:%M:%S %Y", &stamped), " now\n");
  EXPECT_EQ(line, std::string(asctime(&stamped), 24) + " now\n");  // the day of month in two places
  const std::time_t time = timegm(&stamped) - (5 * 60 + 30) * 60;
  EXPECT_TRUE(before <= time && time <= std::time(nullptr)) << line;
}

TEST_F(LogFileTest, TerminalAndLogTellTheSameAndTagsWhatIsKnown) {
  const auto report = [] {
    logText("Load: 37% %s %n");
    EXPECT_THROW((LogWriter().writeText("cut short"), throw 0), int) << "dropped whole";
    logMessage(7);  // an unknown id is an empty line
    debugLog("not at level 0", 0, 1);
    set(&Settings::runningAsService, true);
    reportStatus(kStringStarted);  // a service reports none
  };
  EXPECT_EQ(terminalOf(report), "Load: 37% %s %n\n\n");
  EXPECT_EQ(log(), "Load: 37% %s %n\n\n");
  EXPECT_EQ(debugLine("text", inet_addr("10.0.0.5"), 5912), "[ DEBUG ] [ 10.0.0.5:5912 ] text");
  EXPECT_EQ(debugLine("", inet_addr("255.255.255.255"), 70000), "[ DEBUG ] [ 255.255.255.255:70000 ] ");
  EXPECT_EQ(debugLine("text", 0, -1), "[ DEBUG ] [ -1 ] text");
  EXPECT_EQ(debugLine("text", inet_addr("10.0.0.5"), 0), "[ DEBUG ] text");
}

enum Kind { kPipe, kSocket, kTerminal };

// All that can be read at present.
std::string drain(const Descriptor& from) {
  std::string all;
  char bytes[4096];
  fcntl(from.number(), F_SETFL, O_NONBLOCK);
  for (ssize_t length; (length = read(from.number(), bytes, sizeof bytes)) > 0;) {
    all.append(bytes, static_cast<std::size_t>(length));
  }
  return all;
}

TEST(LineOutput, DropsWholeLinesWhileTheyAreNotTaken) {
  const struct {
    Kind kind;
    bool canOpen;              // the descriptor once more, without blocking
    std::size_t length = 999;  // of a line; fits no buffer evenly
  } cases[] = {
      {kPipe, true},   {kPipe, true, 1024}, {kPipe, false},
      {kSocket, true}, {kTerminal, true},   {kTerminal, false},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(std::to_string(row.kind) + (row.canOpen ? "" : " of others"));
    const std::string line = std::string(row.length - 1, 'x') + "\n";
    const PseudoTerminal terminal;
    if (row.kind == kTerminal && terminal.path().empty()) GTEST_SKIP() << "no pseudo-terminal for the rest";
    int ends[2];
    if (row.kind == kTerminal) {
      ends[0] = dup(terminal.farEnd());
      ends[1] = open(terminal.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    } else {
      ASSERT_EQ(row.kind == kPipe ? pipe(ends) : socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    }
    const Descriptor reader(ends[0]), writer(ends[1]);
    const int flags = fcntl(writer.number(), F_GETFL);
    const ResourceLimit descriptors(RLIMIT_NOFILE, row.canOpen ? 1024 : 3);
    LineOutput output{std::chrono::milliseconds(20)};
    for (int i = 0; i < 1000; ++i) output.write(writer.number(), line + line);
    const std::string before = drain(reader);
    output.write(writer.number(), "after\n");
    EXPECT_TRUE(4000 <= before.size() && before.size() < 1000000 && before.starts_with(line))
        << before.size();
    const std::size_t torn = before.size() % line.size();
    EXPECT_EQ(drain(reader), (torn == 0 ? "" : line.substr(torn)) + "after\n");
    EXPECT_EQ(fcntl(writer.number(), F_GETFL), flags);
  }
}

}  // namespace
}  // namespace nimbolsp
