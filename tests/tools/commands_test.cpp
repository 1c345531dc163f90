// The commands of the real program: help, messages, exit statuses.
#include "tools/commands/command.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>

#include "tests/support/fake_server.h"

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

TEST(Program, EveryCommandOfTheTableExplainsItself) {
  const Ran all = run("--help");
  EXPECT_EQ(all.status, 0);
  for (const Command& command : commands()) {
    SCOPED_TRACE(command.name);
    EXPECT_NE(all.output.find(command.help), std::string::npos);
    const Ran one = run(command.name + std::string(" --help"));
    EXPECT_EQ(one.status, 0);
    for (const char* part : {command.help, "Exit status: 0 "})
      EXPECT_NE(one.output.find(part), std::string::npos);
  }
}

TEST(Program, TellsWhatIsWrongAndExitsWithItsStatus) {
  FakeServer service;
  service.answerWith({"\1\0", 2});
  const Descriptor refusing(bindPort());
  const std::string taken = std::to_string(service.port());
  const std::string dead = std::to_string(portOf(refusing.number()));
  const struct {
    std::string arguments;
    int status;
    const char* told;
  } cases[] = {
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
      {"ask p --profile /dev/null", kWrongCommandLine, "has no Port in section [Setup]"},
      {"ask aNameAsLongAsAPollIs1 --port " + taken, 1, "(no server)\n"},
      {"ask p --port " + dead, 3, "nimbolspctl: cannot connect to 127.0.0.1:"},
  };
  for (const auto& c : cases) {
    const Ran ran = run(c.arguments);
    EXPECT_EQ(ran.status, c.status) << c.arguments;
    EXPECT_NE(ran.output.find(c.told), std::string::npos) << c.arguments << "\n" << ran.output;
  }
}

}  // namespace
}  // namespace nimbolsp::tools
