// The commands of the real program: help, messages, exit statuses.
#include "tools/commands/command.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>

#include "tests/support/fake_server.h"
#include "tests/support/temp_folder.h"

namespace nimbolsp::tools {
namespace {

struct Ran {
  int status;
  std::string output;  // of both streams
};

// Always with few descriptors, so that a command which needs many must raise the limit.
Ran run(const std::string& arguments) {
  FILE* output = popen(("ulimit -Sn 256; " NIMBOLSPCTL_PROGRAM " " + arguments + " 2>&1").c_str(), "re");
  Ran ran;
  for (int c; (c = std::fgetc(output)) != EOF;) ran.output += static_cast<char>(c);
  ran.status = WEXITSTATUS(pclose(output));
  return ran;
}

TEST(Program, TellsWhatIsAskedOrWrongAndExitsWithItsStatus) {
  FakeServer service, astray;
  service.answerWith({"\1\0", 2});
  astray.answerWith("\1\1x");
  const Descriptor refusing(bindPort());
  const TempFolder folder;
  const std::string taken = std::to_string(service.port());
  const std::string profile = folder.write("profile.ini", "[Setup]\r\nPort=" + taken + "\r\n");
  const std::string asked = "ask aNameAsLongAsAPollIs1 --port ";
  const struct {
    std::string arguments;
    int status;
    const char* told;
  } cases[] = {
      {"--help", kDone, commands()[0].help},
      {"--help", kDone, commands()[1].help},
      {"simulate --help", kDone, "Exit status: 0 "},
      {"ask --help", kDone, "Exit status: 0 "},
      {"", kWrongCommandLine, "A subcommand is required"},
      {"--version", kDone, "nimbolspctl "},
      {"frobnicate", kWrongCommandLine, "A subcommand is required"},
      {"simulate", kWrongCommandLine, "--server is required"},
      {"simulate --server 0,used", kWrongCommandLine, "nimbolspctl: --server 0,used: used is a number"},
      {"simulate --server 0 --server 0 --count 2", kWrongCommandLine, "--count wants exactly one"},
      {"simulate --server " + taken, 1, "nimbolspctl: cannot bind 127.0.0.1:"},
      {"simulate --server 0,average=250,used=3,limit=4 --for 0 --bucket-size 50", kDone, "75%     5\n"},
      {"simulate --server 0,average=250 --until-stdin-closes </dev/null", kDone, "0%     2\n"},
      {"simulate --server 0 --count 300 --for 0", kDone, "ready\n"},
      {"ask p --host localhost", kWrongCommandLine, "is no IPv4 address"},
      {"ask p --profile " + folder.file("none"), kWrongCommandLine, "none cannot be read"},
      {"ask p --profile /dev/null", kWrongCommandLine, "has no Port in section [Setup]"},
      {"ask aNameAsLongAsAPollIs1 --profile " + profile, 1, "      1  100.0%  (no server)\n"},
      {"ask --port 1 " + std::string(256, 'p'), kWrongCommandLine, "a pool's name has at most 255 bytes"},
      {asked + taken + " --plain", 1, "1 (no server)\n"},
      {asked + std::to_string(astray.port()) + " --visit --plain", kDone, "failed visits: 1\n"},
      {asked + std::to_string(portOf(refusing.number())), 3, "nimbolspctl: cannot connect to 127.0.0.1:"},
  };
  for (const auto& c : cases) {
    const Ran ran = run(c.arguments);
    EXPECT_EQ(ran.status, c.status) << c.arguments;
    EXPECT_NE(ran.output.find(c.told), std::string::npos) << c.arguments << "\n" << ran.output;
  }
}

}  // namespace
}  // namespace nimbolsp::tools
