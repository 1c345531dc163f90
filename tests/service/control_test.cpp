// What counts as a started program. The commands show in the end-to-end tests.
#include "service/control.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace nimbolsp {
namespace {

// Pins(wide-success)
TEST(Control, LaunchSucceedsFrom32OnUnsigned) {
  for (const std::int32_t result : {2, 9, 11, 31}) EXPECT_FALSE(isLaunched(result)) << result;
  for (const std::int32_t result : {32, 256, 127 * 256, -1}) EXPECT_TRUE(isLaunched(result)) << result;
}

}  // namespace
}  // namespace nimbolsp
