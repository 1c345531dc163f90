// Random histories of a pool: as many as NIMBOLSP_HISTORIES says, 20,000 by itself.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "tests/history/allocation_history.h"

TEST(Allocation, DoesWhatThePlainWalkDoes) {
  nimbolsp::prepareHistories();
  const char* wanted = std::getenv("NIMBOLSP_HISTORIES");
  const long count = wanted == nullptr ? 20'000 : std::atol(wanted);
  std::mt19937_64 random(20261121);
  for (long i = 0; i < count; ++i) {
    std::vector<std::uint8_t> bytes(random() % 300);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    ASSERT_EQ(nimbolsp::differenceIn(bytes), "") << "history " << i;
  }
}
