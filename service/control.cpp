#include "service/control.h"

#include "service/pool_loader.h"
#include "service/reports.h"
#include "service/request_protocol.h"
#include "service/string_table.h"
#include "service/tcp_socket.h"

namespace nimbolsp {

namespace {

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

bool startProcess(const char*) {
  return false;  // this version cannot launch itself
}

bool stopProcess() {
  const std::uint32_t error = sendStop(readServicePort());
  if (error != 0) logMessage(error);
  return error == 0;
}

}  // namespace nimbolsp
