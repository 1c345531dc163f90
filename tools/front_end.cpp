#include "tools/front_end.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

#include "service/wire/descriptor.h"
#include "service/wire/server_entry.h"
#include "service/wire/tcp_socket.h"

namespace nimbolsp::tools {

namespace {

constexpr std::chrono::milliseconds kPatienceAfterStop{300};
constexpr timeval kVisitLimit{5, 0};

// What the clients of one ask() share. It outlives ask() where a client is left behind.
struct Round {
  explicit Round(const AskOptions& given)
      : options(given), changed(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), running(given.clients) {}

  const AskOptions options;
  const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
  const Descriptor changed;  // readable once the clients have ended, or stop because one failed

  std::mutex mutex;  // guards what follows
  std::condition_variable stopOrEnd;
  bool stopping = false;
  std::int32_t running;
  AskOutcome outcome;
};

void tell(const Round& round) {
  eventfd_write(round.changed.number(), 1);
}

// Brings a request to the server of an answer, as far as its daemon can tell: connects and closes.
bool visitServer(const std::string& server) {
  const ServerEndpoint endpoint = parseServerEntry(server);
  TcpSocket socket;
  socket.create();
  setsockopt(socket.descriptor(), SOL_SOCKET, SO_SNDTIMEO, &kVisitLimit, sizeof kVisitLimit);  // connects too
  return socket.connectToAddress(endpoint.ipAddress, endpoint.port) && !socket.isConnectedToItself() &&
         socket.orderlyClose();
}

void recordFailure(Round& round, const std::string& failure, bool shortage) {
  std::lock_guard hold(round.mutex);
  if (!round.stopping) {
    round.outcome.failure = failure;
    round.outcome.shortage = shortage;
  }
  round.stopping = true;
  round.stopOrEnd.notify_all();
  tell(round);
}

// Waits the interval, or until all stop. False when the client is to stop.
bool pauseBetween(Round& round) {
  std::unique_lock hold(round.mutex);
  round.stopOrEnd.wait_for(hold, round.options.interval, [&round] { return round.stopping; });
  return !round.stopping;
}

// One request, its visit, their count. False when the daemon gave no answer.
bool askOnce(Round& round) {
  const AskOptions& options = round.options;
  const ServiceAnswer answer = askService(options.service, options.pool, options.timeout);
  if (!answer.answered) {
    recordFailure(round, answer.failure, answer.shortage);
    return false;
  }
  const auto answered =
      std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - round.start);
  const bool visitFailed = options.visit && !answer.server.empty() && !visitServer(answer.server);
  std::lock_guard hold(round.mutex);
  round.outcome.answers.add(answer.server);
  round.outcome.times.add(answer.took);
  round.outcome.elapsed = std::max(round.outcome.elapsed, answered);  // visits of others may end before
  if (visitFailed) round.outcome.answers.addFailedVisit(answer.server);
  return true;
}

// How many requests client number `index` makes: equal shares, the first ones one more.
std::int64_t shareOf(const AskOptions& options, std::int32_t index) {
  return options.count / options.clients + (index < options.count % options.clients ? 1 : 0);
}

void runClient(const std::shared_ptr<Round>& round, std::int64_t count) {
  const bool endless = round->options.count == 0;
  try {
    for (std::int64_t i = 0; endless || i < count; ++i) {
      if (i > 0 && !pauseBetween(*round)) break;
      if (!askOnce(*round)) break;
    }
  } catch (const std::exception&) {
    recordFailure(*round, "no memory left", true);  // so short that it needs none
  }
  std::lock_guard hold(round->mutex);
  if (--round->running > 0) return;
  round->stopOrEnd.notify_all();
  tell(*round);
}

void startClients(const std::shared_ptr<Round>& round) {
  const AskOptions& options = round->options;
  for (std::int32_t i = 0; i < options.clients; ++i) {
    try {
      std::thread(runClient, round, shareOf(options, i)).detach();
    } catch (const std::exception& error) {
      recordFailure(*round, "cannot start " + std::to_string(options.clients) + " clients: " + error.what(),
                    true);
      std::lock_guard hold(round->mutex);
      round->running -= options.clients - i;
      return;
    }
  }
}

// Until the clients have ended or stop because one failed, or the stop comes.
void waitForChange(const Round& round, int stopDescriptor) {
  pollfd watched[] = {{round.changed.number(), POLLIN, 0}, {stopDescriptor, POLLIN, 0}};
  while (poll(watched, std::size(watched), -1) < 0 && errno == EINTR) {
  }
}

}  // namespace

AskOutcome ask(const AskOptions& options, int stopDescriptor) {
  const auto round = std::make_shared<Round>(options);
  if (round->changed.number() < 0) {
    round->outcome.failure = std::string("eventfd: ") + std::strerror(errno);
    return round->outcome;
  }
  startClients(round);
  waitForChange(*round, stopDescriptor);
  std::unique_lock hold(round->mutex);
  round->outcome.interrupted = !round->stopping && round->running > 0;
  round->stopping = true;
  round->stopOrEnd.notify_all();
  round->stopOrEnd.wait_for(hold, kPatienceAfterStop, [&round] { return round->running == 0; });
  return round->outcome;
}

}  // namespace nimbolsp::tools
