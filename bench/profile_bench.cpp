// How long the pools of a profile take to read, from the disk, in the order in which the pool loader reads
// them: once and twice as many pools as the service takes, with and without blank lines between the sections.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "compat/core/call_guard.h"
#include "nimboxi/profile.h"

namespace {

constexpr int kPools = 64;
constexpr int kServers = 256;

enum class Sections { kApart, kTouching };

// A temporary folder with the profiles, removed at the end.
class Profiles {
 public:
  Profiles() {
    std::string name = std::filesystem::temp_directory_path() / "profile_bench.XXXXXX";
    if (mkdtemp(name.data()) == nullptr) std::abort();
    folder_ = name;
    std::ofstream(other()) << "[A]\r\nx=1\r\n";
    for (const Sections sections : {Sections::kApart, Sections::kTouching}) {
      write(kPools, sections);
      write(2 * kPools, sections);
    }
  }
  ~Profiles() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  Profiles(const Profiles&) = delete;
  Profiles& operator=(const Profiles&) = delete;

  // A file whose reading makes the next read of a profile go to the disk.
  std::string other() const { return folder_ / "other.ini"; }

  std::string path(int pools, Sections sections) const {
    return folder_ / (std::to_string(pools) + (sections == Sections::kApart ? "" : "-touching") + ".ini");
  }

 private:
  void write(int pools, Sections sections) {
    std::ofstream file(path(pools, sections), std::ios::binary);
    const char* gap = sections == Sections::kApart ? "\r\n" : "";
    file << "[Setup]\r\nPort=5900\r\n" << gap;
    for (int pool = 1; pool <= pools; ++pool) {
      file << "[Pool" << pool << "]\r\n";
      for (int server = 1; server <= kServers; ++server) {
        file << "Server" << server << "=10." << pool << ".0." << server % 256 << ":5912\r\n";
      }
      file << "PollTimer=30\r\n" << gap;
    }
  }

  std::filesystem::path folder_;
};

const Profiles& profiles() {
  static const Profiles all;
  return all;
}

bool read(const std::string& path, const std::string& section, const char* key) {
  char value[256];
  return GetPrivateProfileString(section.c_str(), key, "", value, sizeof value, path.c_str()) > 0;
}

// Reads one server key; the key is formatted as the loader formats it.
bool readServer(const std::string& path, const std::string& section, int server) {
  char key[32];
  std::snprintf(key, sizeof key, "Server%d", server);
  return read(path, section, key);
}

// Counts the servers of each pool, reads its interval, then its servers. Returns the number of values found.
int readPools(const std::string& path, int pools) {
  int found = 0;
  for (int pool = 1; pool <= pools; ++pool) {
    const std::string section = "Pool" + std::to_string(pool);
    int servers = 0;
    while (servers < kServers + 1 && readServer(path, section, servers + 1)) ++servers;
    found += servers + read(path, section, "PollTimer");
    for (int server = 1; server <= servers; ++server) found += readServer(path, section, server);
  }
  return found;
}

// Seconds for one reading, cold.
double timeReading(int pools, Sections sections) {
  read(profiles().other(), "A", "x");
  const std::string path = profiles().path(pools, sections);
  const auto start = std::chrono::steady_clock::now();
  const int found = readPools(path, pools);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  if (found != pools * (2 * kServers + 1)) {
    std::fprintf(stderr, "%s: %d values found\n", path.c_str(), found);
    std::abort();
  }
  return elapsed.count();
}

void readTwicePoolsAgainstOnce(benchmark::State& state) {
  const auto sections = static_cast<Sections>(state.range(0));
  std::vector<double> once;
  std::vector<double> twice;
  // Interleaved, so that a busy machine slows both alike.
  for (auto _ : state) {
    once.push_back(timeReading(kPools, sections));
    twice.push_back(timeReading(2 * kPools, sections));
    state.SetIterationTime(once.back());
  }
  auto median = [](std::vector<double>& times) {
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
  };
  const double onceMedian = median(once);
  const double twiceMedian = median(twice);
  state.counters["once_ms"] = onceMedian * 1e3;
  state.counters["twice_ms"] = twiceMedian * 1e3;
  state.counters["ratio"] = twiceMedian / onceMedian;
  state.counters["bytes"] =
      static_cast<double>(std::filesystem::file_size(profiles().path(kPools, sections)));
}
BENCHMARK(readTwicePoolsAgainstOnce)
    ->ArgName("touching")
    ->Arg(static_cast<int>(Sections::kApart))
    ->Arg(static_cast<int>(Sections::kTouching))
    ->Iterations(50)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  // The lock alone, as every call takes it; a whole start of the layer would write a layer profile.
  nimboxi::createLayerLock();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
