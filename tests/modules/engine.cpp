// A library whose resource function and entry point note their calls. It finds resource 7 of every type, and
// loads it as the text "engine".
#include "tests/modules/engine.h"

#include <cstring>

static EngineCalls ownCalls;
static EngineCalls* calls = &ownCalls;
static char data[] = "engine";

static void note(char letter, intptr_t a, intptr_t b, intptr_t c, intptr_t d) {
  const std::size_t length = std::strlen(calls->order);
  if (length + 1 < sizeof calls->order) calls->order[length] = letter;
  const intptr_t arguments[] = {a, b, c, d};
  std::memcpy(calls->last, arguments, sizeof arguments);
}

extern "C" {

void reportCallsTo(EngineCalls* report) {
  *report = *calls;
  calls = report;
}

intptr_t DllMain(HMODULE module, intptr_t reason, intptr_t load) {
  note(reason == 1 ? 'L' : 'U', reinterpret_cast<intptr_t>(module), reason, load, 0);
  return 1;
}

intptr_t OSresFunc(intptr_t operation, intptr_t a, intptr_t b, intptr_t c) {
  const char letters[] = ".lf......AD";
  note(letters[operation], operation, a, b, c);
  switch (operation) {
    case RESOURCE_FIND:
      return a == 7 ? reinterpret_cast<intptr_t>(&data) : 0;
    case RESOURCE_LOAD:
      return a;
    case RESOURCE_LOCK:
      return b;
    case RESOURCE_SIZE:
      return sizeof data;
    default:
      return 0;
  }
}
}
