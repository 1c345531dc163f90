// The state of a port's line, held in the terminal settings of its device. A parallel port has none: its
// calls succeed and leave the device alone. A handle is used under the layer guard.
#include <termios.h>

#include "compat/core/call_guard.h"
#include "compat/core/errors/fail.h"
#include "compat/core/handles.h"
#include "compat/core/ports/comm_mode.h"
#include "compat/core/ports/line_settings.h"
#include "nimboxi/ports.h"

namespace nimboxi {
namespace {

bool isParallel(HANDLE port) {
  return findHandle(port, kFileHandle)->deviceType == DEVICE_PARALLEL;
}

enum class Access { kRead, kChange };

// Lets `use(settings, *record)` take from the terminal settings of a port, or change them; it returns a last
// error, and what it changed takes effect once the output has drained.
template <typename Record, typename Use>
BOOL useTerminal(HANDLE port, Record* record, Access access, Use use) {
  std::FILE* stream = LookupFileHandle(port);
  if (stream == nullptr) return FALSE;
  if (isParallel(port)) return finish(ERROR_SUCCESS);
  if (record == nullptr) return fail(ERROR_GEN_FAILURE);
  termios settings;
  if (tcgetattr(fileno(stream), &settings) != 0) return failFromErrno();
  const int32_t error = use(settings, *record);
  if (error == ERROR_SUCCESS && access == Access::kChange &&
      tcsetattr(fileno(stream), TCSADRAIN, &settings) != 0) {
    return failFromErrno();
  }
  return finish(error);
}

}  // namespace
}  // namespace nimboxi

using namespace nimboxi;

BOOL GetCommState(HANDLE port, DCB* dcb) {
  CallGuard guard;
  return useTerminal(port, dcb, Access::kRead, [](const termios& settings, DCB& state) {
    updateDcb(settings, state);
    return ERROR_SUCCESS;
  });
}

BOOL SetCommState(HANDLE port, const DCB* dcb) {
  CallGuard guard;
  return useTerminal(port, dcb, Access::kChange,
                     [](termios& settings, const DCB& state) { return applyDcb(state, settings); });
}

BOOL BuildCommDCB(const char* mode, DCB* dcb) {
  CallGuard guard;
  DCB unwanted;
  const int32_t error = parseCommMode(mode, dcb == nullptr ? unwanted : *dcb);
  return finish(error == ERROR_SUCCESS && dcb == nullptr ? ERROR_GEN_FAILURE : error);
}

BOOL GetPortTimeouts(HANDLE port, PortTimeouts* timeouts) {
  CallGuard guard;
  return useTerminal(port, timeouts, Access::kRead, [](const termios& settings, PortTimeouts& result) {
    result.readInterCharacter = settings.c_cc[VTIME];
    return ERROR_SUCCESS;
  });
}

BOOL SetPortTimeouts(HANDLE port, const PortTimeouts* timeouts) {
  CallGuard guard;
  return useTerminal(port, timeouts, Access::kChange, [](termios& settings, const PortTimeouts& wanted) {
    settings.c_cc[VMIN] = 0;
    settings.c_cc[VTIME] = static_cast<cc_t>(wanted.readInterCharacter & 0xFF);
    return ERROR_SUCCESS;
  });
}
