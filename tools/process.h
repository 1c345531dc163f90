// What every command does as a process: it prints, it complains, it ends when it is told to.
#pragma once

#include <csignal>
#include <stdexcept>
#include <string>
#include <thread>

#include "service/wire/descriptor.h"

namespace nimbolsp::tools {

// Standard output could not be written: a full disk, a closed descriptor.
struct OutputFailed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The reader has left, who is owed nothing and told nothing: it has what it wanted.
struct ReaderLeft : OutputFailed {
  using OutputFailed::OutputFailed;
};

// A stop signal came while standard output or standard error took nothing.
struct StoppedInOutput {};

// Opens standard output, if the program was started without it, so that no other file gets its number and all
// that is written fails. To be called before anything is opened.
void openClosedOutput();

// Writes to standard output, at once; waits until that takes it, or a stop signal comes that is being caught.
// Throws OutputFailed and StoppedInOutput, which main makes the exit status of.
void print(const std::string& text);

// Writes a sentence to standard error; bytes that could steer the terminal are made harmless.
void complain(const std::string& sentence);

// A descriptor that becomes readable with SIGINT or SIGTERM, for all threads that start from now on.
// Throws std::system_error when no descriptor is left.
Descriptor catchStopSignals();

// SIGINT, SIGTERM and SIGHUP wait to the end of the scope, and act then.
class StopSignalsHeld {
 public:
  StopSignalsHeld();
  ~StopSignalsHeld();
  StopSignalsHeld(const StopSignalsHeld&) = delete;
  StopSignalsHeld& operator=(const StopSignalsHeld&) = delete;

 private:
  sigset_t former_{};
};

// Work that may take long: when it has not ended after a second, a sentence on standard error says what goes
// on.
class SlowWork {
 public:
  explicit SlowWork(std::string sentence);

 private:
  std::jthread teller_;
};

}  // namespace nimbolsp::tools
