// What this program itself may lack while it polls and asks: a descriptor above all. That is no failure of
// the server or daemon that it wanted to reach. Any thread may call.
#pragma once

#include <cstddef>
#include <string>

namespace nimbolsp::tools {

// Whether an errno of socket, connect or epoll tells that this side lacks a descriptor, memory or a free
// port.
bool isShortage(int error);

// What is lacking, as a sentence's part: "nimbolspctl has too few descriptors: Too many open files".
std::string shortageText(int error);

// How many descriptors can still be opened; rather too many than too few.
std::size_t freeDescriptors();

}  // namespace nimbolsp::tools
