// System questions: processor lists, tick count, sleep, environment, names, event log.
#include "compat/services/system/information.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include "compat/services/system/ticks.h"
#include "nimboxi/errors.h"
#include "tests/support/resource_limit.h"

using namespace nimboxi;

TEST(ProcessorList, Lines) {
  const auto read = [](std::string lines) {
    std::FILE* list = fmemopen(lines.data(), lines.size(), "r");
    const SystemInfo info = readProcessorList(list, 8);
    std::fclose(list);
    return std::to_string(info.processorType) + " " + std::to_string(info.processorRevision);
  };
  EXPECT_EQ(read("CPU Family: 41"), "486 0") << "only the first digit counts";
  EXPECT_EQ(read("cpu family:"), "0 0");
  EXPECT_EQ(read("stepping: 99999999999999999999"), "0 65535");
  EXPECT_EQ(read("family\t: 486\n"), "486 0");
  EXPECT_EQ(read("flags: " + std::string(4088, 'x') + "cpu family: 3\nstepping: 2\n"), "0 2") << "overlong";
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
  bool isExact = false;  // a start in the middle of a step
  for (int i = 0; i < 50 && !isExact; ++i) {
    Sleep(1);
    startTickCount();
    isExact = GetTickCount() % 25 != 0;
  }
  EXPECT_TRUE(isExact);
  const DWORD first = GetTickCount();
  EXPECT_TRUE(first < 0x80000000 || first > 0xFFFFFFFF - 25) << first;
  Sleep(30);
  EXPECT_GE(GetTickCount() - first, 25U);
  EXPECT_EQ((GetTickCount() - first) % 25, 0U);
}

TEST(Environment, ReadsWhatFitsAndTellsAMissingVariableAlone) {
  SetLastError(-1);
  EXPECT_EQ(SetEnvironmentVariable("NIMBOXI_TEST", "12345"), 1);
  EXPECT_EQ(SetEnvironmentVariable(nullptr, "12345") + SetEnvironmentVariable("a=b", ""), 0);
  EXPECT_EQ(GetLastError(), -1);
  char buffer[] = "......";
  EXPECT_EQ(GetEnvironmentVariable("NIMBOXI_TEST", buffer, 5), 6U);
  EXPECT_STREQ(buffer, "......");
  EXPECT_EQ(GetEnvironmentVariable("NIMBOXI_TEST", buffer, 6), 5U);
  EXPECT_STREQ(buffer, "12345");
  EXPECT_EQ(GetLastError(), 0);
  EXPECT_EQ(SetEnvironmentVariable("NIMBOXI_TEST", nullptr), 1);
  EXPECT_STREQ(getenv("NIMBOXI_TEST"), "");
  EXPECT_EQ(GetEnvironmentVariable("NIMBOXI_NONE", buffer, 6), 0u);
  EXPECT_EQ(GetLastError(), ERROR_ENVVAR_NOT_FOUND);
}

TEST(Names, AreRefusedWhenTheyDoNotFit) {
  for (BOOL (*const ask)(char*, DWORD*) : {GetComputerName, GetUserName}) {
    char name[256];
    DWORD size = 255;
    ASSERT_TRUE(ask(name, &size));
    EXPECT_EQ(size, strlen(name));
    DWORD tooSmall = size - 1;
    EXPECT_FALSE(ask(name, &tooSmall) || ask(nullptr, &size) || ask(name, nullptr));
    EXPECT_EQ(tooSmall, size - 1);
    EXPECT_EQ(ask(name, &size), ask == GetUserName) << "of one there is room for the NUL behind the size";
  }
}

// Pins(events-informational)
TEST(EventLog, StringsBecomeOneInformationalText) {
  openlog("events", LOG_PERROR | LOG_NDELAY, LOG_USER);  // shows what is logged
  setlogmask(LOG_MASK(LOG_INFO));
  const char* strings[] = {"Pool", nullptr, " 100%s", " started"};
  testing::internal::CaptureStderr();
  for (const auto& texts : {strings, static_cast<const char**>(nullptr)})
    EXPECT_TRUE(ReportEvent(nullptr, 1, 0, 0, nullptr, 4, 0, texts, nullptr));  // 1: an error
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "events: Pool 100%s started\nevents: \n");
}
