// The table that turns an errno into a last error; the only one. Pure.
#pragma once

#include <cstdint>

namespace nimboxi {

// The last error of an errno value; 31 for 0, negative values and those beyond the table.
std::int32_t lastErrorOfErrno(int error);

}  // namespace nimboxi
