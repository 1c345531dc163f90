// Reads a profile, waits for a thread, has a module list a folder, prints a last error. The layer that the
// module calls is this program's.
//   host PROFILE FOLDER MODULE.so
#include <cstdio>

#include "nimboxi.h"

namespace {

void* answer(void* place) {
  *static_cast<int*>(place) = 42;
  return nullptr;
}

void waitForThread() {
  int result = 0;
  HANDLE thread = CreateThread(nullptr, 0, answer, &result, CREATE_JOINABLE_THREAD, nullptr);
  if (thread == nullptr) return;
  const DWORD waited = WaitForSingleObject(thread, INFINITE);
  std::printf("wait %u, thread %d\n", waited, result);
  CloseHandle(thread);
}

void listByModule(const char* folder, const char* moduleName) {
  HMODULE module = LoadLibrary(moduleName);
  if (module == nullptr) {
    char why[256];
    GetLastErrorText(why, sizeof why);
    std::printf("module not loaded: %s\n", why);
    return;
  }
  using List = void (*)(const char* folder);
  if (const auto list = reinterpret_cast<List>(GetProcAddress(module, "listFolder"))) list(folder);
  FreeLibrary(module);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  if (LayerStartup(argv[0], nullptr, 0) != 0) return 1;  // it has shut itself down again

  char value[256];
  GetPrivateProfileString("Setup", "Greeting", "none", value, sizeof value, argv[1]);
  std::printf("greeting %s\n", value);
  waitForThread();
  listByModule(argv[2], argv[3]);

  HANDLE file = CreateFile("/no/such/file", GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) std::printf("last error %d\n", GetLastError());  // 2: not found
  LayerShutdown();
  return 0;
}
