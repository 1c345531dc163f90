// The clients of a measurement: each asks for a server over a new connection, again and again. Every answer
// is held against the addresses that may be handed out, which come on standard input, one a line. Prints one
// line of key=value: requests, wrong and failed ones, those above 0.9 s, the rate, times in microseconds, and
// how many of the addresses were handed out. Exit status 1 when an answer was wrong or missing, or none asked
// for.
//   load_generator -p PORT [-c CLIENTS] [-n REQUESTS | -t SECONDS] [-r] [-s FILE] POOL <ADDRESSES
//     -c  1 to 6 at once (default 1), each a thread: more than six find no place in the daemon's backlog
//     -n  requests of all clients together; -t how long they ask (default 1 second)
//     -r  speaks to a redis server: calls its function take_lowest with POOL as the key
//     -s  writes a row for every 10 ms of the run: requests that began then, their median, the longest
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

#include "service/wire/addresses.h"
#include "service/wire/descriptor.h"
#include "service/wire/request_protocol.h"

namespace {

using namespace nimbolsp;
using Clock = std::chrono::steady_clock;

using std::chrono::nanoseconds;

constexpr std::chrono::milliseconds kLate{900};  // the system tries a connection again after one second
constexpr std::chrono::milliseconds kSlice{10};
constexpr int kPatience = 60;  // seconds beyond the run's own, then SIGALRM ends a run that hangs

struct Plan {
  std::uint16_t port = 0;
  int clients = 1;
  long requests = 0;  // 0: until the time is over
  double seconds = 1;
  bool redis = false;
  const char* series = nullptr;
  std::string pool;
};

struct Timed {
  nanoseconds start;  // since the run's begin
  nanoseconds duration;
};

struct Answer {
  std::string_view text;
  Clock::time_point end;  // when its last byte was there
};

using Addresses = std::unordered_map<std::string_view, std::size_t>;

// What one client saw.
struct Record {
  std::vector<Timed> times;
  std::vector<std::uint32_t> handedOut;  // by address
  long wrong = 0;
  long failed = 0;
};

std::string requestOf(const Plan& plan) {
  if (plan.redis) return "FCALL take_lowest 1 " + plan.pool + "\r\n";
  return std::string{static_cast<char>(kServerRequest), static_cast<char>(plan.pool.size())} + plan.pool;
}

// The text of an answer; nothing while it is not whole.
std::string_view wholeAnswer(std::string_view bytes) {
  if (bytes.size() < kHeaderSize) return {};
  const std::size_t length = static_cast<std::uint8_t>(bytes[1]);
  if (bytes.size() < kHeaderSize + length) return {};
  return bytes.substr(kHeaderSize, length);
}

std::string_view wholeRedisAnswer(std::string_view bytes) {  // $LENGTH, a line's end, the text, a line's end
  const std::size_t end = bytes.find("\r\n");
  std::size_t length = 0;
  if (end == std::string_view::npos) return {};
  std::from_chars(bytes.data() + 1, bytes.data() + end, length);
  if (bytes.size() < end + 2 + length + 2) return {};
  return bytes.substr(end + 2, length);
}

// One request over one connection; `answer` is empty when it fails, or when the answer is. Then waits for the
// server's close, if it closes by itself, and resets: so nothing stays behind in TIME_WAIT, of which the
// system keeps a number, and lets those above it off the work; what is measured later would seem faster.
Answer ask(const sockaddr_in& server, const std::string& request, bool redis, std::array<char, 512>& buffer) {
  const Descriptor socket(::socket(AF_INET, SOCK_STREAM, 0));
  if (connect(socket.number(), reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0) return {};
  if (send(socket.number(), request.data(), request.size(), MSG_NOSIGNAL) < 0) return {};
  for (std::size_t have = 0; have < buffer.size();) {
    const ssize_t received = recv(socket.number(), buffer.data() + have, buffer.size() - have, 0);
    if (received <= 0) return {};
    have += static_cast<std::size_t>(received);
    const std::string_view bytes(buffer.data(), have);
    const std::string_view text = redis ? wholeRedisAnswer(bytes) : wholeAnswer(bytes);
    if (text.empty()) continue;
    const auto end = Clock::now();
    char rest;
    if (!redis && recv(socket.number(), &rest, 1, 0) > 0) return {};  // more than the answer
    resetOnClose(socket.number());
    return {text, end};
  }
  return {};
}

void runClient(const Plan& plan, const Addresses& allowed, Clock::time_point begin, std::atomic<long>& asked,
               Record& record) {
  const sockaddr_in server = addressOf(htonl(INADDR_LOOPBACK), plan.port);
  const std::string request = requestOf(plan);
  const auto end = begin + std::chrono::duration<double>(plan.seconds);
  std::array<char, 512> buffer;
  record.handedOut.resize(allowed.size());
  const auto goesOn = [&] { return plan.requests > 0 ? asked++ < plan.requests : Clock::now() < end; };
  while (goesOn()) {
    const auto start = Clock::now();
    const Answer answer = ask(server, request, plan.redis, buffer);
    const auto found = allowed.find(answer.text);
    if (found != allowed.end()) {
      ++record.handedOut[found->second];
      record.times.push_back({start - begin, answer.end - start});
    } else {
      ++(answer.text.empty() ? record.failed : record.wrong);
    }
  }
}

// In microseconds.
double percentile(std::vector<Timed>& times, double share) {
  if (times.empty()) return 0;
  const auto place =
      times.begin() + static_cast<std::ptrdiff_t>(static_cast<double>(times.size() - 1) * share);
  std::ranges::nth_element(times, place, {}, &Timed::duration);
  return static_cast<double>(place->duration.count()) / 1000;
}

void writeSeries(const char* path, const std::vector<Timed>& times) {
  std::vector<std::vector<Timed>> slices;
  for (const Timed& timed : times) {
    const auto slice = static_cast<std::size_t>(timed.start / kSlice);
    if (slice >= slices.size()) slices.resize(slice + 1);
    slices[slice].push_back(timed);
  }
  std::ofstream file(path);
  file << "milliseconds,requests,median,longest\n";
  for (std::size_t i = 0; i < slices.size(); ++i) {
    file << i * kSlice.count() << ',' << slices[i].size() << ',' << percentile(slices[i], 0.5) << ','
         << percentile(slices[i], 1) << '\n';
  }
}

// The processor's time that this process has taken, in seconds.
double processorTime() {
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(used.ru_utime) + seconds(used.ru_stime);
}

// The records of all clients, printed as one. True when there were answers and every one was right.
bool report(const Plan& plan, std::vector<Record>& records, double seconds, double processor) {
  Record all = std::move(records.front());
  for (Record& record : records) {
    if (&record == &records.front()) continue;
    all.times.insert(all.times.end(), record.times.begin(), record.times.end());
    for (std::size_t i = 0; i < all.handedOut.size(); ++i) all.handedOut[i] += record.handedOut[i];
    all.wrong += record.wrong;
    all.failed += record.failed;
  }
  if (plan.series != nullptr) writeSeries(plan.series, all.times);
  const auto late = std::ranges::count_if(all.times, [](const Timed& t) { return t.duration > kLate; });
  const auto used = std::ranges::count_if(all.handedOut, [](std::uint32_t times) { return times > 0; });
  std::printf(
      "requests=%zu wrong=%ld failed=%ld late=%td seconds=%.4f rate=%.1f p50=%.2f p99=%.2f p999=%.2f "
      "longest=%.2f servers=%td processor=%.6f\n",
      all.times.size(), all.wrong, all.failed, late, seconds, static_cast<double>(all.times.size()) / seconds,
      percentile(all.times, 0.5), percentile(all.times, 0.99), percentile(all.times, 0.999),
      percentile(all.times, 1), used, processor);
  return !all.times.empty() && all.wrong == 0 && all.failed == 0;
}

bool parse(int argc, char** argv, Plan& plan) {
  for (int option; (option = getopt(argc, argv, "p:c:n:t:rs:")) != -1;) {
    switch (option) {
      case 'p':
        plan.port = static_cast<std::uint16_t>(std::atoi(optarg));
        break;
      case 'c':
        plan.clients = std::atoi(optarg);
        break;
      case 'n':
        plan.requests = std::atol(optarg);
        break;
      case 't':
        plan.seconds = std::atof(optarg);
        break;
      case 'r':
        plan.redis = true;
        break;
      case 's':
        plan.series = optarg;
        break;
      default:
        return false;
    }
  }
  if (optind != argc - 1) return false;
  plan.pool = argv[optind];
  return plan.port != 0 && plan.clients >= 1 && plan.clients <= 6 && plan.pool.size() <= kMaximumBodySize;
}

}  // namespace

int main(int argc, char** argv) {
  Plan plan;
  if (!parse(argc, argv, plan)) {
    std::fprintf(stderr,
                 "usage: load_generator -p PORT [-c 1..6] [-n REQUESTS | -t SECONDS] [-r] [-s FILE] POOL\n");
    return 2;
  }
  std::vector<std::string> texts;
  for (std::string line; std::getline(std::cin, line);) texts.push_back(line);
  Addresses allowed;
  for (const std::string& text : texts) {
    if (!text.empty()) allowed.emplace(text, allowed.size());  // what failed has an empty answer
  }

  alarm(static_cast<unsigned>(plan.seconds) + static_cast<unsigned>(plan.requests / 100) + kPatience);
  std::vector<Record> records(static_cast<std::size_t>(plan.clients));
  for (Record& record : records) record.times.reserve(1 << 16);
  std::atomic<long> asked{0};
  const auto begin = Clock::now();
  {
    std::vector<std::jthread> clients;
    for (Record& record : records) {
      clients.emplace_back([&] { runClient(plan, allowed, begin, asked, record); });
    }
  }
  const std::chrono::duration<double> seconds = Clock::now() - begin;
  return report(plan, records, seconds.count(), processorTime()) ? 0 : 1;
}
