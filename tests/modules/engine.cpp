// A library whose resource function and entry point note their calls. It finds resource 7 of every type as
// 70, and loads that as the text "engine".
#include "tests/modules/engine.h"

#include <cstring>

static EngineCalls ownCalls;
static EngineCalls* calls = &ownCalls;

static void note(char letter, const CallArguments& arguments) {
  const std::size_t length = std::strlen(calls->order);
  if (length + 1 < sizeof calls->order) calls->order[length] = letter;
  calls->last = arguments;
}

extern "C" void reportCallsTo(EngineCalls* report) {
  *report = *calls;
  calls = report;
}

extern "C" intptr_t DllMain(HMODULE module, intptr_t reason, intptr_t load) {
  note(reason == 1 ? 'L' : 'U', {reinterpret_cast<intptr_t>(module), reason, load, 0});
  if (reason == 0 && calls->frees-- > 0) FreeLibrary(module);
  return 1;
}

extern "C" intptr_t OSresFunc(intptr_t operation, intptr_t a, intptr_t b, intptr_t c) {
  note(".lf......AD" [operation], { operation, a, b, c });
  if (operation == RESOURCE_FIND) return a == 7 ? 70 : 0;
  if (operation == RESOURCE_LOAD) return a == 70 ? reinterpret_cast<intptr_t>("engine") : 0;
  return operation == RESOURCE_LOAD_STRING ? c : b;
}
