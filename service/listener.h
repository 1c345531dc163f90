// The body of "-RUN": loads the pools, listens, and answers front ends one connection at a time on the main
// thread, until a stop message comes or accepting fails.
#pragma once

namespace nimbolsp {

void runService();

}  // namespace nimbolsp
