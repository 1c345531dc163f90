#include "tools/http/pages.h"

#include <algorithm>
#include <cctype>

#include "tools/http/listen_address.h"
#include "tools/http/metrics.h"
#include "tools/http/servers_json.h"
#include "tools/http/status_page.h"

namespace nimbolsp::tools {

namespace {

Reply textReply(unsigned status, std::string sentence) {
  return {.status = status, .body = std::make_shared<const std::string>(std::move(sentence) + "\n")};
}

// The host without the port.
std::string_view nameIn(std::string_view host) {
  if (host.starts_with('[')) return host.substr(0, host.find(']') + 1);
  return host.substr(0, host.rfind(':'));
}

bool isAddress(std::string_view host) {
  const std::string_view name = nameIn(host);
  if (name.empty() || namesThisMachine(name) || name.front() == '[') return true;
  return std::ranges::all_of(name, [](unsigned char c) { return std::isdigit(c) != 0 || c == '.'; });
}

}  // namespace

Pages::Pages(PictureSource picture, bool anyName)
    : source_(std::move(picture)),
      anyName_(anyName),
      page_(std::make_shared<const std::string>(kStatusPage)) {
}

const Picture& Pages::picture() {
  const auto now = std::chrono::steady_clock::now();
  if (picture_ != nullptr && now - taken_ < kShortestLife) return *picture_;
  std::shared_ptr<const Picture> next = source_();
  if (picture_ == nullptr || next->version != picture_->version) json_ = metrics_ = nullptr;
  picture_ = std::move(next);
  taken_ = now;
  return *picture_;
}

Reply Pages::health() {
  const ServiceState& service = picture().service;
  if (!service.shortage.empty()) return textReply(503, service.shortage);
  if (service.answers) return textReply(200, "ok: the daemon at " + service.address.text() + " answers");
  if (service.requests == 0) return textReply(503, "the daemon was not asked yet");
  return textReply(503, "the daemon does not answer: " + service.last.failure);
}

Reply Pages::answer(std::string_view method, std::string_view path, std::string_view host) {
  if (method != "GET" && method != "HEAD") {
    Reply refusal = textReply(405, "only GET and HEAD are allowed");
    refusal.tellsMethods = true;
    return refusal;
  }
  if (!anyName_ && !isAddress(host)) {
    return textReply(421, "ask for this page by an address or as localhost, not by another host name");
  }
  if (path == "/") return {.type = "text/html; charset=utf-8", .body = page_, .isPage = true};
  if (path == "/healthz") return health();
  if (path == "/metrics") {
    const Picture& now = picture();
    if (metrics_ == nullptr) metrics_ = std::make_shared<const std::string>(metricsOf(now));
    return {.type = kMetricsType, .body = metrics_};
  }
  if (path == "/api/v1/servers") {
    const Picture& now = picture();
    const auto time = std::chrono::system_clock::now();
    if (json_ == nullptr) json_ = std::make_shared<const std::string>(serversJson(now, time));
    return {.type = "application/json", .body = json_};
  }
  return textReply(404, "there is no such page; there are /, /metrics, /api/v1/servers and /healthz");
}

}  // namespace nimbolsp::tools
