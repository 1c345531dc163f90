// Which server of a list takes a request. Pure: knows no pool, lock or log.
#pragma once

#include <cstddef>
#include <cstdint>

namespace nimbolsp {

// How many servers a step of a search looks at: a list's arrays hold a multiple of it, filled up with rows
// that no search finds: no load is so high, and no last allocation is later, should the mark, 0, be that of
// the search.
inline constexpr std::size_t kRowsAtOnce = 8;
inline constexpr std::int16_t kLoadOfNoServer = INT16_MAX;
inline constexpr std::int32_t kLastAllocationOfNoServer = INT32_MAX;

// The servers of a list from its head on, one number of each side by side, so that a search reads them in one
// go. The arrays do not overlap.
struct ListRows {
  const std::int16_t* loads;            // per cent
  const std::int32_t* lastAllocations;  // sequence numbers, compared as signed numbers
  std::int32_t* candidateMarks;         // the sequence number of the search that marked the server last
  std::size_t count;                    // a multiple of kRowsAtOnce, at most 32768
};

struct Choice {
  int candidates = 0;      // how many servers the search found; without any the places say nothing
  std::size_t first = 0;   // the place of the first of them
  std::size_t chosen = 0;  // of the one that is handed out

  bool operator==(const Choice&) const = default;
};

// The candidates of a list are, of its servers below 100 %, the least loaded ones; of several the one that
// was handed out longest ago is chosen, and of those the first. Marks, with the search's sequence number,
// every server that is a candidate when the walk from the head comes to it.
Choice chooseServer(const ListRows& rows, std::int32_t sequence);

// The same on any processor of this kind; the other may take one that does more in a step.
Choice chooseInNarrowSteps(const ListRows& rows, std::int32_t sequence);

}  // namespace nimbolsp
