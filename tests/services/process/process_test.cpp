// Commands through the real shell, seen by their exit, their output and what they leave behind.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <utility>
#include <vector>

#include "nimboxi/memory.h"
#include "nimboxi/process.h"
#include "nimboxi/support/shell_words.h"
#include "tests/support/eventually.h"
#include "tests/support/started_layer.h"

TEST(Process, ResultTellsHowTheShellEnded) {
  const StartedLayer layer;
  const std::vector<std::pair<const char*, int32_t>> results = {
      {"exit 0", 32}, {"exit 1", 256}, {"/no/such/command 2>&-", 2}, {"kill -TERM $$", SIGTERM}};
  for (const auto& [command, result] : results)
    EXPECT_EQ(RunShellCommand(command, 5, RUN_FOREGROUND, nullptr), result) << command;
  EXPECT_EQ(RunShellCommand("/no/such/command 2>&-", 5, 0, nullptr), 32);
  EXPECT_EQ(RunShellCommand(nullptr, 5, 0, nullptr), 2);
}

TEST(Process, BackgroundCommandOutlivesTheCall) {
  const StartedLayer layer;
  const std::string gate = layer.folder().file("gate");
  const std::string done = layer.folder().file("done");
  const std::string wait = "(until [ -e " + gate + " ]; do sleep 0.01; done; touch " + done + ")";
  EXPECT_EQ(WinExec(wait.c_str(), 5), 32);
  EXPECT_FALSE(std::filesystem::exists(done));
  layer.folder().write("gate", "");
  EXPECT_TRUE(eventually([&] { return std::filesystem::exists(done); }));
}

TEST(Process, CaptureGivesTheOutputAndLeavesNoFile) {
  const StartedLayer layer;
  auto filesInFolder = [&layer] {
    std::filesystem::directory_iterator all(layer.folder().path());
    return std::distance(begin(all), end(all));
  };
  const auto before = filesInFolder();
  const char* command = "head -c 100000 /dev/zero | tr '\\0' x";
  void* output = nullptr;
  RunShellCommand(command, 0, RUN_FOREGROUND | RUN_CAPTURE_OUTPUT, &output);
  EXPECT_STREQ(static_cast<char*>(output), std::string(100000, 'x').c_str());
  FreeBlock(output);
  EXPECT_EQ(filesInFolder(), before);
  RunShellCommand("echo kept", 0, RUN_FOREGROUND | RUN_CAPTURE_OUTPUT, nullptr);
  EXPECT_EQ(filesInFolder(), before + 1);
}

TEST(Process, ChildGetsTheDefaultSignalsBack) {
  const StartedLayer layer;
  for (const int number : {SIGPIPE, SIGHUP, SIGINT, SIGQUIT}) signal(number, SIG_IGN);
  EXPECT_EQ(RunShellCommand("kill -PIPE $$; exit 0", 0, RUN_FOREGROUND, nullptr), SIGPIPE);
  EXPECT_EQ(RunShellCommand("kill -HUP $$; exit 0", 0, RUN_FOREGROUND, nullptr), SIGHUP);
  EXPECT_EQ(signal(SIGINT, SIG_DFL), SIG_IGN);  // as before the call
}

TEST(Process, RunningMeansThatACommandNameOccursInTheText) {
  const StartedLayer layer;
  EXPECT_TRUE(IsProcessRunning("/usr/bin/services_tests"));
  EXPECT_TRUE(IsProcessRunning("a/ps")) << "a name shorter than the column";
  EXPECT_FALSE(IsProcessRunning("serv"));
  EXPECT_FALSE(IsProcessRunning(""));
}

TEST(ShellWord, IsQuotedWhereTheShellWouldSplitIt) {
  EXPECT_EQ(nimboxi::shellWord("/opt/lsp/nimbolsp"), "/opt/lsp/nimbolsp");
  EXPECT_EQ(nimboxi::shellWord("my lsp/it's"), "'my lsp/it'\\''s'");
  EXPECT_EQ(nimboxi::shellWord(""), "''");
}
