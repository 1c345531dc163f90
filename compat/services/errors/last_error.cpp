// The last error and its text, per thread.
#include "compat/services/errors/last_error.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>

#include "nimboxi/call_guard.h"
#include "nimboxi/errors.h"

namespace nimboxi {
namespace {

struct ThreadLayerState {
  int32_t lastError;
  char* errorText;  // owned; null for none
};

// Records come a block at a time: a thread that allocated one for itself would cost the heap's own 656 bytes
// besides, in a process with thousands. They outlive their threads, as the key has no destructor; the blocks
// keep them reachable.
struct RecordBlock {
  ThreadLayerState records[255] = {};
  std::atomic<std::size_t> taken = 0;
  RecordBlock* next = nullptr;
};

std::atomic<RecordBlock*> newestBlock{nullptr};

// Constant after LayerStartup.
constexpr DWORD kNoKey = 0xFFFFFFFF;  // the system had none left
constexpr DWORD kNotCreated = 0xFFFFFFFE;
DWORD errorStateKey = kNotCreated;

// What all threads share until there is a key; only one thread runs then.
ThreadLayerState processState{0, nullptr};

// A record, all zero, that nobody has; null without memory.
ThreadLayerState* newRecord() {
  for (;;) {
    RecordBlock* newest = newestBlock.load(std::memory_order_acquire);
    if (newest != nullptr) {
      const std::size_t number = newest->taken.fetch_add(1, std::memory_order_relaxed);
      if (number < std::size(newest->records)) return &newest->records[number];
    }
    auto* block = new (std::nothrow) RecordBlock;
    if (block == nullptr) return nullptr;
    block->next = newest;
    if (!newestBlock.compare_exchange_strong(newest, block, std::memory_order_acq_rel)) delete block;
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
  // Without memory for a key's value, which only the 32nd key and later ones need, the record stays unused.
  if (ThreadLayerState* state = newRecord()) SetThreadValue(errorStateKey, state);
  return findState();
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
