#include "tools/service_process.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <system_error>

#include "service/wire/addresses.h"
#include "service/wire/descriptor.h"
#include "tools/tcp_table.h"

namespace nimbolsp::tools {

namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

constexpr int kStartAfterName = 22 - 3;  // fields of /proc/PID/stat between the state and the start

// The entries of a folder that can be read; none for one that cannot.
template <typename Use>
void forEachEntry(const fs::path& folder, Use use) {
  std::error_code fault;
  for (fs::directory_iterator at(folder, fault), end; !fault && at != end; at.increment(fault))
    use(at->path());
}

std::optional<pid_t> processOf(const fs::path& path) {
  const std::string name = path.filename();
  pid_t process = 0;
  const auto [end, fault] = std::from_chars(name.data(), name.data() + name.size(), process);
  if (fault != std::errc{} || end != name.data() + name.size()) return std::nullopt;
  return process;
}

// The start of a process or thread in clock ticks after that of the machine.
std::optional<std::uint64_t> startTicks(const fs::path& folder) {
  std::ifstream file(folder / "stat");
  const std::string line{std::istreambuf_iterator<char>(file), {}};
  const std::size_t name = line.rfind(')');  // the name itself may hold anything
  if (name == std::string::npos) return std::nullopt;
  std::istringstream fields(line.substr(name + 1));
  std::string field;
  for (int i = 0; i < kStartAfterName; ++i) fields >> field;
  std::uint64_t ticks = 0;
  if (!(fields >> ticks)) return std::nullopt;
  return ticks;
}

milliseconds ageOf(std::uint64_t ticks) {
  timespec sinceStart{};
  clock_gettime(CLOCK_BOOTTIME, &sinceStart);
  const milliseconds now(std::int64_t{sinceStart.tv_sec} * 1000 + sinceStart.tv_nsec / 1'000'000);
  return now - milliseconds(ticks * 1000 / static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK)));
}

// None when what its descriptors are cannot be seen.
std::optional<bool> hasOpen(const fs::path& process, const std::string& target) {
  bool found = false, hidden = access((process / "fd").c_str(), R_OK) != 0;
  forEachEntry(process / "fd", [&](const fs::path& descriptor) {
    std::error_code fault;
    if (!found) found = fs::read_symlink(descriptor, fault) == target;
    hidden = hidden || fault == std::errc::permission_denied;
  });
  if (hidden) return std::nullopt;
  return found;
}

}  // namespace

bool isLocal(const ServiceAddress& service) {
  const Descriptor probe(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_in own = addressOf(inet_addr(service.host.c_str()), 0);
  return bind(probe.number(), reinterpret_cast<const sockaddr*>(&own), sizeof own) == 0;
}

std::optional<std::uint64_t> listeningSocket(const ServiceAddress& service) {
  const in_addr_t own = inet_addr(service.host.c_str());
  std::optional<std::uint64_t> number;
  forEachTcpSocket("/proc/net/tcp", [&](const TcpTableRow& socket) {
    const bool isOurs = socket.address == INADDR_ANY || socket.address == own;
    if (isOurs && socket.state == kListening && socket.port == (service.port & 0xFFFF))
      number = socket.number;
  });
  return number;
}

std::optional<bool> hasSocket(pid_t process, std::uint64_t socketNumber) {
  return hasOpen("/proc/" + std::to_string(process), "socket:[" + std::to_string(socketNumber) + "]");
}

bool isListenedToByAnother(const ServiceAddress& service, pid_t process) {
  if (!isLocal(service)) return false;
  const auto socket = listeningSocket(service);
  return socket && !hasSocket(process, *socket).value_or(true);
}

std::string notTheListener(const ServiceAddress& service, pid_t process) {
  return "it is not process " + std::to_string(process) + " that listens on " + service.text();
}

std::string noProcess(pid_t process) {
  return "there is no process " + std::to_string(process);
}

pid_t ownerOf(std::uint64_t socketNumber) {
  const std::string target = "socket:[" + std::to_string(socketNumber) + "]";
  pid_t owner = -1;
  forEachEntry("/proc", [&](const fs::path& path) {
    if (const auto process = processOf(path); process && owner < 0 && hasOpen(path, target).value_or(false))
      owner = *process;
  });
  return owner;
}

std::optional<std::uint64_t> startTicksOf(pid_t process) {
  return startTicks("/proc/" + std::to_string(process));
}

std::optional<ProcessStart> startOf(pid_t process) {
  const fs::path folder = "/proc/" + std::to_string(process);
  const auto ticks = startTicks(folder);
  if (!ticks) return std::nullopt;
  std::uint64_t newest = *ticks;
  forEachEntry(folder / "task", [&newest](const fs::path& thread) {
    newest = std::max(newest, startTicks(thread).value_or(0));
  });
  return ProcessStart{*ticks, ageOf(*ticks), ageOf(newest + 1)};
}

}  // namespace nimbolsp::tools
