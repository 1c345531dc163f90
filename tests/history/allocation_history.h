// A history of a pool - polls, failures, requests, leaps of the sequence - that any bytes tell, lived by the
// daemon's pool and by the plain one.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace nimbolsp {

// What main sets up before there are pools. Once a process.
void prepareHistories();

// Lives a history with both pools. The first difference, empty when there is none. It ends where the bytes
// do.
std::string differenceIn(std::span<const std::uint8_t> bytes);

}  // namespace nimbolsp
