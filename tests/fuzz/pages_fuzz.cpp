// What `serve` answers, whatever is asked and whatever names and figures files and peers have: JSON that
// holds every server, and metrics by their grammar, no series twice.
#include <nlohmann/json.hpp>
#include <set>

#include "tests/fuzz/fuzz_input.h"
#include "tools/http/pages.h"

using namespace nimbolsp::tools;

static void readServer(FuzzInput& input, ServerState& server) {
  server.polls = input.byte();
  server.answers = server.polls % 8 != 0;
  server.last.end = static_cast<PollEnd>(server.polls % 6);
  server.last.statistics = {input.word(), input.word(), input.word(), input.word()};
  server.standing = standingOf(server.last.statistics, 1 + input.byte());
  server.endpoint = nimbolsp::parseServerEntry(server.text = input.text());
}

static void checkMetrics(const std::string& text) {
  std::set<std::string> series;
  for (std::size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
    const std::string line = text.substr(at, text.find('\n', at) - at);
    if (line.starts_with("# HELP nimbolsp_") || line.starts_with("# TYPE nimbolsp_")) continue;
    std::size_t end = 0;
    for (bool isText = false; isText || line.at(end) != ' '; ++end) {
      if (line.at(end) == '"') isText = !isText;
      if (line[end] == '\\') ++end;
    }
    MUST(line.starts_with("nimbolsp_") && series.insert(line.substr(0, end)).second);
    MUST(line.size() > end + 1 && line.find_first_not_of("0123456789.e+-", end + 1) == line.npos);
  }
}

void fuzz(FuzzInput input) {
  const std::string method = input.text(), path = input.text(), host = input.text();
  const auto picture = std::make_shared<Picture>();
  picture->service.last.failure = picture->profilePath = input.text();
  while (!input.isAtEnd() && picture->pools.size() < 4) {
    PoolState& pool = picture->pools.emplace_back();
    pool.name = input.text();
    for (int count = input.byte() % 4; count > 0; --count) readServer(input, pool.servers.emplace_back());
  }
  Pages pages([&picture] { return picture; }, false);
  const Reply reply = pages.answer(method, path, host);
  MUST((method == "GET" || method == "HEAD") == (reply.status != 405) && !reply.body->empty());
  MUST(pages.answer("GET", "/", "x" + host).status == 421);
  const auto json = nlohmann::json::parse(*pages.answer("GET", "/api/v1/servers", "").body);
  for (std::size_t i = 0; const PoolState& pool : picture->pools) {
    MUST(json["pools"].at(i++)["servers"].size() == pool.servers.size());
  }
  checkMetrics(*pages.answer("GET", "/metrics", "127.0.0.1").body);
}
