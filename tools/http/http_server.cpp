#include "tools/http/http_server.h"

#include <fcntl.h>
#include <microhttpd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <stdexcept>

#include "tools/http/status_page.h"

namespace nimbolsp::tools {

namespace {

constexpr std::size_t kConnectionMemory = 8192;  // bytes: request line, headers and the answer's headers
constexpr unsigned kSilenceSeconds = 5;

void freeBody(void* body) {
  delete static_cast<Body*>(body);
}

void addHeader(MHD_Response* response, const char* name, const char* value) {
  MHD_add_response_header(response, name, value);
}

// The body stays alive as long as the response.
MHD_Response* responseOf(const Reply& reply) {
  auto held = std::make_unique<Body>(reply.body);
  auto* bytes = const_cast<char*>((*held)->data());  // only read
  MHD_Response* response =
      MHD_create_response_from_buffer_with_free_callback_cls((*held)->size(), bytes, freeBody, held.get());
  if (response == nullptr) return nullptr;
  static_cast<void>(held.release());
  addHeader(response, "Content-Type", reply.type.c_str());
  addHeader(response, "Connection", "close");
  addHeader(response, "Cache-Control", "no-store");
  addHeader(response, "X-Content-Type-Options", "nosniff");
  addHeader(response, "Referrer-Policy", "no-referrer");
  addHeader(response, "Cross-Origin-Resource-Policy", "same-origin");
  addHeader(response, "Content-Security-Policy",
            reply.isPage ? kStatusPagePolicy : "default-src 'none'; frame-ancestors 'none'");
  if (reply.tellsMethods) addHeader(response, "Allow", "GET, HEAD");
  return response;
}

}  // namespace

struct HttpServer::Shared {
  Pages pages;  // the library's thread's
  HttpConnections connections;
  MHD_Daemon* daemon = nullptr;

  static void notify(void* self, MHD_Connection* connection, void** context,
                     MHD_ConnectionNotificationCode code);
  static MHD_Result handle(void* self, MHD_Connection* connection, const char* path, const char* method,
                           const char* version, const char* upload, std::size_t* uploadSize, void** request);
};

void HttpServer::Shared::notify(void* self, MHD_Connection* connection, void** context,
                                MHD_ConnectionNotificationCode code) {
  HttpConnections& connections = static_cast<Shared*>(self)->connections;
  auto* place = static_cast<HttpConnections::Place*>(*context);
  try {
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
      const auto* peer = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
      const auto* socket = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
      auto added = std::make_unique<HttpConnections::Place>();
      *added = connections.add(socket->connect_fd, peer->client_addr);
      *context = added.release();
    } else if (place != nullptr) {
      connections.remove(*place);
      delete place;
      *context = nullptr;
    }
  } catch (const std::exception&) {  // no memory: this connection has the library's time limit alone
  }
}

MHD_Result HttpServer::Shared::handle(void* self, MHD_Connection* connection, const char* path,
                                      const char* method, const char*, const char*, std::size_t*, void**) {
  try {
    const char* host = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "Host");
    const Reply reply = static_cast<Shared*>(self)->pages.answer(method, path, host == nullptr ? "" : host);
    MHD_Response* response = responseOf(reply);
    if (response == nullptr) return MHD_NO;
    const MHD_Result queued = MHD_queue_response(connection, reply.status, response);
    MHD_destroy_response(response);
    return queued;
  } catch (const std::exception&) {  // no memory
    return MHD_NO;
  }
}

HttpServer::HttpServer(Descriptor listening, Pages pages, const HttpLimits& limits)
    : shared_(new Shared{std::move(pages), HttpConnections(limits)}) {
  const auto bounded = [&](std::size_t places) { return static_cast<unsigned>(places + limits.spare()); };
  // The library closes the one that it gets.
  const int handedOver = fcntl(listening.number(), F_DUPFD_CLOEXEC, 0);
  if (handedOver < 0) {  // the library would listen on a port of its own
    throw std::runtime_error(std::string("the HTTP server cannot be started: ") + std::strerror(errno));
  }
  shared_->daemon = MHD_start_daemon(
      MHD_USE_EPOLL_INTERNAL_THREAD | MHD_USE_ITC, 0, nullptr, nullptr, Shared::handle, shared_.get(),
      MHD_OPTION_LISTEN_SOCKET, handedOver, MHD_OPTION_CONNECTION_LIMIT, bounded(limits.connections),
      MHD_OPTION_PER_IP_CONNECTION_LIMIT, bounded(limits.perAddress), MHD_OPTION_CONNECTION_MEMORY_LIMIT,
      kConnectionMemory, MHD_OPTION_CONNECTION_TIMEOUT, kSilenceSeconds, MHD_OPTION_STRICT_FOR_CLIENT, 1,
      MHD_OPTION_NOTIFY_CONNECTION, Shared::notify, shared_.get(), MHD_OPTION_END);
  if (shared_->daemon == nullptr) throw std::runtime_error("the HTTP server cannot be started");
}

HttpServer::~HttpServer() {
  MHD_stop_daemon(shared_->daemon);
}

void HttpServer::endLateConnections() {
  shared_->connections.endLate();
}

}  // namespace nimbolsp::tools
