// Questions about the machine and the environment, the event log, and commands through the real shell; and
// calls of the layer that run out of memory at their first, second, ... `new`.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <filesystem>
#include <new>

#include "compat/services/system/information.h"
#include "compat/services/system/ticks.h"
#include "nimboxi/errors.h"
#include "nimboxi/memory.h"
#include "nimboxi/process.h"
#include "nimboxi/profile.h"
#include "nimboxi/support/shell_words.h"
#include "tests/support/eventually.h"
#include "tests/support/resource_limit.h"
#include "tests/support/started_layer.h"

using namespace nimboxi;

TEST(ProcessorList, Lines) {
  const std::string longest = "flags: " + std::string(4088, 'x');  // of a line, with what counts of it
  const struct {
    std::string lines, expected;
  } cases[] = {
      {"CPU Family: 41\nstepping: 99999999999999999999\nstepping: no", "486 4 65535 8"},
      {"cpu family \t:\t 3\ncpu family:", "386 3 0 8"},
      {"cpu family:5", "586 5 0 8"},
      {"cpu family:6", "586 5 0 8"},
      {"cpu family 3\nfamily 386", "0 0 0 0"},
      {"family\t: 486\n", "486 4 0 8"},
      {"family: 386\nfamily: 486x\nfamily: 496\nfamily: 487\nfamily: 786\nfamily: 286", "386 3 0 8"},
      {longest.substr(1) + "\nstepping: 2\n" + longest + "\nfamily: 686\n" + longest + "cpu family: 3\n",
       "586 5 2 8"},
  };
  for (auto [lines, expected] : cases) {
    std::FILE* list = fmemopen(lines.data(), lines.size(), "r");
    const auto [type, count, revision, level] = readProcessorList(list, 8);
    std::fclose(list);
    EXPECT_EQ(std::to_string(type) + " " + std::to_string(level) + " " + std::to_string(revision) + " " +
                  std::to_string(count),
              expected)
        << lines;
  }
}

TEST(ProcessorList, IsThatOfTheSystem) {
  SystemInfo info{};
  for (SystemInfo* to : {static_cast<SystemInfo*>(nullptr), &info}) GetSystemInfo(to);
  EXPECT_EQ(info.processorCount, sysconf(_SC_NPROCESSORS_ONLN));
}

// Pins(system-info-once)
TEST(ProcessorList, AReadThatFailedIsNotTriedAgain) {
  for (const rlim_t descriptors : {0u, 64u}) {
    const ResourceLimit limit(RLIMIT_NOFILE, descriptors);
    SystemInfo info{1, 1, 1, 1};
    GetSystemInfo(&info);
    EXPECT_EQ(info.processorCount, 0u);
  }
}

// Pins(tick-steps)
TEST(TickCount, DifferencesAreStepsOf25) {
  const auto startsInAStep = [] {
    startTickCount();
    return GetTickCount() % 25 != 0;
  };
  EXPECT_TRUE(eventually(startsInAStep));
  const DWORD first = GetTickCount();
  EXPECT_LT(first + 25, 0x80000000);
  Sleep(30);
  EXPECT_GE(GetTickCount() - first, 25U);
  EXPECT_EQ((GetTickCount() - first) % 25, 0U);
}

TEST(Environment, ReadsWhatFitsAndTellsAMissingVariableAlone) {
  // The result, the buffer and the last error.
  const auto get = [](const char* name, DWORD size) {
    std::string buffer(7, '.');
    SetLastError(-1);
    const DWORD length = GetEnvironmentVariable(name, size == 0 ? nullptr : buffer.data(), size);
    return std::to_string(length) + " " + buffer.c_str() + " " + std::to_string(GetLastError());
  };
  SetLastError(-1);
  EXPECT_TRUE(SetEnvironmentVariable("NIMBOXI_TEST", "12345"));
  EXPECT_FALSE(SetEnvironmentVariable(nullptr, "12345") || SetEnvironmentVariable("a=b", ""));
  EXPECT_EQ(GetLastError(), -1) << "left alone";
  for (const DWORD size : {0u, 5u}) EXPECT_EQ(get("NIMBOXI_TEST", size), "6 ....... 0");
  EXPECT_EQ(get("NIMBOXI_TEST", 6), "5 12345 0");
  EXPECT_TRUE(SetEnvironmentVariable("NIMBOXI_TEST", nullptr));
  EXPECT_EQ(get("NIMBOXI_TEST", 6) + get(nullptr, 6), "0  00 ....... 0");
  EXPECT_EQ(get("NIMBOXI_NONE", 6), "0 ....... 203");
}

TEST(Names, AreRefusedWhenTheyDoNotFit) {
  for (BOOL (*const ask)(char*, DWORD*) : {GetComputerName, GetUserName}) {
    std::string name(256, '#');
    DWORD size = 255;
    ASSERT_TRUE(ask(name.data(), &size));
    EXPECT_EQ(size, strlen(name.c_str()));
    DWORD tooSmall = size - 1;
    EXPECT_FALSE(ask(nullptr, &size) || ask(name.data(), nullptr) || ask(name.data(), &tooSmall));
    EXPECT_TRUE(tooSmall == size - 1 && (ask == GetComputerName || name[0] == '\0'));
    EXPECT_EQ(ask(name.data(), &size), ask == GetUserName) << "with room for the NUL behind the size";
  }
}

// Pins(events-informational)
TEST(EventLog, StringsBecomeOneInformationalText) {
  const char* strings[] = {"Pool", nullptr, " 100%s", " started"};
  testing::internal::CaptureStderr();
  for (const auto& texts : {strings, static_cast<const char**>(nullptr), strings}) {
    openlog(nullptr, LOG_PERROR, LOG_USER);  // shows what is logged, also when the source is opened anew
    setlogmask(LOG_MASK(LOG_INFO));
    EXPECT_TRUE(ReportEvent(nullptr, 1, 0, 0, nullptr, 4, 0, texts, nullptr));  // 1: an error
    EXPECT_TRUE(texts == nullptr ? DeregisterEventSource(nullptr)
                                 : RegisterEventSource(nullptr, "events") != nullptr);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "services_tests: Pool 100%s started\nevents: \nservices_tests: Pool 100%s started\n");
}

TEST(Process, ResultTellsHowTheShellEnded) {
  const auto run = [](const std::string& command, DWORD options = RUN_FOREGROUND) {
    return RunShellCommand(command.c_str(), 5, options, nullptr);
  };
  const char* isIgnored = "timeout 3 sh -c \"until grep -q 'SigIgn:.*[67]$' /proc/$PPID/status; do :; done\"";
  EXPECT_EQ(run(isIgnored), 32) << "interrupt and quit, in the caller meanwhile";
  for (const int number : {SIGTERM, SIGPIPE, SIGHUP, SIGXFSZ, SIGINT, SIGQUIT}) {
    const auto before = number == SIGTERM ? SIG_DFL : SIG_IGN;  // which the command does not inherit
    signal(number, before);
    const int result = run("kill -" + std::to_string(number) + " $$; exit 0");
    EXPECT_EQ(result & ~0x80, number) << "but for the core dump's bit";
    EXPECT_EQ(signal(number, SIG_DFL), before) << "as before the call";
  }
  EXPECT_EQ(run("/no/such/command 2>&-"), 2);
  EXPECT_EQ(run("/no/such/command 2>&-", RUN_CAPTURE_OUTPUT), 32) << "in the background";
  EXPECT_EQ(WinExec("/no/such/command 2>&-", 5), 32);
  EXPECT_EQ(RunShellCommand(nullptr, 5, RUN_FOREGROUND, nullptr), 2);
  EXPECT_EQ(shellWord("/opt/nimbolsp") + shellWord("") + shellWord("it's"), "/opt/nimbolsp'''it'\\''s'");
}

// Pins(capture-file-stays)
TEST(Process, CaptureGivesTheOutputAndItsFileStaysWhenItCannot) {
  const StartedLayer layer;
  const std::string& folder = layer.folder().path();
  const std::string moved = folder + ".moved";
  const auto files = [&folder] { return std::distance(std::filesystem::directory_iterator(folder), {}); };
  // The result, the output, and a "+" for each file that the call leaves.
  const auto capture = [&](const char* command, bool wantsOutput = true) {
    const auto before = files();
    void* output = &output;
    const DWORD options = RUN_FOREGROUND | RUN_CAPTURE_OUTPUT;
    auto result = std::to_string(RunShellCommand(command, 0, options, wantsOutput ? &output : nullptr));
    if (std::filesystem::exists(moved)) std::filesystem::rename(moved, folder);
    if (wantsOutput && output != nullptr) result += static_cast<char*>(output);
    if (wantsOutput) FreeBlock(output);
    return result.append(static_cast<std::size_t>(files() - before), '+');
  };
  EXPECT_EQ(capture("head -c 100000 /dev/zero | tr '\\0' x"), "32" + std::string(100000, 'x'));
  EXPECT_EQ(capture("false"), "256");
  EXPECT_EQ(capture(nullptr), "2");
  EXPECT_EQ(capture("echo kept", false), "32+");
  EXPECT_EQ(capture(("(mv " + folder + " " + moved + "; echo lost)").c_str()), "32+") << "cannot be opened";
}

// Pins(list-line-loses-last)
TEST(Process, RunningMeansThatACommandNameOccursInTheText) {
  const StartedLayer layer;
  EXPECT_TRUE(IsProcessRunning("/usr/bin/services_tests"));
  const std::string& folder = layer.folder().path();
  const std::string path = getenv("PATH"), full(251, 'x');
  chmod(layer.folder().write("ps", "#!/bin/sh\ncat " + folder + "/list\n").c_str(), 0700);
  setenv("PATH", (folder + ":" + path).c_str(), 1);
  const auto isRunning = [&layer](const std::string& processes, const std::string& text) {
    layer.folder().write("list", "COMMAND\n" + processes);
    return IsProcessRunning(text.c_str()) == TRUE;
  };
  EXPECT_TRUE(isRunning("serv   \n", "a/server")) << "a name shorter than the column";
  EXPECT_FALSE(isRunning("server\n", "serve"));
  EXPECT_TRUE(isRunning("server", "serve")) << "without newline";
  EXPECT_FALSE(isRunning("\n", "COMMAND")) << "the heading, and an empty line";
  EXPECT_TRUE(isRunning(full + "ozzzz", full)) << "read in pieces of 252, which lose one";
  EXPECT_FALSE(std::filesystem::exists(layer.folder().file("psrep")));
  EXPECT_FALSE(IsProcessRunning(nullptr));
  setenv("PATH", path.c_str(), 1);
}

// Every allocation of this program with `new` comes through here.
static thread_local int allocationsLeft = -1;  // of this thread, until all fail; below 0: no limit

[[gnu::noinline]] void* operator new(std::size_t size) {
  if (allocationsLeft == 0) throw std::bad_alloc();
  if (allocationsLeft > 0) --allocationsLeft;
  return std::malloc(size + 1);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}

TEST(NoMemory, NoCallLetsAnExceptionOut) {
  const StartedLayer layer;
  static const std::string file = layer.folder().write("a.ini", "[A]\r\nx=1\r\n");
  static char text[9];
  static void* output = text;
  static const char* const kLong = "a text that a string has to allocate room for";
  static const char *const kPlain = NIMBOLSP_TEST_MODULES "/plain",
                           *kEngine = NIMBOLSP_TEST_MODULES "/engine";
  EXPECT_NE(LoadLibrary(kEngine), nullptr);
  bool (*const calls[])() = {
      // whether the answer and the last error are right, with or without memory
      [] { return GetPrivateProfileString("A", "x", "", text, 9, file.c_str()) <= 1; },
      [] { return WritePrivateProfileString("A", kLong, "2", file.c_str()) == (GetLastError() != 8); },
      [] { return (LoadLibrary(kPlain) == nullptr) == (GetLastError() == ERROR_GEN_FAILURE); },
      [] { return (GetModuleHandle(kEngine) == nullptr) == (GetLastError() == ERROR_NOT_ENOUGH_MEMORY); },
      [] { return RunShellCommand("true", 0, RUN_FOREGROUND | RUN_CAPTURE_OUTPUT, &output) != 0; },
      [] { return IsProcessRunning("ps") != 2; },
      [] { return ReportEvent(nullptr, 0, 0, 0, nullptr, 1, 0, &kLong, nullptr) == TRUE; },
  };
  for (int i = 0; i < 15; ++i) {
    for (const auto& call : calls) {
      bool isRight = false;
      allocationsLeft = i;
      EXPECT_NO_THROW(isRight = call());
      allocationsLeft = -1;
      EXPECT_TRUE(isRight) << &call - calls;
      EXPECT_EQ(layer.folder().read("a.ini").substr(0, 10), "[A]\r\nx=1\r\n");
    }
  }
  EXPECT_TRUE(GetModuleHandle(kPlain) != nullptr && output == nullptr);
  EXPECT_EQ(layer.folder().read("a.ini").substr(10), std::string(kLong) + "=2\r\n");
}
