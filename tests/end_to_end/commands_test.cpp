// The commands of the real program: what they print, which log they write, and that every end is status 0.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cstdlib>
#include <filesystem>
#include <thread>

#include "service/control.h"
#include "tests/support/daemon_process.h"
#include "tests/support/eventually.h"
#include "tests/support/resource_limit.h"

using namespace std::string_literals;

namespace {

// Pins(usage-three-lines)
const std::string kUsage =
    "The Nimbo Load Sharing Process:\n"
    "To start the process: nimbolsp -start\n"
    "To stop the process: nimbolsp -stop\n";
const std::string kTitle = "Nimbo Web Client Load Sharing Process: ";
const std::string kPools = "Pool1=Web\r\n";
const std::string kWeb = "\r\n[Web]\r\nServer1=5912\r\nPollTimer=3600\r\n";
const std::string kLifeInLog = "Process started\nProcess stopping\nProcess stopped\n";

// Pins(wide-success)
TEST(Launch, SucceedsFrom32OnUnsigned) {
  for (const std::int32_t result : {2, 9, 11, 31}) EXPECT_FALSE(nimbolsp::isLaunched(result)) << result;
  for (const std::int32_t result : {32, 256, -1}) EXPECT_TRUE(nimbolsp::isLaunched(result)) << result;
}

class CommandsTest : public testing::Test {
 protected:
  DaemonProcess program_{NIMBOLSP_PROGRAM};
};

TEST_F(CommandsTest, OutputAndLogOfWordsAndPathsOfAnyKind) {
  const std::string path = program_.programPath();
  const struct {
    const char* name;
    std::vector<std::string> commandLine;
    const char* logFile;  // in the folder; empty when its name is too long for any file
    std::string output = kUsage;
  } cases[] = {
      {"no argument", {path}, "nimbolsp-bad.log"},
      {"an empty argument", {path, ""}, "nimbolsp.log"},
      {"a word and a blank", {path, "-run "}, "nimbolsp-run .log"},
      {"two arguments", {path, "-run", "extra"}, "nimbolsp-run.log"},
      {"stop in another case, without a service",
       {path, "-sToP"},
       "nimbolsp-sToP.log",
       "Failed to connect to load sharing process\nCould not stop process\n"},
      {"no command line at all", {}, "-bad.log"},
      {"a name found through the search path", {"nimbolsp", "-x"}, "nimbolsp-x.log"},
      {"5,000 characters", {std::string(5000, 'p'), "-x"}, ""},
      {"a word of 5,000 characters", {"nimbolsp", std::string(5000, 'w')}, ""},
      {"bytes that are no text", {"nimbolsp", "\x80\xFF%n"}, "nimbolsp\x80\xFF%n.log"},
  };
  program_.writeProfile("");
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    program_.spawn(row.commandLine);
    EXPECT_EQ(program_.wait(), 0);
    EXPECT_EQ(program_.output(), row.output);
    EXPECT_TRUE(*row.logFile == '\0' || program_.folder().readLog(row.logFile) == row.output);
  }
}

TEST_F(CommandsTest, RunThatCannotServeTellsWhy) {
  const struct {
    std::string profile, message;
  } cases[] = {
      {"[Setup]\r\nPort=http\r\n" + kPools + kWeb, "Could not read port number from nimbolsp.ini\n"},
      {"[Setup]\r\nPort=1\r\nPool2=Web\r\n" + kWeb, "No server pools defined in nimbolsp.ini\n"},
      {"[Setup]\r\nPort=1\r\n" + kPools + "Pool2=Mail\r\n" + kWeb,
       "Each server pool must contain at least one server\n"},
      {"[Setup]\r\nPort=" + std::to_string(program_.port()) + "\r\n" + kPools + kWeb,
       "Failed to bind or listen on port\n"},
  };
  const Descriptor taken(bindPort(program_.port()));
  listen(taken.number(), 1);
  for (const auto& row : cases) {
    program_.folder().write("nimbolsp.ini", row.profile);
    EXPECT_EQ(program_.run({"-run"}), 0);
    EXPECT_EQ(program_.output(), kTitle + row.message + kTitle + "Process stopped\n");
    EXPECT_TRUE(program_.log().ends_with(row.message + "Process stopped\n"));
  }
}

TEST_F(CommandsTest, StopEndsARunningServiceWhoseQuietModeLeavesTheLog) {
  program_.writeProfile(kPools + "QuietMode=1\r\n", kWeb);
  ASSERT_TRUE(program_.startService("-RuN"));
  DaemonProcess stopper(NIMBOLSP_PROGRAM);
  stopper.folder().write("nimbolsp.ini", "[Setup]\nPort=" + std::to_string(program_.port()) + "\n");
  EXPECT_EQ(stopper.run({"-stop"}), 0);
  EXPECT_FALSE(std::filesystem::exists(stopper.folder().file("nimbolsp-stop.log")));
  EXPECT_EQ(program_.wait(), 0);
  EXPECT_EQ(stopper.output() + program_.output(), "");
  EXPECT_EQ(program_.log("-RuN"), kLifeInLog);
}

TEST_F(CommandsTest, StopNeedsAnAnswerOfAnyValue) {
  program_.writeProfile("");
  const Descriptor listening(bindPort(program_.port()));
  listen(listening.number(), 1);
  for (const std::string answer : {"", "\7"}) {
    std::thread peer([&] {
      const Descriptor connection(accept(listening.number(), nullptr, nullptr));
      char request[2];
      EXPECT_TRUE(recv(connection.number(), request, 2, MSG_WAITALL) == 2 &&
                  "\2\0"s == std::string(request, 2));
      send(connection.number(), answer.data(), answer.size(), MSG_NOSIGNAL);
      shutdown(connection.number(), SHUT_WR);
      EXPECT_EQ(recv(connection.number(), request, 1, 0), answer.empty() ? -1 : 0) << "reset, else closed";
    });
    EXPECT_EQ(program_.run({"-stop"}), 0);
    peer.join();
    EXPECT_EQ(program_.output(),
              answer.empty() ? "Failed to receive response to stop message\nCould not stop process\n" : "");
  }
}

TEST_F(CommandsTest, LimitsOfTheSystemAreRaisedAndObeyed) {
  const ResourceLimit few(RLIMIT_NOFILE, 64);
  setenv("ASAN_OPTIONS", "detect_leaks=0", 1);  // looking for leaks takes descriptors
  const std::string started = kTitle + "Process started\n";
  program_.writeProfile(kPools, kWeb);
  for (const auto resource : {RLIMIT_FSIZE, RLIMIT_NOFILE}) {
    program_.folder().write("nimbolsp-run.log", "");
    ASSERT_TRUE(program_.startService());
    EXPECT_TRUE(eventually([&] { return program_.output() == started; })) << "at once";
    rlimit before{}, lower{1, 1};
    prlimit(program_.pid(), resource, &lower, &before);
    EXPECT_TRUE(resource == RLIMIT_FSIZE || before.rlim_cur == before.rlim_max);
    ask(program_.port(), "web");  // on a descriptor that may be there already
    program_.stopService();
    EXPECT_EQ(program_.wait(), 0);
    EXPECT_EQ(program_.log(), "Process started\n");
  }
  const std::string failed = "Failed when trying to accept incoming connection\n";
  EXPECT_EQ(program_.output(), started + kTitle + failed + kTitle + "Process stopped\n");
}

TEST_F(CommandsTest, ServiceOutlivesItsStartAndItsOutput) {
  const struct {
    std::string stem, path;
    const char *command, *log;
    DaemonProcess::Output output;
  } cases[] = {
      {"nimbolsp", program_.programPath(), "-run", "-run.log", DaemonProcess::kFullPipe},
      {"nimbolsp", program_.programPath(), "-start", "-RUN.log", DaemonProcess::kFile},
      {"nimbolsp", "nimbolsp", "-Start", "-RUN.log", DaemonProcess::kClosed},  // by the search path
      {"my lsp", program_.folder().file("my lsp"), "-START", "-RUN.log", DaemonProcess::kBrokenPipe},
      {"nimbolsp", program_.programPath(), "-run", "-run.log", DaemonProcess::kClosed},
  };
  program_.writeProfile(kPools, kWeb);
  program_.folder().write("my lsp.ini", program_.folder().read("nimbolsp.ini"));
  std::filesystem::create_symlink(program_.programPath(), program_.folder().file("my lsp"));
  const std::string searchPath = std::getenv("PATH");
  setenv("PATH", (program_.folder().path() + ":" + searchPath).c_str(), 1);
  for (const auto& row : cases) {
    SCOPED_TRACE(row.path + row.command);
    const auto log = [&] { return program_.folder().readLog(row.stem + row.log); };
    program_.folder().write(row.stem + row.log, "");
    program_.spawn({row.path, row.command}, row.output);
    EXPECT_TRUE(row.command == "-run"s || program_.wait() == 0);
    ASSERT_TRUE(eventually([&] { return log() == "Process started\n"; }));
    EXPECT_EQ(ask(program_.port(), "web"), "5912");
    const std::string errors = "/proc/" + std::to_string(program_.pid()) + "/fd/2";
    EXPECT_TRUE(&row != &cases[4] || std::filesystem::read_symlink(errors) == "/dev/null");
    EXPECT_EQ(program_.stopService(), 0);
    EXPECT_TRUE(eventually([&] { return log() == kLifeInLog; }));
  }
  setenv("PATH", searchPath.c_str(), 1);
}

}  // namespace
