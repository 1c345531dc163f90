#include "service/listener.h"

#include "service/allocation.h"
#include "service/pool_loader.h"
#include "service/reports.h"
#include "service/resources/string_table.h"
#include "service/settings.h"
#include "service/wire/request_protocol.h"
#include "service/wire/tcp_socket.h"

namespace nimbolsp {

namespace {

enum class Next { kGoOn, kStop };

// Answers a request for a server; a name that cannot be received costs nothing but the connection.
void answerServerRequest(TcpSocket& client, std::size_t nameLength) {
  char name[kMaximumBodySize + 1];
  if (!client.receiveExactly(name, nameLength)) return;
  char answer[kHeaderSize + kNameSize];
  std::int32_t length = 0;
  if (ServerPool* pool = findPool(name, nameLength)) length = allocateServer(pool, answer + kHeaderSize);
  answer[0] = kServerAnswer;
  answer[1] = static_cast<char>(length);
  client.sendAll(answer, kHeaderSize + static_cast<std::size_t>(length));
  client.orderlyClose();
}

void answerStop(TcpSocket& client) {
  client.sendAll(&kStopAnswer, kStopAnswerSize);
  client.orderlyClose();
  reportStatus(kStringStopping);
}

// Handles one connection from its header to its close.
Next serve(TcpSocket& client) {
  MessageHeader header;
  if (!client.receiveExactly(&header, kHeaderSize)) return Next::kGoOn;
  switch (header.type) {
    case kServerRequest:
      answerServerRequest(client, header.length);
      return Next::kGoOn;
    case kStopRequest:
      answerStop(client);
      return Next::kStop;
    default:
      reportStatus(kStringBadMessage);
      return Next::kGoOn;
  }
}

// Accepts and serves until it is to stop.
void serveAll(TcpSocket& listening) {
  for (;;) {
    const std::int32_t descriptor = listening.accept();
    if (descriptor == -1) {
      reportStatus(kStringAcceptFailed);
      return;
    }
    TcpSocket client(descriptor);
    if (serve(client) == Next::kStop) return;
  }
}

}  // namespace

void runService() {
  if (const std::uint32_t error = loadPools()) {
    reportStatus(error);
    return;
  }
  TcpSocket listening;
  listening.create();
  if (!listening.bindAndListen(readServicePort())) {
    reportStatus(kStringListenFailed);
    return;
  }
  reportStatus(kStringStarted);
  serveAll(listening);
}

}  // namespace nimbolsp
