#include "service/log_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <exception>
#include <new>

#include "service/line_output.h"
#include "service/log_trim.h"
#include "service/settings.h"
#include "service/wire/descriptor.h"

namespace nimbolsp {

constinit SemaphoreLock logLock;

namespace {

// Standard output, and a log that is no regular file. Never destroyed: they are needed to the very end.
struct Outputs {
  LineOutput terminal{std::chrono::seconds(1)};
  LineOutput oddLog{std::chrono::seconds(1)};
};
Outputs& outputs() NIMBOXI_REQUIRES(logLock) {
  static Outputs& only = *new Outputs;
  return only;
}

// The local time in the 24 characters of asctime, without its newline (POSIX asctime).
std::string timestamp() {
  const std::time_t now = std::time(nullptr);
  std::tm local;
  char text[26];
  tzset();  // the system's time zone may have changed since the last report
  if (localtime_r(&now, &local) == nullptr || asctime_r(&local, text) == nullptr) return {};
  return {text, 24};
}

// Moves what follows `cut` to the front of the file, and cuts off the end. At any moment every kept byte is
// whole, in its old place or its new one, whatever ends the process meanwhile. False when the file fails.
bool moveToFront(int file, std::int64_t cut) {
  char piece[16384];
  const int flags = fcntl(file, F_GETFL);
  if (fcntl(file, F_SETFL, flags & ~O_APPEND) != 0) return false;  // with it all would go to the end
  std::int64_t kept = 0;
  ssize_t length;
  while ((length = pread(file, piece, sizeof piece, cut + kept)) > 0) {
    const ssize_t written = pwrite(file, piece, static_cast<std::size_t>(length), kept);
    if (written <= 0) return false;
    kept += written;
  }
  return length == 0 && ftruncate(file, kept) == 0 && fcntl(file, F_SETFL, flags) == 0;
}

// Cuts a full file to its newer half, reading no further than the line that makes it full. False when the
// file fails; it counts as not open then for this report.
bool trim(int file) {
  LogTrim lines(settings().logLineThreshold);
  char piece[4096];
  std::int64_t offset = 0;
  ssize_t length;
  while ((length = pread(file, piece, sizeof piece, offset)) > 0) {
    if (!lines.feed({piece, static_cast<std::size_t>(length)})) break;
    offset += length;
  }
  return lines.cutPoint() == 0 || moveToFront(file, lines.cutPoint());
}

// What finds no room to its end is taken back, unless another process has written behind it: half a line
// would join with the next report.
void appendTo(int file, std::string_view text) {
  off_t appended = 0;
  ssize_t written;
  while (!text.empty() && (written = write(file, text.data(), text.size())) > 0) {
    text.remove_prefix(static_cast<std::size_t>(written));
    appended += written;
  }
  struct stat status {};
  if (text.empty() || appended == 0 || fstat(file, &status) != 0) return;
  if (lseek(file, 0, SEEK_CUR) != status.st_size) return;
  static_cast<void>(ftruncate(file, status.st_size - appended) == 0);
}

// Only a regular file has lines to count and an end to append to. What else bears the log's name gets the
// lines as far as it takes them, and is never waited for in its opening.
void writeToLog(std::string_view text) NIMBOXI_REQUIRES(logLock) {
  constexpr int kHow = O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  const char* path = settings().logFilePath.c_str();
  Descriptor file(open(path, O_RDWR | O_CREAT | kHow, 0666));
  struct stat status {};
  if (file.number() < 0 || fstat(file.number(), &status) != 0) return;
  if (S_ISREG(status.st_mode)) {
    if (trim(file.number())) appendTo(file.number(), text);
    return;
  }
  file.close();                               // which would count as a reader of a pipe
  file.replace(open(path, O_WRONLY | kHow));  // refused by a pipe that nobody reads
  if (file.number() >= 0) outputs().oddLog.write(file.number(), text);
}

}  // namespace

void createLogLock() {
  logLock.create();
}

void closeLogLock() {
  logLock.close();
}

LogWriter::LogWriter() {
  logLock.take();
}

// The file comes first: it need not wait for the terminal. A report that an exception has cut short, for want
// of memory, is dropped whole: no report is made while another exception is under way.
LogWriter::~LogWriter() {
  try {
    if (std::uncaught_exceptions() != 0) forFile_.clear(), forTerminal_.clear();
    if (!forFile_.empty()) writeToLog(forFile_);
    if (!forTerminal_.empty()) outputs().terminal.write(STDOUT_FILENO, forTerminal_);
  } catch (const std::bad_alloc&) {  // the report is lost
  }
  logLock.release();
}

void LogWriter::writeTerminal(std::string_view text) {
  if (!settings().quietMode) forTerminal_ += text;
}

void LogWriter::writeText(std::string_view text, Echo echo) {
  if (echo == kEcho) writeTerminal(text);
  if (atLineStart_) forFile_ += timestamp() + " ";
  atLineStart_ = false;
  forFile_ += text;
}

void LogWriter::writeChar(char ch, Echo echo) {
  if (echo == kEcho) writeTerminal({&ch, 1});
  atLineStart_ = ch == '\n';
  forFile_ += ch;
}

}  // namespace nimbolsp
