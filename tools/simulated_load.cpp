#include "tools/simulated_load.h"

#include <algorithm>
#include <limits>

#include "service/wire/numbers.h"

namespace nimbolsp::tools {

namespace {

constexpr std::int64_t kWholeWeight = 100;
constexpr std::int32_t kLimitToBeFull = 100;  // where the own limit is none

std::int32_t scaled(std::int32_t value, std::int64_t factor, std::int64_t divisor) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(value * factor / divisor, Limits::min(), Limits::max()));
}

// A limit stays one: 0 would mean a load of 0.
Statistics weighted(Statistics figures, std::int32_t weight) {
  figures.ratioDividend = scaled(figures.ratioDividend, kWholeWeight, weight);
  const bool hasLimit = figures.loadLimit > 0;
  figures.loadLimit = scaled(figures.loadLimit, weight, kWholeWeight);
  if (hasLimit) figures.loadLimit = std::max(figures.loadLimit, 1);
  return figures;
}

// What of the room that is left the warm-up takes.
std::int32_t warmingLoad(const Statistics& figures, std::int64_t timeLeft, std::int64_t whole) {
  const std::int64_t room = std::int64_t{figures.loadLimit} - figures.loadUsed;
  return room <= 0 ? 0
                   : static_cast<std::int32_t>(std::min<std::int64_t>(room * timeLeft / whole, INT32_MAX));
}

}  // namespace

Statistics figuresAt(const ServerOptions& options, std::int32_t visits, std::int64_t time) {
  Statistics figures = weighted(options.statistics, options.weight);
  figures.loadUsed = wrapAdd(figures.loadUsed, visits);
  if (options.drainStart >= 0 && time >= options.drainStart) {
    if (figures.loadLimit <= 0) figures.loadLimit = kLimitToBeFull;
    figures.loadUsed = std::max(figures.loadUsed, figures.loadLimit);
    return figures;
  }
  const std::int64_t warmUpLeft = options.warmUpStart + options.warmUpMilliseconds - time;
  if (warmUpLeft > 0) {
    figures.loadUsed =
        wrapAdd(figures.loadUsed, warmingLoad(figures, warmUpLeft, options.warmUpMilliseconds));
  }
  return figures;
}

}  // namespace nimbolsp::tools
