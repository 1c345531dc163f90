#include "tools/nearest.h"

#include <algorithm>
#include <cctype>

namespace nimbolsp::tools {

namespace {

char lower(char c) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

constexpr std::size_t kLongest = 64;  // nobody mistypes more

// The edit distance with swaps of neighbours (optimal string alignment), case apart. Of the table of all
// beginnings three rows are kept, for a swap looks back two. Neither word is longer than kLongest.
std::size_t distanceOf(std::string_view a, std::string_view b) {
  std::size_t rows[3][kLongest + 1];
  for (std::size_t j = 0; j <= b.size(); ++j) rows[0][j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t* const row = rows[i % 3];
    const std::size_t *const above = rows[(i - 1) % 3], *const aboveThat = rows[(i + 1) % 3];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool same = lower(a[i - 1]) == lower(b[j - 1]);
      row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (same ? 0 : 1)});
      if (i > 1 && j > 1 && lower(a[i - 1]) == lower(b[j - 2]) && lower(a[i - 2]) == lower(b[j - 1])) {
        row[j] = std::min(row[j], aboveThat[j - 2] + 1);
      }
    }
  }
  return rows[a.size() % 3][b.size()];
}

}  // namespace

std::string nearestWord(std::string_view wrong, const std::vector<std::string>& candidates) {
  std::string nearest;
  std::size_t lowest = SIZE_MAX;
  if (wrong.size() > kLongest) return nearest;
  for (const std::string& candidate : candidates) {
    const auto [shorter, longer] = std::minmax({wrong.size(), candidate.size()});
    if (candidate.size() > kLongest || (longer - shorter) * 3 > longer) continue;
    const std::size_t distance = distanceOf(wrong, candidate);
    if (distance >= lowest || distance * 3 > longer) continue;
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
