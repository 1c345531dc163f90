// The seam to section "Ports" of the layer profile: one function, filled before main.
#include "compat/core/ports/port_entries.h"

#include <atomic>

namespace nimboxi {
namespace {

constinit std::atomic<PortEntryReader> entryReader{nullptr};

}  // namespace

bool setPortEntryReader(PortEntryReader reader) {
  entryReader.store(reader, std::memory_order_release);
  return true;
}

void readPortEntry(const char* key, char* value, DWORD size) {
  value[0] = '\0';
  if (const PortEntryReader reader = entryReader.load(std::memory_order_acquire)) reader(key, value, size);
}

}  // namespace nimboxi
