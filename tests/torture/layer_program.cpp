// A program on the layer that scripts/torture runs in a folder while its calls fail: it uses each topic, and
// tells in a line each what it was told itself, "TOPIC RESULT". Whether that is true the driver sees by the
// files.
//   torture_layer MODULE     the folder holds "nimboxi.ini", with a port COM1, "program.ini" and "source"
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "nimboxi.h"
#include "nimboxi/support/file_handle.h"
#include "service/resources/resource_function.h"

namespace {

constexpr char kProfile[] = "./program.ini";

// Past the stream of standard output, whose buffer could not be had.
void tell(const char* topic, long result) {
  dprintf(STDOUT_FILENO, "%s %ld\n", topic, result);
}

void useProfiles() {
  char value[300] = "";
  GetPrivateProfileString("Here", "Key", "none", value, sizeof value, kProfile);
  tell("read", std::strcmp(value, "old") == 0);
  tell("written",
       WritePrivateProfileString("Here", "Key", "a value that is longer than the old one", kProfile));
  tell("added", WritePrivateProfileString("There", "New", "1", "./added.ini"));
  char section[300];
  GetPrivateProfileSection("Here", section, sizeof section, kProfile);
  WritePrivateProfileString("Here", "Key", "1", "/dev/null");  // no ordinary file
}

void useMemory() {
  auto* text = static_cast<char*>(AllocBlock(0, 5));
  if (text == nullptr) return;
  std::strcpy(text, "text");
  void* grown = ReAllocBlock(text, 100000, 0);
  tell("kept", std::strcmp(static_cast<char*>(grown == nullptr ? text : grown), "text") == 0);
  FreeBlock(grown == nullptr ? text : grown);
  std::free(AnsiToUtf8Dup("\xE9"));
  std::free(Utf8ToAnsiDup("\xC3\xA9"));
}

void useFiles() {
  tell("copied", CopyFile("source", "copy", FALSE));
  tell("moved", MoveFile("movable", "moved"));
  static const char text[100000] = {};
  nimboxi::OpenFile file("written", GENERIC_READ | GENERIC_WRITE, CREATE_ALWAYS);
  int64_t size = 0;
  const bool written = file.isOpen() && WriteFile(file.handle(), text, sizeof text, nullptr) &&
                       SetFilePointerEx(file.handle(), 50000, nullptr, FILE_BEGIN) &&
                       SetEndOfFile(file.handle()) && GetFileSizeEx(file.handle(), &size);
  LockFile(file.handle(), 0, 0, 10, 0);
  UnlockFile(file.handle(), 0, 0, 10, 0);
  tell("cut", file.close() && written && size == 50000);
  CreateDirectory("folder", nullptr);
  RemoveDirectory("folder");
  SetFileAttributes("source", FILE_ATTRIBUTE_ARCHIVE);
  char path[MAX_PATH_BYTES];
  GetFullPathName("copy", sizeof path, path, nullptr);
  GetTempFileName(".", "tmp", 0, path);
  FindData found;
  if (HANDLE search = FindFirstFile("./*", &found); search != INVALID_HANDLE_VALUE) {
    while (FindNextFile(search, &found)) {
    }
    FindClose(search);
  }
}

void* countUp(void* argument) {
  auto** both = static_cast<void**>(argument);
  for (int i = 0; i < 100; ++i) {
    WaitForSingleObject(both[0], INFINITE);
    ++*static_cast<int*>(both[1]);
    ReleaseSemaphore(both[0], 1, nullptr);
  }
  return nullptr;
}

void useThreads() {
  int count = 0;
  HANDLE semaphore = CreateSemaphore(nullptr, 1, 1, nullptr);
  if (semaphore == nullptr) return;
  void* both[] = {semaphore, &count};
  HANDLE threads[4];
  int expected = 0;
  for (HANDLE& thread : threads) {
    uintptr_t identity;
    thread = CreateThread(nullptr, 0, countUp, both, CREATE_JOINABLE_THREAD, &identity);
    if (thread != nullptr) expected += 100;
  }
  for (HANDLE thread : threads) {
    if (thread == nullptr) continue;
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
  }
  tell("counted", count == expected);
  CloseHandle(semaphore);
}

void useModules(const char* name) {
  HMODULE module = LoadLibrary(name);
  char text[300];
  if (module == nullptr) GetLastErrorText(text, sizeof text);
  if (module != nullptr) {
    GetProcAddress(module, "reportCallsTo");
    GetModuleFileName(module, text, sizeof text);
    for (const intptr_t operation : {RESOURCE_ATTACH, RESOURCE_ATTACH, RESOURCE_DETACH, RESOURCE_DETACH}) {
      OSresFunc(operation, reinterpret_cast<intptr_t>(module), 0, 0);  // its file has no resource block
    }
    const auto* number = reinterpret_cast<const char*>(std::uintptr_t{7});
    if (ResourceInfo* resource = FindResource(module, number, reinterpret_cast<const char*>(RT_RCDATA))) {
      LoadResource(module, resource);
      LockResource(resource);
      FreeResource(resource);
    }
    FreeLibrary(module);
  }
  tell("loaded", module != nullptr);
}

void useResources() {
  ResourceInfo* dialog = FindResource(MAIN_MODULE_HANDLE, nullptr, reinterpret_cast<const char*>(RT_DIALOG));
  LockResource(LoadResource(MAIN_MODULE_HANDLE, dialog));
  FreeResource(dialog);
}

void usePort() {
  const nimboxi::OpenFile port("COM1", GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING);
  DCB settings;
  if (!port.isOpen() || !GetCommState(port.handle(), &settings)) return;
  BuildCommDCB("9600,n,8,1", &settings);
  SetCommState(port.handle(), &settings);
  WriteFile(port.handle(), "to the port", 11, nullptr);
}

void runCommands() {
  void* output = nullptr;
  const int32_t result = RunShellCommand("echo told", 0, RUN_FOREGROUND | RUN_CAPTURE_OUTPUT, &output);
  tell("captured", result == RUN_SUCCEEDED && output != nullptr &&
                       std::strcmp(static_cast<char*>(output), "told\n") == 0);
  if (output != nullptr) FreeBlock(output);
  SetEnvironmentVariable("TORTURE", "yes");
}

}  // namespace

int main(int, char** arguments) {
  tell("started", LayerStartup("./torture_layer", OSresFunc, 0));
  useMemory();
  useResources();
  useProfiles();
  useFiles();
  useThreads();
  useModules(arguments[1]);
  usePort();
  runCommands();
  LayerShutdown();
  tell("ended", 0);
  return 0;
}
