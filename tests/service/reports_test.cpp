// Reports: the tag of a debug line, and the settings that suppress a report. The texts show in the end-to-end
// tests.
#include "service/reports.h"

#include <arpa/inet.h>

#include <functional>

#include "service/string_table.h"
#include "tests/support/service_test.h"

namespace nimbolsp {
namespace {

using ReportsTest = ServiceTest;

TEST(DebugLine, TagNamesWhatIsKnown) {
  const struct {
    const char* address;
    std::int32_t port;
    const char* line;
  } cases[] = {
      {"10.0.0.5", 5912, "[ DEBUG ] [ 10.0.0.5:5912 ] text"},
      {"0.0.0.0", -1, "[ DEBUG ] [ -1 ] text"},
      {"0.0.0.0", 0, "[ DEBUG ] text"},
      {"10.0.0.5", 0, "[ DEBUG ] text"},
      {"255.255.255.255", 70000, "[ DEBUG ] [ 255.255.255.255:70000 ] text"},
  };
  for (const auto& row : cases) EXPECT_EQ(debugLine("text", inet_addr(row.address), row.port), row.line);
}

TEST_F(ReportsTest, TerminalAndLogTellTheSame) {
  const struct {
    const char* name;
    std::function<void()> report;
    const char* text;
  } cases[] = {
      {"a percent sign is just that", [] { logText("Load: 37% %s %n"); }, "Load: 37% %s %n\n"},
      {"an unknown id is an empty line", [] { logMessage(7); }, "\n"},
      {"no debug line at level 0", [] { debugLog("detail", 0, 1); }, ""},
      {"a service reports no status",
       [] {
         settings().runningAsService = true;
         reportStatus(kStringStarted);
       },
       ""},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    clearLog();
    EXPECT_EQ(terminalOf(row.report), row.text);
    EXPECT_EQ(log(), row.text);
  }
}

}  // namespace
}  // namespace nimbolsp
