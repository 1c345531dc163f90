#include "tools/nearest.h"

#include <algorithm>
#include <cctype>

namespace nimbolsp::tools {

namespace {

char lower(char c) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

// The edit distance with swaps of neighbours (optimal string alignment), case apart.
std::size_t distanceOf(std::string_view a, std::string_view b) {
  std::vector<std::vector<std::size_t>> cost(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) cost[i][0] = i;
  for (std::size_t j = 0; j <= b.size(); ++j) cost[0][j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool same = lower(a[i - 1]) == lower(b[j - 1]);
      cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, cost[i - 1][j - 1] + (same ? 0 : 1)});
      if (i > 1 && j > 1 && lower(a[i - 1]) == lower(b[j - 2]) && lower(a[i - 2]) == lower(b[j - 1])) {
        cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
      }
    }
  }
  return cost[a.size()][b.size()];
}

}  // namespace

std::string nearestWord(std::string_view wrong, const std::vector<std::string>& candidates) {
  constexpr std::size_t kLongest = 64;  // nobody mistypes more, and the table stays small
  std::string nearest;
  std::size_t lowest = SIZE_MAX;
  if (wrong.size() > kLongest) return nearest;
  for (const std::string& candidate : candidates) {
    const std::size_t distance = distanceOf(wrong, candidate);
    if (distance >= lowest || distance * 3 > std::max(wrong.size(), candidate.size())) continue;
    lowest = distance;
    nearest = candidate;
  }
  return nearest;
}

std::string suggestion(std::string_view wrong, const std::vector<std::string>& candidates) {
  const std::string nearest = nearestWord(wrong, candidates);
  return nearest.empty() ? nearest : "; did you mean \"" + nearest + "\"?";
}

}  // namespace nimbolsp::tools
