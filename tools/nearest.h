// "Did you mean": the nearest of the right words to a wrong one. Pure.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace nimbolsp::tools {

// The candidate with the fewest letters to change, add, leave out or swap, whatever their case; of equals the
// first. Empty when none is near: more than a third of the longer word would have to change, or
// a word has more than 64 bytes.
std::string nearestWord(std::string_view wrong, const std::vector<std::string>& candidates);

// The end of a sentence about a wrong word: "; did you mean ...?" with the nearest one, or nothing.
std::string suggestion(std::string_view wrong, const std::vector<std::string>& candidates);

}  // namespace nimbolsp::tools
