// Commands through the real shell, seen by their exit, their output and what they leave behind.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

#include "nimboxi/memory.h"
#include "nimboxi/process.h"
#include "nimboxi/support/shell_words.h"
#include "tests/support/eventually.h"
#include "tests/support/started_layer.h"

TEST(Process, ResultTellsHowTheShellEnded) {
  const StartedLayer layer;
  // Launched programs do not inherit what the service ignores.
  for (const int number : {SIGPIPE, SIGHUP, SIGINT, SIGQUIT, SIGXFSZ}) signal(number, SIG_IGN);
  const auto run = [](const char* command, DWORD options = RUN_FOREGROUND) {
    return RunShellCommand(command, 5, options, nullptr);
  };
  EXPECT_EQ(run("exit 0"), 32);
  EXPECT_EQ(run("exit 1"), 256);
  EXPECT_EQ(run("/no/such/command 2>&-"), 2);
  EXPECT_EQ(run("/no/such/command 2>&-", 0), 32);
  EXPECT_EQ(run(nullptr), 2);
  for (const int number : {SIGTERM, SIGPIPE, SIGHUP, SIGXFSZ}) {
    const int result = run(("kill -" + std::to_string(number) + " $$; exit 0").c_str());
    EXPECT_EQ(result & ~0x80, number) << "but for the core dump's bit";
  }
  EXPECT_EQ(signal(SIGINT, SIG_DFL), SIG_IGN) << "as before the call";
}

TEST(Process, BackgroundCommandOutlivesTheCall) {
  const StartedLayer layer;
  const std::string wait = "; until [ -e gate ]; do sleep 0.01; done; touch done)";
  EXPECT_EQ(WinExec(("(cd " + layer.folder().path() + wait).c_str(), 5), 32);
  EXPECT_FALSE(std::filesystem::exists(layer.folder().file("done")));
  layer.folder().write("gate", "");
  EXPECT_TRUE(eventually([&] { return std::filesystem::exists(layer.folder().file("done")); }));
}

// Pins(capture-file-stays)
TEST(Process, CaptureGivesTheOutputAndItsFileStaysWhenItCannot) {
  const StartedLayer layer;
  const std::string& folder = layer.folder().path();
  const std::string moved = folder + ".moved";
  const auto files = [&folder] { return std::distance(std::filesystem::directory_iterator(folder), {}); };
  // The output, and a "+" for each file that the call leaves.
  const auto capture = [&](const char* command, bool wantsOutput = true) {
    const auto before = files();
    void* output = &output;
    RunShellCommand(command, 0, RUN_FOREGROUND | RUN_CAPTURE_OUTPUT, wantsOutput ? &output : nullptr);
    if (std::filesystem::exists(moved)) std::filesystem::rename(moved, folder);
    std::string result = wantsOutput && output != nullptr ? static_cast<char*>(output) : "";
    if (wantsOutput) FreeBlock(output);
    return result.append(static_cast<std::size_t>(files() - before), '+');
  };
  EXPECT_EQ(capture("head -c 100000 /dev/zero | tr '\\0' x"), std::string(100000, 'x'));
  EXPECT_EQ(capture("true"), "");
  EXPECT_EQ(capture(nullptr), "");
  EXPECT_EQ(capture("echo kept", false), "+");
  EXPECT_EQ(capture(("(mv " + folder + " " + moved + "; echo lost)").c_str()), "+") << "cannot be opened";
}

// Pins(list-line-loses-last)
TEST(Process, RunningMeansThatACommandNameOccursInTheText) {
  const StartedLayer layer;
  EXPECT_TRUE(IsProcessRunning("/usr/bin/services_tests"));
  const std::string& folder = layer.folder().path();
  const std::string path = getenv("PATH");
  std::filesystem::permissions(layer.folder().write("ps", "#!/bin/sh\ncat " + folder + "/list\n"),
                               std::filesystem::perms{0700});
  setenv("PATH", (folder + ":" + path).c_str(), 1);
  const auto isRunning = [&layer](const char* processes, const char* text) {
    layer.folder().write("list", processes);
    return IsProcessRunning(text) == TRUE;
  };
  EXPECT_TRUE(isRunning("COMMAND\nserv   \n", "a/server")) << "a name shorter than the column";
  EXPECT_FALSE(isRunning("COMMAND\nserver\n", "serve"));
  EXPECT_TRUE(isRunning("COMMAND\nserver", "serve")) << "without newline";
  EXPECT_FALSE(isRunning("COMMAND\n\n", "COMMAND")) << "the heading, and an empty line";
  setenv("PATH", path.c_str(), 1);
  EXPECT_FALSE(IsProcessRunning(nullptr));
}

TEST(ShellWord, IsQuotedWhereTheShellWouldSplitIt) {
  EXPECT_EQ(nimboxi::shellWord("/opt/lsp/nimbolsp"), "/opt/lsp/nimbolsp");
  EXPECT_EQ(nimboxi::shellWord("my lsp/it's"), "'my lsp/it'\\''s'");
  EXPECT_EQ(nimboxi::shellWord(""), "''");
}
