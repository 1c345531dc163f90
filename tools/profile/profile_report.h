// A profile that was looked into, as text for people and as JSON. Pure.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/profile/findings.h"
#include "tools/profile/profile_fix.h"
#include "tools/profile/sharing_forecast.h"

namespace nimbolsp::tools {

struct ProfileReport {
  std::string file;
  bool isRead = true;  // false: too large, nothing is known of what the daemon loads
  EffectiveProfile effective;
  std::vector<Finding> findings;
  std::optional<FixOutcome>
      fix;  // what became of a rewriting, if one was asked for; the rest is told as it is then
  std::vector<PoolForecast> forecasts;
  double rate = 0;  // requests a second, of the forecasts; 0: none

  std::size_t count(Severity severity) const;
};

// "FILE:LINE: error: what. Consequence. Remedy. [slug]", and its line's end.
std::string findingText(const std::string& file, const Finding& finding);

// What the daemon loads, every finding, the forecasts, and the count of findings.
std::string textOf(const ProfileReport& report);

// The same as one JSON object. A byte of a name or text is the character U+0000 to U+00FF.
std::string jsonOf(const ProfileReport& report);

}  // namespace nimbolsp::tools
