// Running commands through the shell, in front and behind, and the process list.
#include "nimboxi/process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "compat/services/profile/profile_path.h"
#include "nimboxi/memory.h"
#include "nimboxi/support/file_handle.h"
#include "nimboxi/support/shell_words.h"

namespace nimboxi {
namespace {

constexpr int kWaitFailed = -1;
constexpr int kShellStatus127 = 0x7F00;  // command not found, or no shell
constexpr int kRawStatus127 = 0x7F;
constexpr int32_t kRawStatus127Result = 11;
constexpr int kListLineSize = 253;  // bytes of a line of the process list with its NUL

// Ignores a signal from here to the end of the scope.
class IgnoredSignal {
 public:
  explicit IgnoredSignal(int number) : number_(number) {
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigaction(number_, &ignore, &previous_);
  }
  ~IgnoredSignal() { sigaction(number_, &previous_, nullptr); }
  IgnoredSignal(const IgnoredSignal&) = delete;
  IgnoredSignal& operator=(const IgnoredSignal&) = delete;

 private:
  int number_;
  struct sigaction previous_ {};
};

// In the child, which shares the parent's memory until it has become the shell.
[[noreturn]] void becomeShell(const char* command) {
  for (const int number : {SIGINT, SIGQUIT, SIGHUP, SIGPIPE, SIGXFSZ}) signal(number, SIG_DFL);
  execl("/bin/sh", "sh", "-c", command, static_cast<char*>(nullptr));
  _exit(127);
}

// Runs a command in the shell. Returns the shell's wait status, or -1.
int runShell(const char* command) {
  const pid_t child = vfork();
  if (child == 0) becomeShell(command);
  if (child < 0) return kWaitFailed;
  const IgnoredSignal interrupt(SIGINT);
  const IgnoredSignal quit(SIGQUIT);
  int status = 0;
  pid_t ended;
  do {
    ended = waitpid(child, &status, 0);
  } while (ended < 0 && errno == EINTR);
  return ended == child ? status : kWaitFailed;
}

int32_t resultOf(int status) {
  switch (status) {
    case 0:
      return RUN_SUCCEEDED;
    case kShellStatus127:
      return RUN_COMMAND_NOT_FOUND;
    case kRawStatus127:
      return kRawStatus127Result;
    default:
      return status;
  }
}

// The layer profile's directory with its closing slash; files that pass between processes stand there.
std::string exchangeFolder() NIMBOXI_REQUIRES(layerGuard) {
  const std::string profile = layerProfilePath();
  return profile.substr(0, profile.rfind('/') + 1);
}

// Reads a file into a memory block with a closing NUL; null for an empty one.
void* readBlock(HANDLE file) {
  const DWORD size = GetFileSize(file, nullptr);
  if (size == 0 || size >= INT32_MAX) return nullptr;
  auto* block = static_cast<char*>(AllocBlock(BLOCK_ZEROED, static_cast<int32_t>(size) + 1));
  if (block != nullptr) ReadFile(file, block, size, nullptr);
  return block;
}

// Takes what the command wrote, and removes the file.
void takeOutput(const char* fileName, void** output) {
  OpenFile file(fileName, GENERIC_READ, OPEN_EXISTING);
  if (!file.isOpen()) return;
  *output = readBlock(file.handle());
  file.close();
  DeleteFile(fileName);
}

int32_t captureOutput(const std::string& commandLine, void** output) NIMBOXI_REQUIRES(layerGuard) {
  char fileName[MAX_PATH_BYTES] = "";
  GetTempFileName(exchangeFolder().c_str(), "wexec", 0, fileName);
  if (fileName[0] == '\0') return RUN_COMMAND_NOT_FOUND;  // no name is free, or none fits
  const int32_t result = resultOf(runShell((commandLine + " > " + shellWord(fileName)).c_str()));
  // Required(capture-file-stays): without a place for the output its file stays, and so does one that cannot
  // be opened again.
  if (output != nullptr) takeOutput(fileName, output);
  return result;
}

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

// ps pads the names to the width of its column.
void cutTrailingBlanks(char* line) {
  std::size_t length = std::strlen(line);
  while (length > 0 && line[length - 1] == ' ') line[--length] = '\0';
}

// Whether a line of a process list, behind its heading, occurs in the text.
bool isListed(std::FILE* list, const char* text) {
  char line[kListLineSize];
  bool isHeading = true;
  while (std::fgets(line, sizeof line, list) != nullptr) {
    const std::size_t length = std::strlen(line);
    // Required(list-line-loses-last): the last character goes, newline or not.
    if (length > 0) line[length - 1] = '\0';
    cutTrailingBlanks(line);
    if (!isHeading && line[0] != '\0' && std::strstr(text, line) != nullptr) return true;
    isHeading = false;
  }
  return false;
}

}  // namespace
}  // namespace nimboxi

using namespace nimboxi;

int32_t WinExec(const char* commandLine, DWORD showMode) {
  return RunShellCommand(commandLine, showMode, 0, nullptr);
}

int32_t RunShellCommand(const char* commandLine, DWORD /*showMode*/, DWORD options, void** output) {
  CallGuard guard;
  const bool inFront = (options & RUN_FOREGROUND) != 0;
  const bool captures = inFront && (options & RUN_CAPTURE_OUTPUT) != 0;
  if (captures && output != nullptr) *output = nullptr;
  if (commandLine == nullptr) return RUN_COMMAND_NOT_FOUND;
  try {
    if (!inFront) return resultOf(runShell((std::string(commandLine) + "&").c_str()));
    return captures ? captureOutput(commandLine, output) : resultOf(runShell(commandLine));
  } catch (const std::bad_alloc&) {
    return RUN_COMMAND_NOT_FOUND;
  }
}

BOOL IsProcessRunning(const char* text) {
  CallGuard guard;
  if (text == nullptr) return FALSE;
  try {
    const std::string list = exchangeFolder() + "psrep";
    // Only the list itself tells whether these commands did their work.
    static_cast<void>(std::system(("ps -eo \"%c\" > " + shellWord(list)).c_str()) == 0);
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(list.c_str(), "re"));
    const bool isRunning = file != nullptr && isListed(file.get(), text);
    static_cast<void>(std::system(("rm " + shellWord(list)).c_str()) == 0);
    return isRunning;
  } catch (const std::bad_alloc&) {
    return FALSE;
  }
}
