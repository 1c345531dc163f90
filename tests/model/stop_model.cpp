// The stop in every order of what main and the polling threads do: the service's code from main down, on a
// layer and a network that are no more than what is promised of each. Below are: the fibers, the walk through
// their orders, memory, the layer, the network, the rest of the service.
//   model_tests POOLS SERVERS POLLS      servers in each pool; polls of a thread before the stop, at most
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <unordered_map>
#include <utility>
#include <vector>

#include "nimboxi/handles.h"
#include "nimboxi/layer.h"
#include "nimboxi/synch.h"
#include "tests/model/steps.h"

#include "service/listener.h"
#include "service/pool_loader.h"
#include "service/pool_profile.h"
#include "service/reports.h"
#include "service/resources/string_table.h"
#include "service/server_pool.h"
#include "service/settings.h"
#include "service/wire/tcp_socket.h"

using namespace nimbolsp;
using model::expect;
using model::running;
using model::step;

int serviceMain(int argc, char** argv);
extern "C" char __start_service_state[], __stop_service_state[];  // the linker's

namespace {

constexpr int kSize = 1 << 16;

struct Fiber {
  char* end;             // of the stack, while it does not run
  std::size_t heapUsed;  // of a heap of its own: an address says nothing of how far the others are
  THREAD_START_ROUTINE routine;
  void* argument;
  const std::function<bool()>* ready;
  const char* at;  // its next step
  std::intptr_t outcomes, outcome, ended;
} fibers[4];

struct {
  alignas(16) char stack[kSize], heap[kSize];
} memories[4];

// What stands beneath the service; its `places` are the semaphores.
constexpr std::intptr_t kClosed = 99;
struct {
  std::intptr_t fibers, blocks, layerStands, stoppedTold, handles, mainEnded, silent, semaphores, polls[4],
      places[8];
} world;

int pools, servers, polls;
void* scheduler;
// Leaves the registers that a function keeps, and the stack, in *from; takes up another stack.
extern "C" void switchStacks(void* from, void* to);
asm("switchStacks: pushq %rbp; pushq %rbx; pushq %r12; pushq %r13; pushq %r14; pushq %r15;"
    "movq %rsp, (%rdi); movq %rsi, %rsp; popq %r15; popq %r14; popq %r13; popq %r12; popq %rbx; popq %rbp; "
    "ret");

void runFiber() {
  Fiber& fiber = fibers[running];
  fiber.routine(fiber.argument);
  fiber.ended = true;
  switchStacks(&fiber.end, scheduler);
}

void startFiber(THREAD_START_ROUTINE routine, void* argument) {
  char* const top = memories[world.fibers].stack + kSize;
  void* const start[8] = {
      nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, reinterpret_cast<void*>(runFiber)};
  std::memcpy(top - sizeof start, start, sizeof start);
  fibers[world.fibers++] = {top - sizeof start, 0, routine, argument, nullptr, "start", 1, 0, false};
}

// What lies beyond the end of the stack is wiped first: it would make two of one state.
void goOn(std::pair<int, int> choice) {
  Fiber& fiber = fibers[choice.first];
  std::memset(fiber.end - 6144, 0, 6144);
  fiber.outcome = choice.second;
  running = choice.first;
  switchStacks(&scheduler, fiber.end);
  running = -1;
}

// All that the future depends on, byte for byte.
template <typename Move>
void moveState(Move move) {
  move(&world, sizeof world);
  move(&logLock, sizeof logLock);
  move(__start_service_state, static_cast<std::size_t>(__stop_service_state - __start_service_state));
  for (std::intptr_t i = 0; i < world.fibers; ++i) {
    move(&fibers[i], sizeof fibers[i]);
    move(fibers[i].end, static_cast<std::size_t>(memories[i].stack + kSize - fibers[i].end));
    move(memories[i].heap, fibers[i].heapUsed);
  }
}

struct Node {
  std::string state;
  std::vector<std::pair<int, int>> choices;  // fiber and outcome
  std::size_t digest, taken = 0;
  const char* what = "";  // the step taken
  double orders = 0;      // from here to the end

  Node() {
    moveState(
        [&](const void* from, std::size_t size) { state.append(static_cast<const char*>(from), size); });
    digest = std::hash<std::string>()(state);
    for (int i = 0; i < world.fibers; ++i) {
      const Fiber& fiber = fibers[i];
      if (fiber.ended || (fiber.ready != nullptr && *fiber.ready && !(*fiber.ready)())) continue;
      for (int outcome = 0; outcome < fiber.outcomes; ++outcome) choices.emplace_back(i, outcome);
    }
  }
  void restore() const {
    const char* next = state.data();
    moveState([&](void* to, std::size_t size) { std::memcpy(to, next, size), next += size; });
  }
};

// Main has ended, whatever the servers do, and all has been given back that no thread needs which waits for a
// server.
void checkEnd() {
  expect(world.mainEnded, "main waits for ever");
  expect(world.stoppedTold, "the stop is not told");
  expect(world.handles == 0, "a handle stays open");
  expect(world.silent || world.blocks == 0, "memory is never freed");
}

void* runMain(void*) {
  char program[] = "x", command[] = "-RUN";
  char* arguments[] = {program, command};
  serviceMain(2, arguments);
  world.mainEnded = true;
  return nullptr;
}

}  // namespace

int model::running = -1;
const char* model::failure = nullptr;

int model::step(const char* what, int outcomes, const std::function<bool()>& ready) {
  Fiber& fiber = fibers[running];
  fiber.at = what, fiber.outcomes = outcomes, fiber.ready = &ready;
  switchStacks(&fiber.end, scheduler);
  return static_cast<int>(fiber.outcome);
}

// Orders that meet in one state go on as one.
int main(int argc, char** argv) {
  if (argc != 4) return 2;
  pools = std::atoi(argv[1]), servers = std::atoi(argv[2]), polls = std::atoi(argv[3]);
  std::unordered_map<std::size_t, double> known;  // the digest of a state, its orders
  setSettings({});                                // which makes what is never destroyed
  startFiber(runMain, nullptr);
  std::vector<Node> path(1);
  double orders = 0;
  while (!path.empty() && model::failure == nullptr) {
    Node& here = path.back();
    if (here.taken == here.choices.size()) {
      orders = known[here.digest] = here.orders;
      path.pop_back();
      if (!path.empty()) path.back().orders += orders;
      continue;
    }
    if (here.taken > 0) here.restore();
    const auto choice = here.choices[here.taken++];
    here.what = fibers[choice.first].at;
    goOn(choice);
    Node next;
    const auto [found, isNew] = known.try_emplace(next.digest, next.choices.empty() ? 1 : 0);
    if (isNew && next.choices.empty()) checkEnd();
    expect(path.size() < 1000 && (isNew || found->second > 0), "there is no end");
    if (isNew && !next.choices.empty()) {
      path.push_back(std::move(next));
    } else {
      here.orders += found->second;
    }
  }
  for (const Node& node : path) std::printf("%d.%s ", node.choices[node.taken - 1].first, node.what);
  if (model::failure != nullptr) return std::printf("\n%s\n", model::failure), 1;
  std::printf("%.3g orders of the steps, through %zu states\n", orders, known.size());
  return 0;
}

// Memory. A fiber's comes from its heap, behind its size, and is never given out again.
void* operator new(std::size_t size) {
  if (running < 0) return std::malloc(size);
  char* const block = memories[running].heap + fibers[running].heapUsed;
  fibers[running].heapUsed += 16 + (size + 15) / 16 * 16;
  if (fibers[running].heapUsed > kSize) std::abort();
  std::memset(block, 0, 16 + size);
  std::memcpy(block, &size, sizeof size);
  ++world.blocks;
  return block + 16;
}
void operator delete(void* memory) noexcept {
  if (memory < memories || memory >= memories + 4) return std::free(memory);
  std::size_t size;
  std::memcpy(&size, static_cast<char*>(memory) - 16, sizeof size);
  expect(size != 0, "memory is deleted twice");
  std::memset(static_cast<char*>(memory) - 16, 0, 16);
  std::memset(memory, 0xDD, size);
  --world.blocks;
}
void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}

// The layer.
int32_t LayerStartup(const char*, RESOURCE_FUNCTION, int32_t) {
  return world.layerStands = 1, 0;
}
void LayerShutdown() {
  step("LayerShutdown");
  world.layerStands = 0;
}
HANDLE CreateSemaphore(void*, int32_t, int32_t, const char*) {
  ++world.handles;
  return &(world.places[world.semaphores++] = 1);
}
std::intptr_t& placesOf(HANDLE semaphore) {
  expect(semaphore != nullptr, "a lock is used after its end");
  return semaphore != nullptr ? *static_cast<std::intptr_t*>(semaphore) : world.places[7];
}
DWORD WaitForSingleObject(HANDLE handle, DWORD) {
  std::intptr_t& places = placesOf(handle);
  step("take", 1, [&] { return places > 0; });
  expect(world.layerStands && places-- != kClosed, "a lock is taken after its end");
  return WAIT_OBJECT_0;
}
BOOL ReleaseSemaphore(HANDLE handle, int32_t, int32_t*) {
  step("release");
  expect(world.layerStands && ++placesOf(handle) == 1, "a lock is released after its end");
  return TRUE;
}
HANDLE CreateThread(void*, size_t, THREAD_START_ROUTINE routine, void* argument, DWORD, uintptr_t*) {
  if (step("CreateThread", 2) != 0) return nullptr;
  startFiber(routine, argument);
  return &++world.handles;
}
BOOL CloseHandle(HANDLE handle) {
  step("CloseHandle");
  expect(world.layerStands && --world.handles >= 0, "a handle is closed after its end");
  if (handle == &world.handles) return TRUE;
  expect(placesOf(handle) == 1, "a lock ends while it is held");
  placesOf(handle) = kClosed;
  return TRUE;
}

// The network: a server that answers, one that fails, one that is silent for ever.
unsigned sleep(unsigned) {
  if (world.polls[running]++ >= polls) step("sleep", 1, [] { return stopPolling.load(); });
  return 0;
}
void TcpSocket::create() {
}
bool TcpSocket::connectToAddress(std::uint32_t, std::int32_t) {
  return true;
}
bool TcpSocket::sendAll(const void*, std::size_t) {
  return true;
}
bool TcpSocket::receiveExactly(void* bytes, std::size_t size) {
  std::memset(bytes, 0, size);
  const int outcome = step("receive", 3);
  if (outcome == 2) ++world.silent, step("silent", 1, [] { return false; });
  return outcome == 0;
}

// The rest of the service.
const Settings& nimbolsp::settings() {
  static Settings all;
  all.debugLevel = 1;
  return all;
}
std::string nimbolsp::stringText(std::uint32_t id) {
  return id == kStringRun ? "-RUN" : "";
}
void nimbolsp::reportStatus(std::uint32_t id) {
  const LogWriter writer;
  expect(!world.stoppedTold, "a report after the last one");
  world.stoppedTold = id == kStringStopped;
}
void nimbolsp::debugLog(std::string_view, std::uint32_t, std::int32_t port) {
  expect(port == 1, "a server is used after its end");
  reportStatus(0);
}
std::uint32_t nimbolsp::readPools(const std::function<std::uint32_t(const PoolEntry&)>& take) {
  std::uint32_t error = 0;
  for (int i = 0; i < pools && error == 0; ++i) {
    error = take({"A", 1000, std::vector<ServerEntry>(static_cast<std::size_t>(servers), {"S", {1, 1}})});
  }
  return error;
}
void nimbolsp::runService() {
  reportStatus(loadPools());
}
