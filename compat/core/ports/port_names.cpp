// Win32 port names (COM1, LPT2, EPT:), the devices that the layer profile gives them, and their line types.
#include "compat/core/ports/port_names.h"

#include <cstdio>
#include <cstring>

#include "compat/core/call_guard.h"
#include "compat/core/ports/port_entries.h"
#include "nimboxi/ports.h"
#include "nimboxi/text.h"

namespace nimboxi {
namespace {

constexpr std::size_t kPrefixLength = 3;

struct LineType {
  const char* word;
  DWORD deviceType;
};

// The first word found decides.
constexpr LineType kLineTypes[] = {
    {"modem", DEVICE_MODEM}, {"parallelport", DEVICE_PARALLEL}, {"rs232", DEVICE_RS232},
    {"rs422", DEVICE_RS422}, {"rs423", DEVICE_RS423},           {"rs449", DEVICE_RS449},
};

// Set while a port's entry is read: the layer profile is a file of its own then, whatever its path begins
// with.
bool readingEntry NIMBOXI_GUARDED_BY(layerGuard) = false;

class EntryReading {
 public:
  EntryReading() NIMBOXI_REQUIRES(layerGuard) { readingEntry = true; }
  ~EntryReading() NIMBOXI_REQUIRES(layerGuard) { readingEntry = false; }
  EntryReading(const EntryReading&) = delete;
  EntryReading& operator=(const EntryReading&) = delete;
};

bool hasPrefix(const char* name, const char* prefix) {
  return std::strncmp(name, prefix, kPrefixLength) == 0;
}

// Reads the profile's entry of a port, whose key is the name in upper case. False when there is none.
bool readEntry(const char* name, char* entry, DWORD size) NIMBOXI_REQUIRES(layerGuard) {
  char key[MAX_PATH_BYTES];
  const std::size_t length = strnlen(name, sizeof key - 1);
  std::memcpy(key, name, length);
  key[length] = '\0';
  CharUpperBuff(key, static_cast<DWORD>(length));
  EntryReading reading;
  readPortEntry(key, entry, size);
  return entry[0] != '\0';
}

}  // namespace

PortName parsePortName(const char* name) {
  const bool serial = hasPrefix(name, "COM");
  if (!serial && !hasPrefix(name, "LPT") && !hasPrefix(name, "EPT")) return {0, false};
  if (std::strstr(name, "EPT:") != nullptr) return {1, serial};
  // Required(one-digit-port): one digit alone is read, so COM0 is a file, and COM12 and COM1.txt are port 1.
  const char digit = name[kPrefixLength];
  return {digit >= '1' && digit <= '9' ? digit - '0' : 0, serial};
}

}  // namespace nimboxi

using namespace nimboxi;

DWORD MapDeviceName(const char* name, char* path, int32_t pathSize) {
  CallGuard guard;
  if (name == nullptr || path == nullptr || pathSize < 1 || readingEntry) return DEVICE_FILE;
  const PortName port = parsePortName(name);
  if (port.number == 0) return DEVICE_FILE;
  const auto size = static_cast<DWORD>(pathSize);
  // Required(entry-without-type): an entry without a line type makes CreateFile open the name as an ordinary
  // file.
  if (readEntry(name, path, size)) return ParseLineType(path);
  std::snprintf(path, size, "%s%d", port.serial ? "/dev/ttyS" : "/dev/lp", port.number - 1);
  return port.serial ? DEVICE_RS232 : DEVICE_PARALLEL;
}

DWORD ParseLineType(char* entry) {
  CallGuard guard;
  char* comma = entry == nullptr ? nullptr : std::strchr(entry, ',');
  if (comma == nullptr) return DEVICE_FILE;
  *comma = '\0';
  char* words = comma + 1;
  CharLowerBuff(words, static_cast<DWORD>(std::strlen(words)));
  for (const LineType& type : kLineTypes) {
    if (std::strstr(words, type.word) != nullptr) return type.deviceType;
  }
  return DEVICE_FILE;
}
