#include "tests/support/daemon_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace {

void fill(int pipe) {
  const std::string bytes(static_cast<std::size_t>(fcntl(pipe, F_SETPIPE_SZ, 4096)), ' ');
  if (write(pipe, bytes.data(), bytes.size()) == -1) throw std::runtime_error("no pipe");
}

}  // namespace

DaemonProcess::DaemonProcess(const std::string& program)
    : reservation_(bindPort()), port_(portOf(reservation_.number())) {
  std::filesystem::create_symlink(program, programPath());
}

DaemonProcess::~DaemonProcess() {
  if (!isRunning()) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

void DaemonProcess::spawn(const std::vector<std::string>& commandLine, Output output) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  int ends[2] = {-1, -1};
  if (output == kFile) {
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, folder_.file("output.txt").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
  } else if (output == kClosed) {
    for (int standard : {0, 1, 2}) posix_spawn_file_actions_addclose(&actions, standard);
  } else if (pipe2(ends, O_CLOEXEC) == 0) {
    unread_.replace(ends[0]);
    if (output == kBrokenPipe) unread_.close();
    if (output == kFullPipe) fill(ends[1]);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  }
  posix_spawn_file_actions_addchdir_np(&actions, folder_.path().c_str());

  std::vector<char*> arguments;
  for (const std::string& argument : commandLine) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  setenv("NIMBOXIDIR", folder_.path().c_str(), 1);
  if (posix_spawn(&pid_, programPath().c_str(), &actions, nullptr, arguments.data(), environ) != 0) pid_ = -1;
  posix_spawn_file_actions_destroy(&actions);
  if (ends[1] != -1) close(ends[1]);
}

bool DaemonProcess::isRunning() {
  int status;
  if (pid_ != -1 && waitpid(pid_, &status, WNOHANG) == pid_) {
    pid_ = -1;
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  return pid_ != -1;
}

bool DaemonProcess::startService(const std::string& command, Output output) {
  spawn({programPath(), command}, output);
  // Either may lack the line: a quiet terminal, or a log that was cut since.
  const auto serves = [&] {
    return (log(command) + this->output()).find("Process started\n") != std::string::npos;
  };
  return eventually([&] { return serves() || !isRunning(); }) && isRunning();
}

int DaemonProcess::stopService() {
  TestClient client(port_);
  client.send({"\2\0", 2});
  return client.receive(1) == std::string(1, '\0') && client.isClosed() ? wait() : -1;
}

std::ptrdiff_t DaemonProcess::descriptors() const {
  const std::filesystem::directory_iterator open("/proc/" + std::to_string(pid_) + "/fd");
  return std::distance(begin(open), end(open));
}
