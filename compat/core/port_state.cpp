// The state of a port's line, held in the terminal settings of its device. A parallel port has none: its
// calls succeed and leave the device alone. A handle is used under the layer guard.
#include <termios.h>

#include "compat/core/call_guard.h"
#include "compat/core/comm_mode.h"
#include "compat/core/handles.h"
#include "compat/core/line_settings.h"
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

BOOL fail(int32_t error) {
  SetLastError(error);
  return FALSE;
}

}  // namespace

BOOL GetCommState(HANDLE port, DCB* dcb) {
  CallGuard guard;
  std::FILE* stream = LookupFileHandle(port);
  if (stream == nullptr) return FALSE;
  if (isParallel(port)) return succeed();
  if (dcb == nullptr) return fail(ERROR_GEN_FAILURE);
  termios settings;
  if (tcgetattr(fileno(stream), &settings) != 0) return failFromErrno();
  updateDcb(settings, *dcb);
  return succeed();
}

BOOL SetCommState(HANDLE port, const DCB* dcb) {
  CallGuard guard;
  std::FILE* stream = LookupFileHandle(port);
  if (stream == nullptr) return FALSE;
  if (isParallel(port)) return succeed();
  if (dcb == nullptr) return fail(ERROR_GEN_FAILURE);
  termios settings;
  if (tcgetattr(fileno(stream), &settings) != 0) return failFromErrno();
  if (const int32_t error = applyDcb(*dcb, settings); error != ERROR_SUCCESS) return fail(error);
  if (tcsetattr(fileno(stream), TCSADRAIN, &settings) != 0) return failFromErrno();
  return succeed();
}

BOOL BuildCommDCB(const char* mode, DCB* dcb) {
  CallGuard guard;
  DCB unwanted;
  const int32_t error = parseCommMode(mode, dcb == nullptr ? unwanted : *dcb);
  if (error != ERROR_SUCCESS) return fail(error);
  return dcb == nullptr ? fail(ERROR_GEN_FAILURE) : succeed();
}

BOOL GetPortTimeouts(HANDLE port, PortTimeouts* timeouts) {
  CallGuard guard;
  std::FILE* stream = LookupFileHandle(port);
  if (stream == nullptr) return FALSE;
  if (isParallel(port)) return succeed();
  if (timeouts == nullptr) return fail(ERROR_GEN_FAILURE);
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
  if (timeouts == nullptr) return fail(ERROR_GEN_FAILURE);
  termios settings;
  if (tcgetattr(fileno(stream), &settings) != 0) return failFromErrno();
  settings.c_cc[VMIN] = 0;
  settings.c_cc[VTIME] = static_cast<cc_t>(timeouts->readInterCharacter & 0xFF);
  if (tcsetattr(fileno(stream), TCSADRAIN, &settings) != 0) return failFromErrno();
  return succeed();
}
