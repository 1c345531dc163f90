#include "tools/duration_count.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace nimbolsp::tools {

// Times below 64 have a class each; above, the six highest bits choose it.
std::size_t DurationCount::classOf(std::uint64_t microseconds) {
  if (microseconds < 2 * kSteps) return microseconds;
  const auto shift = static_cast<std::size_t>(std::bit_width(microseconds / (2 * kSteps)));
  return shift * kSteps + static_cast<std::size_t>(microseconds >> shift);
}

// The longest time of a class.
std::uint64_t DurationCount::endOf(std::size_t number) {
  if (number < 2 * kSteps) return number;
  const std::size_t shift = number / kSteps - 1;
  return ((std::uint64_t{number % kSteps} + kSteps + 1) << shift) - 1;
}

void DurationCount::add(std::chrono::microseconds took) {
  ++counts_[classOf(static_cast<std::uint64_t>(std::max<std::int64_t>(took.count(), 0)))];
  ++total_;
  largest_ = std::max(largest_, took);
}

std::chrono::microseconds DurationCount::percentile(double percent) const {
  const auto wanted = static_cast<std::uint64_t>(std::ceil(static_cast<double>(total_) * percent / 100));
  std::uint64_t seen = 0;
  for (std::size_t i = 0; i < counts_.size(); ++i) {
    seen += counts_[i];
    if (counts_[i] > 0 && seen >= wanted) {
      return std::min(largest_, std::chrono::microseconds(static_cast<std::int64_t>(endOf(i))));
    }
  }
  return largest_;
}

}  // namespace nimbolsp::tools
