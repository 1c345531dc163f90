// Environment variables. The guard keeps the layer's own calls apart.
#include <cstdlib>
#include <cstring>

#include "compat/core/call_guard.h"
#include "nimboxi/errors.h"
#include "nimboxi/system.h"

using namespace nimboxi;

DWORD GetEnvironmentVariable(const char* name, char* buffer, DWORD size) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (name == nullptr) return 0;
  const char* value = std::getenv(name);
  if (value == nullptr) {
    SetLastError(ERROR_ENVVAR_NOT_FOUND);
    return 0;
  }
  const std::size_t length = std::strlen(value);
  if (buffer == nullptr || length + 1 > size) return static_cast<DWORD>(length + 1);
  std::memcpy(buffer, value, length + 1);
  return static_cast<DWORD>(length);
}

BOOL SetEnvironmentVariable(const char* name, const char* value) {
  CallGuard guard;
  return name != nullptr && setenv(name, value == nullptr ? "" : value, 1) == 0;
}
