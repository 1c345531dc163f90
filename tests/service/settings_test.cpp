// The profile's numbers, right and wrong, and the settings that they make.
#include "service/settings.h"

#include <tuple>

#include "tests/support/service_test.h"

namespace nimbolsp {
namespace {

TEST(ProfileKeys, NumbersOutOfTheirLimits) {
  const struct {
    KeyId key;
    const char* value;
    std::int32_t number;
  } cases[] = {
      {kPort, "70000x", 70000},
      {kLogLineThreshold, "0", 256},
      {kBucketSize, "-5", 100},
      {kBucketSize, "3000000000", 100},
      {kDebugMode, "65537", 1},
      {kDebugMode, "-1", -1},
      {kPollTimer, "0", 30000},
      {kPollTimer, "536870912", 30000},  // the product wraps to 0
      {kPollTimer, "3000000", -1294967296},
  };
  for (const auto& row : cases) EXPECT_EQ(keyNumber(row.key, row.value), row.number) << row.value;
}

using SettingsTest = ServiceTest;

TEST_F(SettingsTest, EachIsReadByItsKey) {
  folder_.write("program.ini", "[Setup]\nLogLineThreshold=2\nQuietMode=-1\nBucketSize=3\nDebugMode=65540\n");
  const Settings all = readSettings(folder_.file("program"), "-Word");
  EXPECT_EQ(all.logFilePath, folder_.file("program-Word.log"));
  EXPECT_EQ(std::tuple(all.logLineThreshold, all.quietMode, all.bucketSize, all.debugLevel),
            std::tuple(2, true, 3, 4));
  EXPECT_FALSE(readSettings(folder_.file("no program"), "").quietMode);
}

}  // namespace
}  // namespace nimbolsp
