#include "service/control.h"

#include "nimboxi/modules.h"
#include "nimboxi/process.h"
#include "nimboxi/support/shell_words.h"
#include "service/reports.h"
#include "service/resources/string_table.h"
#include "service/settings.h"
#include "service/wire/request_protocol.h"
#include "service/wire/tcp_socket.h"

namespace nimbolsp {

namespace {

constexpr DWORD kShowWindow = 5;  // the Win32 show mode; there is no window

// The exchange with the service. Returns 0, or the string id of the step that failed.
std::uint32_t sendStop(std::int32_t port) {
  TcpSocket service;
  service.create();
  if (!service.connectToHost(nullptr, port) || service.isConnectedToItself()) return kStringConnectFailed;
  if (!service.sendAll(kStopMessage.data(), kStopMessage.size())) return kStringSendFailed;
  std::uint8_t ignored;
  if (!service.receiveExactly(&ignored, kStopAnswerSize)) return kStringReceiveFailed;
  service.orderlyClose();
  return 0;
}

}  // namespace

bool isLaunched(std::int32_t result) {
  // Required(wide-success): any result of 32 and above, unsigned, is a success: also a shell that failed with
  // a status of its own, and a failed wait. The launched copy reports its own errors to its own log.
  return static_cast<std::uint32_t>(result) >= RUN_SUCCEEDED;
}

bool startProcess(const char* runKeyword) {
  char program[MAX_PATH_BYTES];
  GetModuleFileName(MAIN_MODULE_HANDLE, program, sizeof program);
  const std::string commandLine = nimboxi::shellWord(program) + " " + runKeyword;
  return isLaunched(WinExec(commandLine.c_str(), kShowWindow));
}

bool stopProcess() {
  const std::uint32_t error = sendStop(readServicePort());
  if (error != 0) logMessage(error);
  return error == 0;
}

}  // namespace nimbolsp
