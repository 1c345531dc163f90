#include "tools/command_run.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

namespace nimbolsp::tools {

namespace {

// Starts the shell in a process group of its own, with no signal blocked or ignored. An errno, or 0.
int startShell(const std::string& command, int output, pid_t& process) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
  // Before we go on: closing with the exec is later, and until then our ports could not be taken anew.
  posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes,
                           POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  sigaddset(&signals, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  std::string text = command;
  char shell[] = "sh";
  char option[] = "-c";
  char* const words[] = {shell, option, text.data(), nullptr};
  const int error = posix_spawn(&process, "/bin/sh", &files, &attributes, words, environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  return error;
}

std::string faultOf(int status) {
  if (WIFSIGNALED(status)) return "was ended by signal " + std::to_string(WTERMSIG(status));
  return WEXITSTATUS(status) == 0 ? "" : "ended with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

CommandRun::CommandRun(const std::string& command) {
  int ends[2];
  int error = pipe2(ends, O_CLOEXEC) == 0 ? 0 : errno;
  if (error == 0) {
    output_.replace(ends[0]);
    const Descriptor input(ends[1]);
    error = startShell(command, input.number(), process_);
  }
  if (error == 0) return;
  process_ = -1;
  fault_ = std::string("cannot be started: ") + std::strerror(error);
}

CommandRun::~CommandRun() {
  if (process_ < 0) return;
  kill(-process_, SIGKILL);
  waitpid(process_, nullptr, 0);
}

// What it printed waits in the pipe: a command that prints more than fits there does not end.
std::optional<CommandRun::Result> CommandRun::result() {
  if (process_ < 0) return Result{"", fault_};
  siginfo_t end{};
  if (waitid(P_PID, static_cast<id_t>(process_), &end, WEXITED | WNOHANG | WNOWAIT) != 0 || end.si_pid == 0) {
    return std::nullopt;
  }
  kill(-process_, SIGKILL);  // what it left behind, while the number is the group's for certain
  int status = 0;
  waitpid(process_, &status, 0);
  process_ = -1;
  Result result{std::string(kLongestReport + 1, '\0'), faultOf(status)};
  fcntl(output_.number(), F_SETFL, O_NONBLOCK);  // a process that left the group may hold the other end
  const ssize_t length = read(output_.number(), result.output.data(), result.output.size());
  result.output.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  return result;
}

}  // namespace nimbolsp::tools
