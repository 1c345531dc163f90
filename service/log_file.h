// The log: each report is written to the terminal and to the log file, which is opened, cut back, appended to
// and closed for it, under the process-wide log lock.
// Owns the log lock. Lock order: a pool's lock, then the log lock, never the reverse.
#pragma once

#include <string>
#include <string_view>

#include "nimboxi/support/thread_annotations.h"
#include "service/semaphore_lock.h"

namespace nimbolsp {

// Serialises all access to the log file and the terminal.
extern SemaphoreLock logLock;

// Creates the log lock: first thing in main, before anything can be reported.
void createLogLock();

// Ends the log. Call when no other thread can report any more.
void closeLogLock();

// One report of whole lines. Holds the log lock from construction to the end of the scope, which writes it
// unless an exception ends the scope.
class NIMBOXI_SCOPED_CAPABILITY LogWriter {
 public:
  enum Echo { kEcho, kNoEcho };

  LogWriter() NIMBOXI_ACQUIRE(logLock);
  ~LogWriter() NIMBOXI_RELEASE();
  LogWriter(const LogWriter&) = delete;
  LogWriter& operator=(const LogWriter&) = delete;

  // Writes a text to the terminal (unless kNoEcho or quiet mode) and to the file, in the file behind a
  // timestamp when a line begins.
  void writeText(std::string_view text, Echo echo = kEcho);

  // Writes a character to both likewise; a newline ends the line.
  void writeChar(char ch, Echo echo = kEcho);

  // Writes to the terminal alone, unless quiet mode.
  void writeTerminal(std::string_view text);

 private:
  std::string forTerminal_;
  std::string forFile_;
  bool atLineStart_ = true;  // the next text begins a line of the file
};

}  // namespace nimbolsp
