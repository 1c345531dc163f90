// Reports: the tag of a debug line, and the settings that suppress a report. The texts show in the end-to-end
// tests.
#include "service/reports.h"

#include <arpa/inet.h>

#include "service/resources/string_table.h"
#include "tests/support/service_test.h"

namespace nimbolsp {
namespace {

using ReportsTest = ServiceTest;

TEST(DebugLine, TagNamesWhatIsKnown) {
  EXPECT_EQ(debugLine("text", inet_addr("10.0.0.5"), 5912), "[ DEBUG ] [ 10.0.0.5:5912 ] text");
  EXPECT_EQ(debugLine("text", inet_addr("255.255.255.255"), 70000),
            "[ DEBUG ] [ 255.255.255.255:70000 ] text");
  EXPECT_EQ(debugLine("text", 0, -1), "[ DEBUG ] [ -1 ] text");
  EXPECT_EQ(debugLine("text", inet_addr("10.0.0.5"), 0), "[ DEBUG ] text");
}

TEST_F(ReportsTest, TerminalAndLogTellTheSame) {
  const auto report = [] {
    logText("Load: 37% %s %n");
    logMessage(7);  // an unknown id is an empty line
    debugLog("not at level 0", 0, 1);
    set(&Settings::runningAsService, true);
    reportStatus(kStringStarted);  // a service reports none
  };
  EXPECT_EQ(terminalOf(report), "Load: 37% %s %n\n\n");
  EXPECT_EQ(log(), "Load: 37% %s %n\n\n");
}

}  // namespace
}  // namespace nimbolsp
