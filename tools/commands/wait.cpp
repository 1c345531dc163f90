// "wait --polled": returns once the running daemon has polled every server of its profile for the first
// time. The daemon does not tell, so it is reckoned: a server's first poll begins one PollTimer after its
// thread was started, and from then on the server is withheld until it has answered.
#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <memory>
#include <string>

#include "service/wire/numbers.h"
#include "service/wire/process_limits.h"
#include "tools/commands/command.h"
#include "tools/commands/options.h"
#include "tools/commands/service_options.h"
#include "tools/polling/survey.h"
#include "tools/process.h"
#include "tools/service_process.h"
#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int kTimedOut = 1;
constexpr milliseconds kLook{100};        // between two looks at the daemon
constexpr milliseconds kShortLook{50};    // likewise, at the end
constexpr milliseconds kAbsence{10'000};  // how long the daemon may be away
constexpr milliseconds kSilence{1000};    // of this command, while nothing comes
constexpr milliseconds kMargin{250};      // for threads that are woken late
constexpr milliseconds kLongestPoll{2000};
constexpr milliseconds kPingTimeout{5000};

const char* const kHelp =
    R"(For the moment after a start or restart, when the daemon hands out servers of which it knows nothing yet. The
running daemon's start is taken from the process that listens on the port; its user or root can see that one.
Others give --pid, or the time is counted from now, which takes longer. A daemon that is not there may come within
10 seconds; one that is started anew meanwhile is waited for anew. At the end the daemon is asked as "ping" does.
The profile must be the one that the daemon has read.
Examples:
  nimbolspctl wait --polled --profile /opt/nimbolsp/nimbolsp.ini
  nimbolspctl wait --polled --pid 1234 --timeout 60000
Exit status: 0 every server had its first poll and the daemon answers, 1 the time of --timeout was over, 3 the
daemon is not there, ended or does not answer, 64 the command line is wrong or the profile is not one to start with,
74 the output could not be written, 130 interrupted.)";

struct Line {
  ServiceOptions service;
  std::int32_t process = 0;
  bool polled = false;
};

// The running daemon as it is seen just now.
struct Sighting {
  bool there = false;
  std::uint64_t identity = 0;  // changes with a restart
  pid_t process = -1;          // -1: unseen
  Clock::time_point started;   // of its newest thread; of the sighting where that is unseen
};

// The longest time from a thread's start to its first poll, as the daemon rounds it.
milliseconds firstPollDelay(const EffectiveProfile& profile) {
  std::uint32_t seconds = 0;
  for (const PoolEntry& pool : profile.pools) {
    seconds = std::max(seconds, roundedSeconds(static_cast<std::uint32_t>(pool.pollInterval)));
  }
  return std::chrono::seconds(seconds);
}

class Waiting {
 public:
  explicit Waiting(const Line& line)
      : line_(line),
        profile_(loadFaultlessProfile(line.service.profile)),
        service_(line.service.resolved(profile_)),
        delay_(firstPollDelay(profile_)),
        isLocal_(isLocal(service_)) {}

  int run() {
    for (;;) {
      const Sighting seen = look();
      if (const int status = seen.there ? arrive(seen) : miss(); status >= 0) return status;
      if (line_.service.timeoutMilliseconds > 0 && Clock::now() >= end_) {
        complain(known_.there ? "the time was over before every server had its first poll"
                              : "the time was over, and nobody answers at " + service_.text());
        return kTimedOut;
      }
      if (!pause()) return kStoppedBySignal;
    }
  }

 private:
  // A look at the process is dear: it is taken when another socket listens, and by --pid when the time has
  // come.
  Sighting look() {
    if (line_.process > 0 && known_.there && Clock::now() < due_ &&
        startTicksOf(line_.process) == known_.identity) {
      return known_;
    }
    Sighting seen{false, 0, line_.process > 0 ? line_.process : -1, Clock::now()};
    if (seen.process < 0 && isLocal_) {
      const auto socket = listeningSocket(service_);
      seen.there = socket.has_value();
      seen.identity = socket.value_or(0);
      if (known_.there && seen.identity == known_.identity) return known_;
      if (seen.there && seen.identity != soughtSocket_) {
        soughtSocket_ = seen.identity;
        soughtOwner_ = ownerOf(seen.identity);
      }
      if (seen.there) seen.process = soughtOwner_;
    } else if (seen.process < 0) {
      seen.there = askService(service_, "", kPingTimeout, stop_.number()).answered;
    }
    if (seen.process < 0) return seen;
    const auto start = startOf(seen.process);
    if (!start) {  // the socket may live on in another process, unseen
      seen.process = -1;
      seen.there &= line_.process <= 0;
      return seen;
    }
    seen.there = true;
    if (line_.process > 0) seen.identity = start->ticks;
    seen.started = Clock::now() - start->newest;
    return seen;
  }

  // Whether the process of --pid is certainly not the one that listens.
  bool isAnother() {
    if (line_.process <= 0 || !isLocal_) return false;
    const auto socket = listeningSocket(service_);
    if (!socket || *socket == soughtSocket_) return false;
    soughtSocket_ = *socket;
    return isListenedToByAnother(service_, line_.process);
  }

  // The daemon is there. Returns a status, or -1 to go on waiting.
  int arrive(const Sighting& seen) {
    if (isAnother()) {
      complain(notTheListener(service_, line_.process));
      return kServiceFailed;
    }
    if (!known_.there || seen.identity != known_.identity) {
      if (known_.there) complain("the daemon was started anew");
      known_ = seen;
      tellSighting();
      due_ = dueTime();
      const auto left = std::chrono::duration_cast<milliseconds>(due_ - Clock::now());
      if (left > milliseconds(1000))
        complain("waiting " + decimal(inMilliseconds(left) / 1000, 1) + " s for the first polls");
    }
    if (line_.process > 0) due_ = std::max(due_, seen.started + delay_ + kMargin);  // threads still start
    return Clock::now() < due_ ? -1 : finish();
  }

  void tellSighting() const {
    if (known_.process < 0) {
      complain(
          "the daemon's process cannot be seen (its user or root can, or --pid names it); counting from "
          "now");
      return;
    }
    struct stat file {};
    const auto start = startOf(known_.process);
    if (start && stat(line_.service.profile.c_str(), &file) == 0 &&
        std::time(nullptr) - file.st_mtime < start->age.count() / 1000) {
      complain(line_.service.profile +
               " was changed after the daemon had started, which goes by what it read");
    }
  }

  // When the first polls are over: they begin after the delay, and take as long as polls take.
  Clock::time_point dueTime() const {
    const Clock::time_point begin = known_.started + delay_ + kMargin;
    if (Clock::now() >= begin + kLongestPoll) return begin;
    std::chrono::microseconds longest{0};
    const Survey survey =
        takeSurvey(profile_.pools, profile_.settings.bucketSize, kLongestPoll, stop_.number());
    for (const SurveyedServer& server : survey.servers) {
      if (server.answered()) longest = std::max(longest, server.result.took);
    }
    return begin + longest;
  }

  // The daemon is not there. Returns a status, or -1 to go on waiting.
  int miss() {
    if (isStopped()) return kStoppedBySignal;  // which may be why it did not answer
    if (line_.process > 0) {
      complain(noProcess(line_.process));
      return kServiceFailed;
    }
    if (known_.there) {
      complain("the daemon has ended; waiting for its return");
      absentSince_ = Clock::now();
    }
    known_ = {};
    const auto absence = Clock::now() - absentSince_;
    if (absence > kSilence && !absenceTold_) complain("waiting for a daemon at " + service_.text());
    absenceTold_ |= absence > kSilence;
    if (absence < kAbsence) return -1;
    complain("nobody answers at " + service_.text());
    return kServiceFailed;
  }

  int finish() const {
    const ServiceAnswer answer = askService(service_, "", kPingTimeout, stop_.number());
    if (!answer.answered) {
      if (isStopped()) return kStoppedBySignal;
      complain(answer.failure);
      return kServiceFailed;
    }
    std::size_t servers = 0;
    for (const PoolEntry& pool : profile_.pools) servers += pool.servers.size();
    print("every server had its first poll: " + std::to_string(servers) + " in " +
          std::to_string(profile_.pools.size()) + (profile_.pools.size() == 1 ? " pool; " : " pools; ") +
          service_.text() + " answers\n");
    return kDone;
  }

  bool isStopped() const {
    pollfd watched{stop_.number(), POLLIN, 0};
    return poll(&watched, 1, 0) > 0;
  }

  // Until the next look. False when the stop came.
  bool pause() const {
    const auto left = known_.there ? std::chrono::ceil<milliseconds>(due_ - Clock::now()) : kLook;
    pollfd watched{stop_.number(), POLLIN, 0};
    return poll(&watched, 1, static_cast<int>(std::clamp(left, kShortLook, kLook).count())) == 0;
  }

  const Line& line_;
  const EffectiveProfile profile_;
  const ServiceAddress service_;
  const milliseconds delay_;
  const bool isLocal_;
  const Descriptor stop_ = catchStopSignals();
  const Clock::time_point end_ = Clock::now() + milliseconds(line_.service.timeoutMilliseconds);
  Sighting known_;
  std::uint64_t soughtSocket_ = 0;  // the last one whose owner was sought; 0: none
  pid_t soughtOwner_ = -1;          // what was found
  Clock::time_point due_;
  Clock::time_point absentSince_ = Clock::now();
  bool absenceTold_ = false;
};

int run(const Line& line) {
  raiseDescriptorLimit();
  return Waiting(line).run();
}

}  // namespace

Runner declareWait(Options& options) {
  const auto line = std::make_shared<Line>();
  line->service.timeoutMilliseconds = 0;
  options.flag("--polled", line->polled, "Until every server had its first poll").required();
  addAddressOptions(options, line->service);
  options.number("--pid", line->process, "PID", "The daemon's process (default: who listens on the port)", 1,
                 INT32_MAX);
  options.number("--timeout", line->service.timeoutMilliseconds, "MILLISECONDS",
                 "Wait so long at most (default: as long as it takes)", 1, 86'400'000);
  options.footer(kHelp);
  return [line] { return run(*line); };
}

}  // namespace nimbolsp::tools
