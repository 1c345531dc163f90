// How a call of the layer says that it failed: the last error, and the result that goes with it.
#pragma once

#include "nimboxi/errors.h"

namespace nimboxi {

// Sets the last error. Returns the failed call's result: FALSE, 0 or null, unless another is given.
template <typename Result = BOOL>
Result fail(std::int32_t error, Result result = {}) {
  SetLastError(error);
  return result;
}

// As fail, with the last error of errno.
inline BOOL failFromErrno() {
  SetLastErrorFromErrno();
  return FALSE;
}

// Sets the last error. Returns whether it is that of success.
inline BOOL finish(std::int32_t error) {
  SetLastError(error);
  return error == ERROR_SUCCESS;
}

// The result of a call that came to `result` in POSIX, where 0 is success.
inline BOOL answer(int result) {
  return result == 0 ? TRUE : failFromErrno();
}

}  // namespace nimboxi
