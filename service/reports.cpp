#include "service/reports.h"

#include <netinet/in.h>

#include <new>

#include "nimboxi/modules.h"
#include "service/resources/string_table.h"
#include "service/settings.h"

namespace nimbolsp {

namespace {

std::string dottedAddress(std::uint32_t networkOrder) {
  const std::uint32_t address = ntohl(networkOrder);
  std::string text = std::to_string(address >> 24);
  for (int shift = 16; shift >= 0; shift -= 8) {
    text.append(1, '.').append(std::to_string(address >> shift & 0xFF));
  }
  return text;
}

// A report that finds no memory is dropped: it must not end the thread that makes it, nor leave a server half
// filed.
template <typename Report>
void reportIfMemoryAllows(Report report) {
  try {
    report();
  } catch (const std::bad_alloc&) {
  }
}

void writeLine(std::string_view text) {
  LogWriter writer;
  writer.writeText(text);
  writer.writeChar('\n');
}

}  // namespace

std::string stringText(std::uint32_t id) {
  char text[256] = "";
  LoadString(MAIN_MODULE_HANDLE, id, text, sizeof text);
  return text;
}

void logMessage(std::uint32_t id) {
  reportIfMemoryAllows([id] { writeLine(stringText(id)); });
}

void logText(std::string_view text) {
  reportIfMemoryAllows([text] { writeLine(text); });
}

void reportStatus(std::uint32_t id) {
  reportIfMemoryAllows([id] {
    const std::string text = stringText(id);
    if (settings().runningAsService) return;
    const std::string title = stringText(kStringTitle);
    LogWriter writer;
    writer.writeTerminal(title + ": " + text + "\n");
    writer.writeText(text, LogWriter::kNoEcho);
    writer.writeChar('\n', LogWriter::kNoEcho);
  });
}

std::string debugLine(std::string_view text, std::uint32_t ipAddress, std::int32_t port) {
  std::string line = "[ DEBUG ] ";
  if (port != 0) {
    line += "[ ";
    if (ipAddress != 0) line += dottedAddress(ipAddress) + ":";
    line += std::to_string(port) + " ] ";
  }
  return line.append(text);
}

void debugLog(std::string_view text, std::uint32_t ipAddress, std::int32_t port) {
  if (settings().debugLevel == 0) return;
  reportIfMemoryAllows([=] { writeLine(debugLine(text, ipAddress, port)); });
}

void printUsage() {
  reportIfMemoryAllows([] {
    LogWriter writer;
    // Required(usage-three-lines): the install and uninstall lines behind these three are never shown.
    for (std::uint32_t id = kStringUsageTitle; id < kStringUsageInstall; ++id) {
      writer.writeText(stringText(id));
      writer.writeChar('\n');
    }
  });
}

}  // namespace nimbolsp
