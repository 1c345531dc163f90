#include "service/choice.h"

#include <cstring>
#include <limits>

#include "service/balance.h"

namespace nimbolsp {

namespace {

// Compiled into the function that calls it, and so for the processor that this one is for.
#define NIMBOLSP_INLINE [[gnu::always_inline]] inline

// A step's loads, and its other numbers, in vectors of the compilers: both know them. A comparison of two
// gives one whose places are -1 where it holds, else 0; as a condition it chooses place by place.
using Loads = std::int16_t __attribute__((vector_size(kRowsAtOnce * sizeof(std::int16_t))));
using Numbers = std::int32_t __attribute__((vector_size(kRowsAtOnce * sizeof(std::int32_t))));

constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();
constexpr Numbers kPlaces = {0, 1, 2, 3, 4, 5, 6, 7};

template <typename Vector, typename Value>
NIMBOLSP_INLINE void read(Vector& vector, const Value* from) {
  std::memcpy(&vector, from, sizeof vector);
}

// Folds a vector's upper half onto the lower one, three times: what is left in place 0 is of all places.
template <typename Vector, typename Fold>
NIMBOLSP_INLINE auto foldAll(Vector& all, Fold fold) {
  fold(all, __builtin_shufflevector(all, all, 4, 5, 6, 7, 4, 5, 6, 7));
  fold(all, __builtin_shufflevector(all, all, 2, 3, 2, 3, 2, 3, 2, 3));
  fold(all, __builtin_shufflevector(all, all, 1, 1, 1, 1, 1, 1, 1, 1));
  return all[0];
}

constexpr auto kLower = [](auto& all, const auto& other) __attribute__((always_inline)) {
  all = other < all ? other : all;
};
constexpr auto kSum = [](auto& all, const auto& other) __attribute__((always_inline)) {
  all += other;
};

// The lowest load; kFullLoad when none is below.
NIMBOLSP_INLINE std::int16_t lowestLoad(const ListRows& rows) {
  Loads lowest = Loads{} + kFullLoad, loads;
  for (std::size_t i = 0; i < rows.count; i += kRowsAtOnce) {
    read(loads, rows.loads + i);
    lowest = loads < lowest ? loads : lowest;
  }
  return foldAll(lowest, kLower);
}

// Marks what is a candidate up to the first server of the lowest load, that one too, and returns its place.
NIMBOLSP_INLINE std::size_t markUpToFirst(const ListRows& rows, std::int16_t lowest, std::int32_t sequence) {
  std::int16_t least = kFullLoad - 1;
  for (std::size_t i = 0;; ++i) {
    if (rows.loads[i] > least) continue;
    least = rows.loads[i];
    rows.candidateMarks[i] = sequence;
    if (least == lowest) return i;
  }
}

NIMBOLSP_INLINE Choice choose(const ListRows& rows, std::int32_t sequence) {
  const std::int16_t lowest = lowestLoad(rows);
  if (lowest == kFullLoad) return {};
  const std::size_t first = markUpToFirst(rows, lowest, sequence);
  const std::size_t step = first / kRowsAtOnce * kRowsAtOnce;
  // In each place of a step: how many candidates there were, the lowest last allocation, and its place in the
  // list.
  Loads equal{};
  Numbers least = Numbers{} + kHighest, leastPlace = Numbers{} + kHighest;
  Numbers place = kPlaces + static_cast<std::int32_t>(step);
  const auto passed = static_cast<std::int32_t>(first) - 1;
  for (std::size_t i = step; i < rows.count; i += kRowsAtOnce) {
    Loads loads;
    Numbers marks, last;
    read(loads, rows.loads + i);
    read(marks, rows.candidateMarks + i);
    read(last, rows.lastAllocations + i);
    const Loads found = loads == lowest;
    equal -= found;
    marks = __builtin_convertvector(found, Numbers) ? Numbers{} + sequence : marks;
    std::memcpy(rows.candidateMarks + i, &marks, sizeof marks);
    // By the marks, not by the loads: a mark that is as old as all sequence numbers together counts too.
    last = ((marks == sequence) & (place > passed)) ? last : kHighest;
    leastPlace = last < least ? place : leastPlace;
    least = last < least ? last : least;
    place += kRowsAtOnce;
  }
  Choice choice{foldAll(equal, kSum), first, first};
  Numbers lowestOfAll = least;
  const std::int32_t lowestLast = foldAll(lowestOfAll, kLower);
  // With one candidate it is the chosen one; the same when none was handed out before the highest number.
  if (choice.candidates == 1 || lowestLast == kHighest) return choice;
  leastPlace = least == lowestLast ? leastPlace : kHighest;
  choice.chosen = static_cast<std::size_t>(foldAll(leastPlace, kLower));
  return choice;
}

// For processors that hold a step's numbers in one register (since 2013).
[[gnu::target("avx2")]] Choice chooseInWideSteps(const ListRows& rows, std::int32_t sequence) {
  return choose(rows, sequence);
}

}  // namespace

Choice chooseInNarrowSteps(const ListRows& rows, std::int32_t sequence) {
  return choose(rows, sequence);
}

// Asked for here and not left to the loader: clang++ before 18 makes nothing of `target_clones` but the wide
// one.
Choice chooseServer(const ListRows& rows, std::int32_t sequence) {
  return __builtin_cpu_supports("avx2") ? chooseInWideSteps(rows, sequence)
                                        : chooseInNarrowSteps(rows, sequence);
}

}  // namespace nimbolsp
