// Polls, failures, requests and leaps of the sequence: the daemon's pool beside the plain walk.
#include "tests/fuzz/fuzz_input.h"
#include "tests/history/allocation_history.h"

void fuzz(FuzzInput input) {
  [[maybe_unused]] static const bool prepared = (nimbolsp::prepareHistories(), true);
  const std::string bytes = input.rest();
  const std::string difference =
      nimbolsp::differenceIn({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
  if (!difference.empty()) std::fprintf(stderr, "%s\n", difference.c_str());
  MUST(difference.empty());
}
