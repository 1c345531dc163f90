// System questions: processor lists, tick count, sleep, environment, event log.
#include "compat/services/system/information.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <tuple>
#include <vector>

#include "compat/services/system/ticks.h"

using namespace nimboxi;

TEST(ProcessorList, Lines) {
  std::vector<std::tuple<std::string, DWORD, WORD>> cases = {
      {"CPU Family: 41", 486, 0},  // only the first digit counts
      {"cpu family:", 0, 0},
      {"stepping: 99999999999999999999", 0, 0xFFFF},
      {"family\t: 486\n", 486, 0},
      {"flags: " + std::string(4088, 'x') + "cpu family: 3\nstepping: 2\n", 0, 2},  // an overlong line
  };
  for (auto& [lines, type, revision] : cases) {
    SCOPED_TRACE(lines);
    std::FILE* list = fmemopen(lines.data(), lines.size(), "r");
    const SystemInfo info = readProcessorList(list, 8);
    std::fclose(list);
    EXPECT_EQ(info.processorType, type);
    EXPECT_EQ(info.processorRevision, revision);
  }
}

TEST(TickCount, DifferencesAreStepsOf25) {
  startTickCount();
  const DWORD first = GetTickCount();
  EXPECT_TRUE(first < 0x80000000 || first > 0xFFFFFFFF - 25) << first;
  Sleep(30);
  EXPECT_GE(GetTickCount() - first, 25U);
  EXPECT_EQ((GetTickCount() - first) % 25, 0U);
}

TEST(Environment, ReadsWhatFits) {
  EXPECT_EQ(SetEnvironmentVariable("NIMBOXI_TEST", "12345"), 1);
  char buffer[] = "......";
  EXPECT_EQ(GetEnvironmentVariable("NIMBOXI_TEST", buffer, 5), 6U);
  EXPECT_STREQ(buffer, "......");
  EXPECT_EQ(GetEnvironmentVariable("NIMBOXI_TEST", buffer, 6), 5U);
  EXPECT_STREQ(buffer, "12345");
  EXPECT_EQ(SetEnvironmentVariable("NIMBOXI_TEST", nullptr), 1);
  EXPECT_STREQ(getenv("NIMBOXI_TEST"), "");
}

TEST(EventLog, StringsBecomeOneText) {
  openlog("events", LOG_PERROR | LOG_NDELAY, LOG_USER);  // shows what is logged
  const char* strings[] = {"Pool", nullptr, " 100%s", " started"};
  testing::internal::CaptureStderr();
  EXPECT_TRUE(ReportEvent(nullptr, 1, 0, 0, nullptr, 4, 0, strings, nullptr));
  EXPECT_TRUE(ReportEvent(nullptr, 1, 0, 0, nullptr, 4, 0, nullptr, nullptr));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "events: Pool 100%s started\nevents: \n");
}
