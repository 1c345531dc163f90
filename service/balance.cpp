#include "service/balance.h"

#include <algorithm>

#include "service/wire/numbers.h"

namespace nimbolsp {

bool hasNegative(const Statistics& statistics) {
  return statistics.ratioDivisor < 0 || statistics.ratioDividend < 0 || statistics.loadUsed < 0 ||
         statistics.loadLimit < 0;
}

std::int16_t loadPercent(std::int32_t used, std::int32_t limit) {
  return limit == 0 ? std::int16_t{0} : lowInt16(wrapDivide(wrapMultiply(used, 100), limit));
}

std::int16_t averageOf(std::int32_t divisor, std::int32_t dividend) {
  // Required(average-wraps): the cut to 16 bits, so that an average of 40000 wraps negative and counts as
  // idle.
  return divisor == 0 ? std::int16_t{0} : lowInt16(wrapDivide(dividend, divisor));
}

std::int16_t allocationListOf(std::int32_t divisor, std::int32_t dividend, std::int32_t bucketSize) {
  const std::int16_t average = averageOf(divisor, dividend);
  return std::clamp<std::int16_t>(lowInt16(wrapDivide(average, bucketSize)), 0, kAllocationLists - 1);
}

}  // namespace nimbolsp
