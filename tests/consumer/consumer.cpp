// Opens a profile, lists a folder, starts a thread, waits for it, prints the last error.
//   consumer PROFILE FOLDER
#include <cstdio>

#include "nimboxi.h"

namespace {

void* answer(void* place) {
  *static_cast<int*>(place) = 42;
  return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  if (LayerStartup(argv[0], nullptr, 0) != 0) return 1;

  char value[256];
  GetPrivateProfileString("Setup", "Greeting", "none", value, sizeof value, argv[1]);
  std::printf("greeting %s\n", value);

  char pattern[MAX_PATH_BYTES];
  std::snprintf(pattern, sizeof pattern, "%s/*.txt", argv[2]);
  FindData found;
  HANDLE search = FindFirstFile(pattern, &found);
  for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = FindNextFile(search, &found)) {
    std::printf("file %s of %u bytes\n", found.fileName, found.sizeLow);
  }
  FindClose(search);

  int result = 0;
  HANDLE thread = CreateThread(nullptr, 0, answer, &result, CREATE_JOINABLE_THREAD, nullptr);
  const DWORD waited = WaitForSingleObject(thread, INFINITE);
  std::printf("wait %u, thread %d\n", waited, result);
  CloseHandle(thread);

  CreateFile("/no/such/file", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  std::printf("last error %d\n", GetLastError());
  LayerShutdown();
  return 0;
}
