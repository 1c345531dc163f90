// What came of asking the daemon, as text and as JSON. Pure.
#pragma once

#include <string>

#include "tools/front_end.h"

namespace nimbolsp::tools {

// The table of the servers and a line on rate and times; empty without an answer.
//   withVisits  adds the column of failed visits
std::string textOf(const AskOutcome& outcome, bool withVisits);

// All of it as one JSON object, for programs, with a newline behind it.
std::string jsonOf(const AskOutcome& outcome, const std::string& pool);

}  // namespace nimbolsp::tools
