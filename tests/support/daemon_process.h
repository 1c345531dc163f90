// The real program, linked into a folder of its own, with a port of its own. One instance runs it as often as
// it likes, one process at a time; what still runs at the end is killed.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/temp_folder.h"
#include "tests/support/test_client.h"

class DaemonProcess {
 public:
  // Where the program's standard output goes: output() reads it; a pipe without a reader; a full one that is
  // never read; nowhere, as descriptors 0 to 2 are closed at the start.
  enum Output { kFile, kBrokenPipe, kFullPipe, kClosed };

  explicit DaemonProcess(const std::string& program) {
    std::filesystem::create_symlink(program, programPath());
  }
  ~DaemonProcess() {
    if (isRunning()) kill(pid_, SIGKILL);
    wait();
  }

  const TempFolder& folder() const { return folder_; }
  std::string programPath() const { return folder_.file("nimbolsp"); }
  std::uint16_t port() const { return port_; }  // nobody listens on it until the program does

  // Writes the profile: section "Setup" with the port and these lines, then `sections`.
  void writeProfile(const std::string& setupLines, const std::string& sections = "") const {
    const std::string port = "[Setup]\r\nPort=" + std::to_string(port_) + "\r\n";
    folder_.write("nimbolsp.ini", port + setupLines + "\r\n" + sections);
  }

  // Starts the program in its folder with an argument 0 of any kind and arguments.
  void spawn(const std::vector<std::string>& commandLine, Output output = kFile);

  // Waits for its end. Returns its exit status; -1 for any other end, also at the far deadline.
  int wait() {
    return eventually([this] { return !isRunning(); }) ? status_ : -1;
  }

  // Runs it to its end with arguments, as its own path.
  int run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), programPath());
    spawn(arguments);
    return wait();
  }

  // Starts the service and waits until it serves. False when it ends instead.
  bool startService(const std::string& command = "-run", Output output = kFile);

  // Sends the stop message and waits for the end. Returns the exit status.
  int stopService() {
    TestClient client(port_);
    client.send({"\2\0", 2});
    return client.receive(1) == std::string(1, '\0') && client.isEnded() ? wait() : -1;
  }

  // The process while it runs.
  pid_t pid() const { return pid_; }

  // Standard output until now (kFile), and the log of a command, as typed, without timestamps.
  std::string output() const { return folder_.read("output.txt"); }
  std::string log(const std::string& command = "-run") const {
    return folder_.readLog("nimbolsp" + command + ".log");
  }

  // How many descriptors the running program has open.
  std::ptrdiff_t descriptors() const {
    const std::string open = "/proc/" + std::to_string(pid_) + "/fd";
    return std::ranges::distance(std::filesystem::directory_iterator(open));
  }

 private:
  bool isRunning();

  TempFolder folder_;
  const Descriptor reservation_{bindPort()};
  const std::uint16_t port_ = portOf(reservation_.number());
  Descriptor unread_;
  pid_t pid_ = -1;
  int status_ = -1;
};
