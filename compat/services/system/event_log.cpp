// The event log is the system log. Its calls need no lock.
#include <syslog.h>

#include <exception>
#include <string>

#include "nimboxi/system.h"

HANDLE RegisterEventSource(const char* /*server*/, const char* source) {
  openlog(source, LOG_NDELAY, LOG_USER);
  return reinterpret_cast<HANDLE>(static_cast<intptr_t>(1));
}

BOOL ReportEvent(HANDLE /*eventLog*/, WORD /*type*/, WORD /*category*/, DWORD /*eventId*/, void* /*userId*/,
                 WORD stringCount, DWORD /*dataSize*/, const char* const* strings, const void* /*data*/) {
  try {
    std::string text;
    for (WORD i = 0; strings != nullptr && i < stringCount; ++i) {
      if (strings[i] != nullptr) text += strings[i];
    }
    // Required(events-informational): every event is informational, whatever its type.
    syslog(LOG_INFO, "%s", text.c_str());
  } catch (const std::exception&) {  // no memory for the text: it is not logged
  }
  return TRUE;
}

BOOL DeregisterEventSource(HANDLE /*eventLog*/) {
  closelog();
  return TRUE;
}
