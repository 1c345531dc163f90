// Processor information, host and user names, the layer's version.
#include "compat/services/system/information.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "compat/core/call_guard.h"
#include "compat/services/layer/layer_settings.h"
#include "nimboxi/text.h"

namespace nimboxi {
namespace {

constexpr int kLineSize = 4096;

SystemInfo systemInfo NIMBOXI_GUARDED_BY(layerGuard);
bool systemInfoKnown NIMBOXI_GUARDED_BY(layerGuard) = false;

bool beginsWith(const char* text, const char* start) {
  return StrNCmpI(text, start, static_cast<DWORD>(std::strlen(start))) == 0;
}

void setFamily(char digit, SystemInfo* info) {
  switch (digit) {
    case '3':
      info->processorType = 386;
      info->processorLevel = 3;
      break;
    case '4':
      info->processorType = 486;
      info->processorLevel = 4;
      break;
    case '5':
    case '6':
      info->processorType = 586;
      info->processorLevel = 5;
      break;
    default:
      break;
  }
}

// The oldest kernels tell the family as 386 to 686.
bool isOldFamily(const char* value) {
  return value[0] >= '3' && value[0] <= '6' && value[1] == '8' && value[2] == '6' &&
         (value[3] == '\0' || value[3] == '\n');
}

// Takes the next line without what is beyond the buffer. False at the end of the list.
bool nextLine(std::FILE* list, char (&line)[kLineSize]) {
  if (std::fgets(line, kLineSize, list) == nullptr) return false;
  if (std::strlen(line) < kLineSize - 1 || line[kLineSize - 2] == '\n') return true;
  int byte;
  do {
    byte = std::getc(list);
  } while (byte != EOF && byte != '\n');
  return true;
}

// Takes what one line of a processor list tells.
void readProcessorLine(const char* line, DWORD processorsOnline, SystemInfo* info) {
  const char* value = std::strchr(line, ':');
  if (value == nullptr) return;
  do {
    ++value;
  } while (*value == ' ' || *value == '\t');
  info->processorCount = processorsOnline;
  if (beginsWith(line, "cpu family") || (beginsWith(line, "family") && isOldFamily(value))) {
    setFamily(*value, info);
  } else if (beginsWith(line, "stepping")) {
    char* end;
    const long stepping = std::strtol(value, &end, 10);
    if (end != value) info->processorRevision = static_cast<WORD>(stepping);
  }
}

SystemInfo gatherSystemInfo() {
  std::FILE* list = std::fopen("/proc/cpuinfo", "re");
  if (list == nullptr) return {};
  const SystemInfo info = readProcessorList(list, static_cast<DWORD>(sysconf(_SC_NPROCESSORS_ONLN)));
  std::fclose(list);
  return info;
}

}  // namespace

SystemInfo readProcessorList(std::FILE* list, DWORD processorsOnline) {
  SystemInfo info{};
  char line[kLineSize];
  while (nextLine(list, line)) readProcessorLine(line, processorsOnline, &info);
  return info;
}

}  // namespace nimboxi

using namespace nimboxi;

void GetSystemInfo(SystemInfo* info) {
  CallGuard guard;
  if (!systemInfoKnown) {
    systemInfoKnown = true;  // Required(system-info-once): a failed read is not tried again.
    systemInfo = gatherSystemInfo();
  }
  if (info != nullptr) *info = systemInfo;
}

BOOL GetComputerName(char* buffer, DWORD* size) {
  CallGuard guard;
  if (buffer == nullptr || size == nullptr || gethostname(buffer, *size) != 0) return FALSE;
  *size = static_cast<DWORD>(strnlen(buffer, *size));
  return TRUE;
}

BOOL GetUserName(char* buffer, DWORD* size) {
  CallGuard guard;
  const char* name = cuserid(nullptr);
  const std::size_t length = name == nullptr ? 0 : std::strlen(name);
  if (buffer == nullptr || size == nullptr) return FALSE;
  buffer[0] = '\0';
  if (length > *size) return FALSE;
  *size = static_cast<DWORD>(length);
  if (length == 0) return FALSE;
  std::memcpy(buffer, name, length + 1);
  return TRUE;
}

DWORD GetVersion() {
  return layerVersion.load(std::memory_order_relaxed);
}
