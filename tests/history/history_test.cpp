// Random histories of a pool, 20,000 or as many as the variable NIMBOLSP_HISTORIES says; a search in its two
// forms.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "service/choice.h"
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

// Which of the two runs in the daemon is the processor's matter.
TEST(Choice, IsTheSameInStepsOfEitherWidth) {
  std::mt19937 random(5);
  for (int i = 0; i < 20'000; ++i) {
    const std::size_t count = (1 + random() % 6) * nimbolsp::kRowsAtOnce;
    std::vector<std::int16_t> loads(count);
    std::vector<std::int32_t> last(count), marks(count);
    const int loadKinds = 1 + static_cast<int>(random() % 8), marked = static_cast<int>(random() % 3);
    const int lowest = 93 + static_cast<int>(random() % 8);
    for (std::size_t k = 0; k < count; ++k) {
      loads[k] = static_cast<std::int16_t>(lowest + static_cast<int>(random()) % loadKinds);
      last[k] = random() % 8 == 0 ? INT32_MAX : static_cast<std::int32_t>(random() % 5);
      marks[k] = static_cast<std::int32_t>(random() % 3);
    }
    auto otherMarks = marks;
    const auto one = nimbolsp::chooseServer({loads.data(), last.data(), marks.data(), count}, marked);
    const auto other =
        nimbolsp::chooseInNarrowSteps({loads.data(), last.data(), otherMarks.data(), count}, marked);
    ASSERT_TRUE(one == other && marks == otherMarks) << "list " << i;
  }
}
