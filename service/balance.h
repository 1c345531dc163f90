// How the load is shared: where a server stands by what it says of itself, and which of the servers of a list
// takes a request. Pure: knows no pool, lock or log. Whoever calls walks the lists.
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

// The candidates of one list: of its servers below 100 % the least loaded. Fed the loads from the list's
// head.
class Candidates {
 public:
  enum Verdict { kPassedOver, kFirst, kEqual };

  // kFirst: a candidate, less loaded than all before, which are none any more. kEqual: one more candidate.
  Verdict judge(std::int16_t load);

  int count() const { return count_; }

 private:
  std::int16_t lowest_ = kFullLoad;
  int count_ = 0;
};

// Of several candidates the one that was chosen longest ago. Fed the sequence numbers of their last
// allocations in the order of the list, compared as signed numbers.
class LeastRecent {
 public:
  explicit LeastRecent(std::int32_t first) : lowest_(first) {}

  // True for one that is to be preferred to all before.
  bool prefers(std::int32_t lastAllocation);

 private:
  std::int32_t lowest_;
};

}  // namespace nimbolsp
