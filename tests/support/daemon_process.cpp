#include "tests/support/daemon_process.h"

#include <fcntl.h>
#include <sys/wait.h>

void DaemonProcess::spawn(const std::vector<std::string>& commandLine, Output output) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  unread_.replace(ends[0]);
  Descriptor written(ends[1]);
  const std::string pipeful(static_cast<std::size_t>(fcntl(ends[1], F_SETPIPE_SZ, 4096)), ' ');
  if (output == kBrokenPipe || (output == kFullPipe && write(ends[1], &pipeful[0], pipeful.size()) < 0)) {
    unread_.close();
  }
  constexpr int kNew = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
  if (output == kFile) written.replace(open(folder_.file("output.txt").c_str(), kNew, 0600));

  const std::string program = programPath();
  std::vector<char*> arguments;
  for (const std::string& argument : commandLine) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  setenv("NIMBOXIDIR", folder_.path().c_str(), 1);
  pid_ = fork();
  if (pid_ != 0) return;
  dup2(written.number(), STDOUT_FILENO);
  for (int standard : {0, 1, 2}) {
    if (output == kClosed) close(standard);
  }
  if (chdir(folder_.path().c_str()) == 0) execv(program.c_str(), arguments.data());
  _exit(127);
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
  const auto told = [&] { return log(command) + this->output(); };
  const auto serves = [&] { return told().find("Process started\n") != std::string::npos; };
  return eventually([&] { return serves() || !isRunning(); }) && isRunning();
}
