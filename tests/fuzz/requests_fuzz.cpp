// Whatever front ends send, some gone before the answer: the listener itself, with pools that it loads and
// nobody polls, accepts what the target hands it.
#include <sanitizer/lsan_interface.h>
#include <sys/socket.h>

#include <csignal>
#include <utility>

#include "nimboxi/text.h"
#include "service/listener.h"
#include "service/poller.h"
#include "service/resources/resource_function.h"
#include "service/settings.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/started_layer.h"

using namespace nimbolsp;

static std::vector<int> toAccept{-1};  // the next one last
static const std::string kLong(255, '9');

bool nimbolsp::startPolling(PoolServer*) {  // stands in for the one that starts a thread
  return true;
}
extern "C" int __wrap_accept(int, sockaddr*, socklen_t*) {
  const int next = toAccept.back();
  if (next >= 0) toAccept.pop_back();
  return next;
}

static bool startLayer() {
  const __lsan::ScopedDisabler fontsStayOpen;
  std::signal(SIGPIPE, SIG_IGN);
  createLogLock();
  const TempFolder& folder = (new StartedLayer("", OSresFunc))->folder();
  const std::string setup = "[Setup]\r\nPort=65536\r\nQuietMode=1\r\nPool1=Web\r\nPool2=M\xE9l\r\n\r\n";
  folder.write("nimbolsp.ini", setup + "[Web]\r\nServer1=a:1\r\n\r\n[M\xE9l]\r\nServer1=" + kLong);
  setSettings(readSettings(folder.file("nimbolsp"), ""));
  return true;
}

static std::string answerTo(const std::string& sent) {
  const std::size_t size = sent.size() < 2 ? 255 : static_cast<std::uint8_t>(sent[1]);
  if (sent.size() > 1 && sent[0] == 2) return std::string(1, '\0');
  if (sent.size() < 2 + size || sent[0] != 0) return "";
  std::string name = sent.substr(2, size);
  CharUpperBuff(name.data(), static_cast<DWORD>(size));
  return name == "WEB" ? "\1\3a:1" : name == "M\xC9L" ? "\1\xFF" + kLong : std::string("\1\0", 2);
}

void fuzz(FuzzInput input) {
  static const bool isStarted = startLayer();
  std::vector<std::pair<int, std::string>> clients;
  while (isStarted && !input.isAtEnd() && clients.size() < 8) {
    int pair[2];
    MUST(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) == 0);
    const std::string sent = input.take(input.byte());
    MUST(send(pair[0], sent.data(), sent.size(), 0) == std::ssize(sent) && shutdown(pair[0], SHUT_WR) == 0);
    if (input.byte() % 8 == 7) close(std::exchange(pair[0], -1));
    clients.emplace_back(pair[0], sent);
    toAccept.insert(toAccept.begin() + 1, pair[1]);
  }
  runService();
  destroyAllPools();
  std::size_t served = clients.size() + 1 - toAccept.size();
  const bool isWhole = served == clients.size();
  MUST(isWhole || served > 0);
  for (; toAccept.size() > 1; toAccept.pop_back()) close(toAccept.back());
  for (const auto& [client, sent] : clients) {
    char answer[512];
    const ssize_t count = std::max<ssize_t>(recv(client, answer, sizeof answer, 0), 0);
    MUST(served == 0 || client < 0 || answerTo(sent) == std::string(answer, answer + count));
    const bool isStop = sent.size() > 1 && sent[0] == 2;
    MUST(served == 0 || (served == 1 ? isWhole || isStop : !isStop));  // a stop is the last one served
    served -= served > 0;
    close(client);
  }
}
