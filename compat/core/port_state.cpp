// The state of a port's line, held in the terminal settings of its device.
#include <termios.h>

#include "compat/core/call_guard.h"
#include "compat/core/handles.h"
#include "nimboxi/errors.h"
#include "nimboxi/ports.h"

using namespace nimboxi;

namespace {

bool isParallel(HANDLE port) {
  return findHandle(port, kFileHandle)->deviceType == DEVICE_PARALLEL;
}

BOOL succeed() {
  SetLastError(ERROR_SUCCESS);
  return TRUE;
}

BOOL failFromErrno() {
  SetLastErrorFromErrno();
  return FALSE;
}

BOOL failWithoutRecord() {
  SetLastError(ERROR_GEN_FAILURE);
  return FALSE;
}

}  // namespace

BOOL GetPortTimeouts(HANDLE port, PortTimeouts* timeouts) {
  CallGuard guard;
  std::FILE* stream = LookupFileHandle(port);
  if (stream == nullptr) return FALSE;
  if (isParallel(port)) return succeed();
  if (timeouts == nullptr) return failWithoutRecord();
  termios settings;
  if (tcgetattr(fileno(stream), &settings) != 0) return failFromErrno();
  timeouts->readInterCharacter = settings.c_cc[VTIME];
  return succeed();
}

BOOL SetPortTimeouts(HANDLE port, const PortTimeouts* timeouts) {
  CallGuard guard;
  std::FILE* stream = LookupFileHandle(port);
  if (stream == nullptr) return FALSE;
  if (isParallel(port)) return succeed();
  if (timeouts == nullptr) return failWithoutRecord();
  termios settings;
  if (tcgetattr(fileno(stream), &settings) != 0) return failFromErrno();
  settings.c_cc[VMIN] = 0;
  settings.c_cc[VTIME] = static_cast<cc_t>(timeouts->readInterCharacter & 0xFF);
  if (tcsetattr(fileno(stream), TCSADRAIN, &settings) != 0) return failFromErrno();
  return succeed();
}
