// The last error and its text, per thread.
#include "compat/services/errors/last_error.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "nimboxi/call_guard.h"
#include "nimboxi/errors.h"

namespace nimboxi {
namespace {

struct ThreadLayerState {
  int32_t lastError;
  char* errorText;  // owned; null for none
};

// A record in the list of all records. Records outlive their threads, as the key has no destructor; the list
// keeps them reachable.
struct ListedState {
  ThreadLayerState state;
  ListedState* next;
};

std::atomic<ListedState*> allStates{nullptr};

// Constant after LayerStartup.
constexpr DWORD kNoKey = 0xFFFFFFFF;  // the system had none left
constexpr DWORD kNotCreated = 0xFFFFFFFE;
DWORD errorStateKey = kNotCreated;

// What all threads share until there is a key; only one thread runs then.
ThreadLayerState processState{0, nullptr};

void keepReachable(ListedState* listed) {
  listed->next = allStates.load(std::memory_order_relaxed);
  while (!allStates.compare_exchange_weak(listed->next, listed, std::memory_order_release,
                                          std::memory_order_relaxed)) {
  }
}

// The record to read: null when the thread has none. Reading never creates one.
ThreadLayerState* findState() {
  if (errorStateKey == kNotCreated) return &processState;
  if (errorStateKey == kNoKey) return nullptr;
  return static_cast<ThreadLayerState*>(GetThreadValue(errorStateKey));
}

// The record to write, created on the thread's first write; null without memory or without a key.
ThreadLayerState* findOrCreateState() {
  if (ThreadLayerState* state = findState()) return state;
  if (errorStateKey == kNoKey) return nullptr;
  auto* listed = static_cast<ListedState*>(std::calloc(1, sizeof(ListedState)));
  if (listed == nullptr) return nullptr;
  SetThreadValue(errorStateKey, &listed->state);
  if (findState() == nullptr) {
    std::free(listed);
    return nullptr;
  }
  keepReachable(listed);
  return &listed->state;
}

}  // namespace

void createErrorStateKey() {
  if (errorStateKey == kNotCreated || errorStateKey == kNoKey) errorStateKey = CreateThreadKey();
  std::free(processState.errorText);
  processState.errorText = nullptr;
}

}  // namespace nimboxi

using namespace nimboxi;

void SetLastError(int32_t code) {
  if (ThreadLayerState* state = findOrCreateState()) state->lastError = code;
}

int32_t GetLastError() {
  const ThreadLayerState* state = findState();
  return state == nullptr ? 0 : state->lastError;
}

void SetLastErrorText(const char* text) {
  ThreadLayerState* state = findOrCreateState();
  if (state == nullptr) return;
  char* copy = strdup(text == nullptr ? "" : text);
  std::free(state->errorText);
  state->errorText = copy;
}

void GetLastErrorText(char* buffer, int32_t size) {
  if (size < 1) return;
  const ThreadLayerState* state = findState();
  const char* text = state == nullptr || state->errorText == nullptr ? "" : state->errorText;
  std::size_t length = strnlen(text, static_cast<std::size_t>(size) - 1);
  std::memcpy(buffer, text, length);
  buffer[length] = '\0';
}
