// Where a server stands by what it says of itself: its load and its list. Pure: knows no pool, lock or log.
// Which server of a list takes a request: service/choice.h.
#pragma once

#include <cstdint>

#include "service/wire/poll_protocol.h"

namespace nimbolsp {

inline constexpr int kAllocationLists = 10;     // list 0 is searched first
inline constexpr std::int16_t kFullLoad = 100;  // per cent; a server with so much is no candidate

// Whether one of the four is negative: worth a message, and used all the same.
bool hasNegative(const Statistics& statistics);

// used * 100 / limit in 32 bits that wrap, cut to 16 bits; 0 when the limit is 0.
std::int16_t loadPercent(std::int32_t used, std::int32_t limit);

// The average, dividend / divisor, cut to 16 bits; 0 without a divisor.
std::int16_t averageOf(std::int32_t divisor, std::int32_t dividend);

// The allocation list for that average: each list is `bucketSize` wide (at least 1). Below 0 the first; above
// all, the last.
std::int16_t allocationListOf(std::int32_t divisor, std::int32_t dividend, std::int32_t bucketSize);

}  // namespace nimbolsp
