// Commands through the real shell, seen by their exit, their output and what they leave behind.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <filesystem>

#include "nimboxi/memory.h"
#include "nimboxi/process.h"
#include "nimboxi/shell_words.h"
#include "tests/support/eventually.h"
#include "tests/support/started_layer.h"

namespace {

class ProcessTest : public testing::Test {
 protected:
  std::string capture(const std::string& command) {
    void* output = nullptr;
    RunShellCommand(command.c_str(), 0, RUN_FOREGROUND | RUN_CAPTURE_OUTPUT, &output);
    const std::string text = output == nullptr ? "" : static_cast<char*>(output);
    FreeBlock(output);
    return text;
  }

  std::size_t filesInFolder() const {
    std::filesystem::directory_iterator all(layer_.folder().path());
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
  }

  StartedLayer layer_;
};

TEST_F(ProcessTest, ResultTellsHowTheShellEnded) {
  const struct {
    const char* command;
    DWORD options;
    int32_t result;
  } cases[] = {
      {"exit 0", RUN_FOREGROUND, 32},   {"exit 1", RUN_FOREGROUND, 256},
      {"exit 127", RUN_FOREGROUND, 2},  {"/no/such/command 2>&-", RUN_FOREGROUND, 2},
      {"/no/such/command 2>&-", 0, 32}, {"kill -TERM $$", RUN_FOREGROUND, SIGTERM},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(RunShellCommand(row.command, 5, row.options, nullptr), row.result) << row.command;
  }
  EXPECT_EQ(RunShellCommand(nullptr, 5, 0, nullptr), 2);
}

TEST_F(ProcessTest, BackgroundCommandOutlivesTheCall) {
  const std::string gate = layer_.folder().file("gate");
  const std::string done = layer_.folder().file("done");
  const std::string wait = "(until [ -e " + gate + " ]; do sleep 0.01; done; touch " + done + ")";
  EXPECT_EQ(WinExec(wait.c_str(), 5), 32);
  EXPECT_FALSE(std::filesystem::exists(done));
  layer_.folder().write("gate", "");
  EXPECT_TRUE(eventually([&] { return std::filesystem::exists(done); }));
}

TEST_F(ProcessTest, CaptureGivesTheOutputAndLeavesNoFile) {
  const std::size_t before = filesInFolder();
  EXPECT_EQ(capture("echo hi"), "hi\n");
  EXPECT_EQ(capture("true"), "");
  EXPECT_EQ(capture("head -c 100000 /dev/zero | tr '\\0' x").size(), 100000u);
  EXPECT_EQ(filesInFolder(), before);
  RunShellCommand("echo kept", 0, RUN_FOREGROUND | RUN_CAPTURE_OUTPUT, nullptr);
  EXPECT_EQ(filesInFolder(), before + 1);
}

TEST_F(ProcessTest, ChildGetsTheDefaultSignalsBack) {
  for (const int number : {SIGPIPE, SIGHUP, SIGINT, SIGQUIT}) signal(number, SIG_IGN);
  EXPECT_EQ(RunShellCommand("kill -PIPE $$; exit 0", 0, RUN_FOREGROUND, nullptr), SIGPIPE);
  EXPECT_EQ(RunShellCommand("kill -HUP $$; exit 0", 0, RUN_FOREGROUND, nullptr), SIGHUP);
  EXPECT_EQ(signal(SIGINT, SIG_DFL), SIG_IGN);  // as before the call
}

TEST_F(ProcessTest, RunningMeansThatACommandNameOccursInTheText) {
  const std::size_t before = filesInFolder();
  EXPECT_TRUE(IsProcessRunning("/usr/bin/services_tests"));
  EXPECT_TRUE(IsProcessRunning("a/ps")) << "a name shorter than the column";
  EXPECT_FALSE(IsProcessRunning("serv"));
  EXPECT_FALSE(IsProcessRunning(""));
  EXPECT_EQ(filesInFolder(), before);
}

TEST(ShellWord, IsQuotedWhereTheShellWouldSplitIt) {
  EXPECT_EQ(nimboxi::shellWord("/opt/lsp/nimbolsp"), "/opt/lsp/nimbolsp");
  EXPECT_EQ(nimboxi::shellWord("my lsp/it's"), "'my lsp/it'\\''s'");
  EXPECT_EQ(nimboxi::shellWord(""), "''");
  EXPECT_EQ(nimboxi::shellWord("$(x)"), "'$(x)'");
}

}  // namespace
