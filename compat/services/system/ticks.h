// The start of the tick count. Keeps one atomic number.
#pragma once

namespace nimboxi {

// From now on GetTickCount counts from this moment.
void startTickCount();

}  // namespace nimboxi
