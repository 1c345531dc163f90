#include "tools/polling/standing.h"

#include "service/balance.h"
#include "service/wire/numbers.h"

namespace nimbolsp::tools {

namespace {

// The quotient as it would be without any cut; 0 for a divisor of 0.
std::int64_t exactQuotient(std::int64_t dividend, std::int64_t divisor) {
  return divisor == 0 ? 0 : dividend / divisor;
}

}  // namespace

Standing standingOf(const Statistics& statistics, std::int32_t bucketSize) {
  const auto& [divisor, dividend, used, limit] = statistics;
  Standing standing{loadPercent(used, limit),
                    averageOf(divisor, dividend),
                    allocationListOf(divisor, dividend, bucketSize),
                    true,
                    {}};
  standing.hasRoom = standing.load < kFullLoad;
  auto& remarks = standing.remarks;
  if (hasNegative(statistics)) remarks.emplace_back("negative statistic: the daemon reports it and uses it");
  if (divisor == 0) remarks.emplace_back("divisor 0: list 0, whatever the dividend");
  if (const std::int64_t exact = exactQuotient(dividend, divisor); exact != standing.average) {
    remarks.push_back("average " + std::to_string(exact) + " does not fit 16 bits: counts as " +
                      std::to_string(standing.average));
  }
  if (limit == 0) remarks.emplace_back("limit 0: load 0 until the next poll, however many requests come");
  if (const std::int64_t product = std::int64_t{used} * 100;
      limit != 0 && product != wrapMultiply(used, 100)) {
    remarks.push_back("used " + std::to_string(used) +
                      ": 100 times that does not fit 32 bits, so the load is " +
                      std::to_string(wrapMultiply(used, 100)) + " / " + std::to_string(limit) +
                      ", counted as " + std::to_string(standing.load) + "%");
  } else if (const std::int64_t exact = exactQuotient(product, limit); exact != standing.load) {
    remarks.push_back("load " + std::to_string(exact) + "% does not fit: counts as " +
                      std::to_string(standing.load) + "%");
  }
  if (standing.load < 0) remarks.emplace_back("negative load: preferred to every other server of its list");
  if (!standing.hasRoom) remarks.emplace_back("full: handed out only when no server has room");
  return standing;
}

}  // namespace nimbolsp::tools
