// "serve": the routes and what they give, the texts of hostile names, and the server on a real socket.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "tests/support/fake_server.h"
#include "tests/support/temp_folder.h"
#include "tools/http/http_server.h"
#include "tools/http/listen_address.h"
#include "tools/http/metrics.h"
#include "tools/http/servers_json.h"
#include "tools/http/status_page.h"

namespace nimbolsp::tools {
namespace {

const std::string kHostile = "<b>\"\\\n\xFF</script>";

ServerState answering(const std::string& text, std::int32_t used) {
  ServerState server;
  server.text = text;
  server.answers = true;
  server.polls = 2;
  server.last = {PollEnd::kAnswered, 0, std::chrono::microseconds(1500), {1, 0, used, 100}};
  server.standing = standingOf(server.last.statistics, 100);
  server.history = {kNoLoad, server.standing.load};
  return server;
}

Picture pictureOf(std::vector<ServerState> servers) {
  Picture picture;
  picture.pools.push_back({kHostile, std::chrono::milliseconds(1000), 2, std::move(servers)});
  return picture;
}

Pages pagesOf(Picture& picture, bool anyName = false) {
  return Pages([&picture] { return std::make_shared<const Picture>(picture); }, anyName);
}

TEST(ServePages, AnswerByMethodPathAndHost) {
  const struct {
    const char *method, *path, *host;
    unsigned status;
    const char* type;
  } cases[] = {{"GET", "/", "", 200, "text/html"},
               {"HEAD", "/metrics", "127.0.0.1:80", 200, "text/plain; version=0.0.4"},
               {"GET", "/api/v1/servers", "[::1]:80", 200, "application/json"},
               {"GET", "/api/v1/servers/", "LocalHost:80", 404, "text/plain"},
               {"POST", "/", "localhost", 405, "text/plain"},
               {"get", "/", "localhost", 405, "text/plain"},
               {"GET", "/", "127.0.0.1.example", 421, "text/plain"}};
  Picture picture = pictureOf({});
  Pages pages = pagesOf(picture);
  for (const auto& c : cases) {
    const Reply reply = pages.answer(c.method, c.path, c.host);
    EXPECT_EQ(reply.status, c.status) << c.method << c.path << c.host;
    EXPECT_TRUE(reply.type.starts_with(c.type)) << reply.type;
    EXPECT_EQ(reply.tellsMethods, c.status == 405);
  }
  EXPECT_EQ(pagesOf(picture, true).answer("GET", "/", "status.example").status, 200u);
  EXPECT_EQ(kStatusPage.find("http://"), kStatusPage.find("http://www.w3.org/2000/svg"));
}

TEST(ServePages, HealthTurnsWithTheServiceAndBodiesWithThePicture) {
  Picture picture;
  const auto health = [&] { return pagesOf(picture).answer("GET", "/healthz", "").status; };
  EXPECT_EQ(health(), 503u);
  picture.service.requests = 1;
  picture.service.answers = true;
  EXPECT_EQ(health(), 200u);
  picture.service.answers = false;
  EXPECT_EQ(health(), 503u);

  Pages pages = pagesOf(picture);
  const auto metrics = [&] { return pages.answer("GET", "/metrics", "").body; };
  const Body first = metrics();
  EXPECT_EQ(metrics(), first);
  ++picture.version;
  EXPECT_TRUE(eventually([&] { return metrics() != first; }));
}

TEST(ServeTexts, MetricsTellHostileAndEqualNamesApart) {
  ServerState dead = answering("a", 0);
  dead.answers = false;
  const Picture picture = pictureOf({answering("a", 150), dead, answering(kHostile, -50)});
  const std::string text = metricsOf(picture);
  const std::string pool = R"({pool="<b>\"\\\\\\x0a\\xff</script>",server=")";
  for (const std::string& line :
       {"nimbolsp_server_load_ratio" + pool + "a\"} 1.5\n", "nimbolsp_server_up" + pool + "a (2)\"} 0\n",
        "nimbolsp_server_load_ratio" + pool + R"(<b>\"\\\\\\x0a\\xff</script>"} -0.5)" + "\n",
        "nimbolsp_server_poll_duration_seconds" + pool + "a\"} 0.0015\n",
        std::string("# TYPE nimbolsp_server_polls_total counter\n")}) {
    EXPECT_NE(text.find(line), std::string::npos) << line << text;
  }
  EXPECT_EQ(text.find("nimbolsp_server_load_ratio" + pool + "a (2)"), std::string::npos);
  EXPECT_EQ(text.find("\nnimbolsp_up "), std::string::npos);  // not asked yet
  dead.last = {PollEnd::kShortage, EMFILE, {}, {}};
  const std::string lacking = metricsOf(pictureOf({answering("a", 0), dead}));
  EXPECT_EQ(lacking.find("\nnimbolsp_pool_servers_up{"),
            std::string::npos);  // nobody is told of dead servers
  EXPECT_NE(lacking.find("\nnimbolsp_pool_servers_unpolled" + pool.substr(0, pool.find(",server")) + "} 1\n"),
            std::string::npos);
}

TEST(ServeTexts, JsonHoldsTheFiguresAndIsPlainAscii) {
  ServerState nowhere;
  nowhere.endpoint = parseServerEntry("localhost:1");
  nowhere.polls = 1;
  Picture picture = pictureOf({answering(kHostile, 150), {}, nowhere});
  picture.service.last.failure = kHostile;
  const std::string text = serversJson(picture, std::chrono::system_clock::time_point());
  EXPECT_TRUE(std::ranges::all_of(text, [](char c) { return c >= 0x20 && c < 0x7F; }));
  const auto json = nlohmann::json::parse(text);
  const auto& servers = json["pools"][0]["servers"];
  EXPECT_EQ(servers[0]["server"], "<b>\"\\\n\u00FF</script>");
  EXPECT_EQ(servers[0]["historyPercent"], nlohmann::json::parse("[null, 150]"));
  EXPECT_EQ(servers[0]["hasRoom"], false);
  EXPECT_EQ(servers[0]["tookMilliseconds"], 1.5);
  EXPECT_TRUE(servers[1]["answers"].is_null());
  EXPECT_FALSE(servers[1].contains("loadPercent"));
  EXPECT_EQ(servers[2]["result"], "the address is no dotted IPv4 address: never reached");
}

TEST(ServeAddress, ReadsWhatIsMeantAndKnowsThisMachine) {
  const struct {
    const char *text, *read;
    bool loopback;
  } cases[] = {{"5980", "127.0.0.1:5980", true},       {"LOCALHOST:0", "127.0.0.1:0", true},
               {"[::1]:1", "[::1]:1", true},           {"127.9.9.9:65535", "127.9.9.9:65535", true},
               {"0.0.0.0:80", "0.0.0.0:80", false},    {"[::]:80", "[::]:80", false},
               {"128.0.0.1:80", "128.0.0.1:80", false}};
  for (const auto& c : cases) {
    EXPECT_EQ(parseListenAddress(c.text).text(), c.read);
    EXPECT_EQ(parseListenAddress(c.text).isLoopback(), c.loopback) << c.text;
  }
  for (const char* text : {"", ":", "127.0.0.1", "host:80", "::1:80", "127.0.0.1:65536", "127.0.0.1:-1"}) {
    EXPECT_THROW(parseListenAddress(text), std::invalid_argument) << text;
  }
}

std::string getFrom(std::uint16_t port, const std::string& request) {
  TestClient client(port);
  client.send(request);
  return client.receive(1 << 20);
}

TEST(ServeServer, SendsTheOldestAwayAndRefusesWhatIsTooLong) {
  Picture picture;
  ListenAddress address = parseListenAddress("0");
  HttpServer server(listenOn(address), pagesOf(picture),
                    {.connections = 2, .longest = std::chrono::seconds(1)});
  const auto port = static_cast<std::uint16_t>(std::stoi(address.text().substr(10)));
  EXPECT_THROW(listenOn(address), std::runtime_error);
  const std::string host = " HTTP/1.1\r\nHost: localhost\r\n";
  const std::string page = getFrom(port, "GET /" + host + "\r\n");
  EXPECT_TRUE(page.starts_with("HTTP/1.1 200")) << page;
  EXPECT_NE(page.find(std::string("Content-Security-Policy: ") + kStatusPagePolicy), std::string::npos);
  EXPECT_TRUE(page.ends_with(kStatusPage));
  EXPECT_TRUE(getFrom(port, "HEAD /" + host + "\r\n").ends_with("\r\n\r\n"));
  EXPECT_NE(getFrom(port, "PUT /" + host + "\r\n").find("\r\nAllow: GET, HEAD\r\n"), std::string::npos);
  EXPECT_TRUE(getFrom(port, "GET /" + std::string(9000, 'a') + host + "\r\n").starts_with("HTTP/1.1 414"));
  EXPECT_TRUE(getFrom(port, "GET /" + host + "X: " + std::string(9000, 'a') + "\r\n\r\n")
                  .starts_with("HTTP/1.1 431"));

  TestClient oldest(port), second(port);
  oldest.send("GET");
  EXPECT_TRUE(getFrom(port, "GET /healthz" + host + "\r\n").starts_with("HTTP/1.1 503"));
  EXPECT_TRUE(oldest.isEnded());
  EXPECT_TRUE(eventually([&] {
    server.endLateConnections();
    return !second.send("G");
  }));
}

TEST(ServeCommand, ServesUntilItIsToldToEnd) {
  const TempFolder folder;
  FakeServer server;
  const std::string profile =
      folder.write("p.ini", "[Setup]\nPort=1\nPool1=Web\n\n[Web]\nServer1=" + server.entry() + "\n");
  const std::string program = NIMBOLSPCTL_PROGRAM " serve --profile " + profile;
  EXPECT_EQ(std::system((program + " --listen 0.0.0.0:0 2>/dev/null").c_str()), 64 << 8);
  FILE* output =
      popen(("exec " + program + " --listen 127.0.0.1:0 & echo $!; wait $!; echo $?").c_str(), "r");
  int pid = 0, port = 0, status = -1;
  ASSERT_EQ(fscanf(output, "%d serving on http://127.0.0.1:%d/", &pid, &port), 2);
  const std::string request = "GET /metrics HTTP/1.0\r\n\r\n";
  EXPECT_TRUE(eventually([&] {
    return getFrom(static_cast<std::uint16_t>(port), request)
               .find("nimbolsp_pool_servers_up{pool=\"Web\"} 1") != std::string::npos;
  }));
  kill(pid, SIGTERM);
  EXPECT_EQ(fscanf(output, "%d", &status), 1);
  EXPECT_EQ(status, 0);
  pclose(output);
}

}  // namespace
}  // namespace nimbolsp::tools
