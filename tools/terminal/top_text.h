// The small texts of "top": states, bars, histories, times, and text that fits a width. Pure.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>

#include "tools/terminal/top_view.h"

namespace nimbolsp::tools {

// How a server is, in a word of at most 11 letters.
std::string stateOf(const ServerState& server);

// A bar of that many columns for a load in per cent: empty at 0 and below, full at 100 and above.
std::string barText(std::int16_t load, std::size_t width, bool unicode);

// The newest loads of a history as one column each; failed polls are marked.
ScreenLine historyText(const std::deque<std::int16_t>& history, std::size_t width, bool unicode);

// The line cut to the width, with a mark where something is missing, or filled with blanks to it.
ScreenLine fit(ScreenLine line, std::size_t width, bool toTheRight, bool unicode);

std::string millisecondsText(std::chrono::microseconds time);        // "0.35", "38.7", "1502"
std::string durationText(std::chrono::system_clock::duration time);  // "12s", "3m20s", "5h03m", "2d04h"
std::string clockText(std::chrono::system_clock::time_point time);   // "14:03:22", local
std::string countText(std::uint64_t number);                         // "9999", "12k", "3M"
std::string intervalText(const Picture& picture);                    // "polled every 5 to 30 s"

// The median of the daemon's latest answers.
std::chrono::microseconds typicalTime(const ServiceState& service);

}  // namespace nimbolsp::tools
