// "top": all servers and the daemon, live, in a terminal; without one, a plain picture.
#include <langinfo.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

#include "service/wire/process_limits.h"
#include "tools/commands/command.h"
#include "tools/commands/options.h"
#include "tools/commands/service_options.h"
#include "tools/nearest.h"
#include "tools/polling/monitor.h"
#include "tools/process.h"
#include "tools/terminal/screen.h"
#include "tools/terminal/top_view.h"

namespace nimbolsp::tools {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::system_clock;

constexpr int kNoTerminal = 1;
constexpr int kRedrawInterval = 250;  // milliseconds
constexpr milliseconds kLook{100};    // between two looks for the stop
constexpr std::size_t kUsualWidth = 120;
constexpr std::size_t kWidest = 1000;
constexpr double kLongestInterval = 86'400;  // seconds

const char* const kHelp =
    R"(Every pool is polled at its own PollTimer, one second at least, and the daemon is asked once a second with an
empty pool name; requests a second is one divided by the usual answer time: one client, one request after another.
Colours are off with NO_COLOR. Without a terminal, one plain picture is printed after the first polls.
Keys: q quits, s sorts, / filters, t leaves only servers in trouble, ? shows all keys.
Examples:
  nimbolspctl top --profile /opt/nimbolsp/nimbolsp.ini
  nimbolspctl top --batch --count 3 --interval 5 --sort load
Exit status: 0 done, or ended by q or a signal; 1 the terminal's kind is unknown, 64 the command line is wrong or the
profile names no server, 74 the output could not be written.)";

struct Line {
  ServiceOptions service;
  double interval = 0;  // seconds; 0: the profile's
  std::int64_t count = 0;
  bool batch = false;
  std::string sort = "profile";
  TopState state;
};

// A descriptor of the signals that mean something to a program that has a terminal. All threads that start
// from now on leave them to it.
Descriptor catchTerminalSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGWINCH, SIGTSTP, SIGCONT}) {
    sigaddset(&signals, signal);
  }
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  Descriptor caught(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  if (caught.number() < 0) throw std::runtime_error(std::string("signalfd: ") + std::strerror(errno));
  return caught;
}

// False when a signal came that ends the program.
bool takeSignals(int descriptor, Screen& screen) {
  signalfd_siginfo taken{};
  while (read(descriptor, &taken, sizeof taken) == ssize_t{sizeof taken}) {
    switch (taken.ssi_signo) {
      case SIGWINCH:
      case SIGCONT:
        screen.followSize();
        break;
      case SIGTSTP:
        screen.suspend();
        break;
      default:
        return false;
    }
  }
  return true;
}

bool wantsColours() {
  const char* const none = std::getenv("NO_COLOR");
  return none == nullptr || *none == '\0';
}

int runLive(const Monitor& monitor, TopState& state, int signals) {
  Screen screen(wantsColours());
  std::shared_ptr<const Picture> picture = monitor.picture();
  for (;;) {
    if (!state.held) picture = monitor.picture();
    screen.draw(layoutScreen(*picture, state, screen.width(), screen.height(), system_clock::now()));
    pollfd watched[] = {{STDIN_FILENO, POLLIN, 0}, {signals, POLLIN, 0}};
    if (poll(watched, std::size(watched), kRedrawInterval) < 0 && errno != EINTR) return kDone;
    if (watched[1].revents != 0 && !takeSignals(signals, screen)) return kDone;
    if (watched[0].revents == 0) continue;
    bool anyKey = false;
    while (const auto key = screen.readKey()) {
      if (!handleKey(state, *key)) return kDone;
      anyKey = true;
    }
    if (!anyKey && (watched[0].revents & (POLLHUP | POLLERR | POLLIN)) != 0 && isatty(STDIN_FILENO) == 0) {
      return kDone;  // the terminal has gone
    }
  }
}

std::size_t plainWidth() {
  const char* const columns = std::getenv("COLUMNS");
  std::size_t width = 0;
  if (columns != nullptr) std::from_chars(columns, columns + std::strlen(columns), width);
  return width > 0 ? std::min(width, kWidest) : kUsualWidth;
}

bool isComplete(const Picture& picture) {
  return (picture.service.requests > 0 || !picture.service.shortage.empty()) &&
         std::ranges::all_of(picture.pools, [](const PoolState& pool) { return pool.rounds > 0; });
}

// Waits until then. False when the stop came.
bool pauseUntil(Clock::time_point time, int stopDescriptor) {
  const auto left = std::chrono::ceil<milliseconds>(time - Clock::now());
  pollfd watched{stopDescriptor, POLLIN, 0};
  return poll(&watched, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0))) == 0;
}

// False when the stop came before.
bool waitForFirstRounds(const Monitor& monitor, int stopDescriptor) {
  const SlowWork slow("polling the servers");
  for (auto picture = monitor.picture(); !isComplete(*picture); picture = monitor.picture()) {
    monitor.waitForChange(picture->version, kLook);
    if (!pauseUntil(Clock::now(), stopDescriptor)) return false;
  }
  return true;
}

// Plain pictures, an interval apart; `count` of them, or until the stop for 0.
int runPlain(const Monitor& monitor, const TopState& state, std::int64_t count, int stopDescriptor) {
  if (!waitForFirstRounds(monitor, stopDescriptor)) return kDone;
  auto next = Clock::now();
  for (std::int64_t i = 1;; ++i) {
    const std::shared_ptr<const Picture> picture = monitor.picture();
    print((i > 1 ? "\n" : "") + plainPicture(*picture, state, plainWidth(), system_clock::now()));
    next += std::ranges::min_element(picture->pools, {}, &PoolState::interval)->interval;
    if (i == count || !pauseUntil(next, stopDescriptor)) return kDone;
  }
}

int run(Line& line) {
  raiseDescriptorLimit();
  const EffectiveProfile profile = loadProfile(line.service.profile);
  const MonitorOptions options{line.service.resolved(profile), line.service.timeout(),
                               milliseconds(static_cast<std::int64_t>(line.interval * 1000))};
  const auto sort = std::ranges::find(kSortNames, line.sort) - std::ranges::begin(kSortNames);
  line.state.sort = static_cast<SortKey>(sort);
  const bool isLive = !line.batch && isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
  const Descriptor signals = isLive ? catchTerminalSignals() : catchStopSignals();
  if (isLive) {
    std::setlocale(LC_CTYPE, "");  // before there are threads, which read it
    line.state.unicode = std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
  }
  Monitor monitor(profile, options);
  monitor.start();
  if (!isLive) return runPlain(monitor, line.state, line.batch ? line.count : 1, signals.number());
  try {
    return runLive(monitor, line.state, signals.number());
  } catch (const std::runtime_error& fault) {
    complain(fault.what());
    return kNoTerminal;
  }
}

}  // namespace

Runner declareTop(Options& options) {
  const auto line = std::make_shared<Line>();
  line->service.timeoutMilliseconds = 2000;
  addServiceOptions(options, line->service);
  options.number("--interval", line->interval, "SECONDS",
                 "Poll every pool so often (default: at its own PollTimer,\n"
                 "which is also how often the daemon itself does)",
                 0.1, kLongestInterval);
  options
      .text("--sort", line->sort, "KEY",
            "profile, load, time, failures, flaps, list or name (default profile)")
      .checked([](const std::string& word) {
        const std::vector<std::string> names(std::begin(kSortNames), std::end(kSortNames));
        return std::ranges::count(names, word) > 0
                   ? std::string{}
                   : "\"" + word + "\" is no key to sort by" + suggestion(word, names);
      });
  options.text("--filter", line->state.filter, "TEXT", "Only rows with this in their pool, server or state");
  const Option batch =
      options.flag("--batch", line->batch, "Print plain pictures, an interval apart, until stopped");
  options
      .number("-n,--count", line->count, "COUNT", "Print so many pictures (default 0: until stopped)", 0,
              INT64_MAX)
      .needs(batch);
  options.footer(kHelp);
  return [line] { return run(*line); };
}

}  // namespace nimbolsp::tools
