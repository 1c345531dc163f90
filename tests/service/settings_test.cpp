// The settings of the profile, right and wrong.
#include "service/settings.h"

#include "tests/support/service_test.h"

namespace nimbolsp {
namespace {

using SettingsTest = ServiceTest;

TEST_F(SettingsTest, WrongValuesBecomeTheDefaults) {
  const struct {
    const char *threshold, *quiet, *bucketSize, *debug;
    const char* settings;
  } cases[] = {
      {"", "", "", "", "256 0 100 0"},         {"2", "1", "250", "2", "2 1 250 2"},
      {"0", "0", "0", "0", "256 0 100 0"},     {"-1", "-1", "-5", "-1", "256 1 100 -1"},
      {"x", "yes", "abc", "x", "256 0 100 0"}, {"1", "2", "3000000000", "65537", "1 1 100 1"},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.settings);
    nameFiles(folder_.file("program" + std::to_string(&row - cases)), "");  // a file never read before
    folder_.write("program" + std::to_string(&row - cases) + ".ini",
                  std::string("[Setup]\nLogLineThreshold=") + row.threshold + "\nQuietMode=" + row.quiet +
                      "\nBucketSize=" + row.bucketSize + "\nDebugMode=" + row.debug);
    readSettings();
    const Settings& all = settings();
    EXPECT_EQ(std::to_string(all.logLineThreshold) + " " + std::to_string(all.quietMode) + " " +
                  std::to_string(all.bucketSize) + " " + std::to_string(all.debugLevel),
              row.settings);
  }
}

}  // namespace
}  // namespace nimbolsp
