#include "service/log_file.h"

#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>

#include "service/log_trim.h"
#include "service/settings.h"

namespace nimbolsp {

constinit SemaphoreLock logLock;

namespace {

struct FreeBytes {
  void operator()(char* bytes) const { std::free(bytes); }
};

// The local time in the 24 characters of asctime, without its newline (POSIX asctime).
std::string timestamp() {
  const std::time_t now = std::time(nullptr);
  std::tm local;
  char text[26];
  if (localtime_r(&now, &local) == nullptr || asctime_r(&local, text) == nullptr) return {};
  return {text, 24};
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
  openLog();
}

LogWriter::~LogWriter() {
  closeLog();
  logLock.release();
}

void LogWriter::openLog() {
  file_ = std::fopen(settings().logFilePath.c_str(), "a+be");
  if (file_ != nullptr) trim();
  atLineStart_ = true;
}

void LogWriter::closeLog() {
  if (file_ != nullptr) std::fclose(file_);
  file_ = nullptr;
}

// 1. Find the cut point, reading no further than the line that makes the file full.
// 2. Take what follows the cut point into memory.
// 3. Open the file empty and write that back.
// When memory or the file fails, the file counts as not open for this report.
void LogWriter::trim() {
  LogTrim lines(settings().logLineThreshold);
  char piece[4096];
  std::rewind(file_);
  std::size_t length;
  while ((length = std::fread(piece, 1, sizeof piece, file_)) != 0 && lines.feed({piece, length})) {
  }
  std::fseek(file_, 0, SEEK_END);
  const long end = std::ftell(file_);
  const long cut = static_cast<long>(lines.cutPoint());
  if (cut < 1 || end <= cut) return;

  const auto keep = static_cast<std::size_t>(end - cut);
  std::unique_ptr<char, FreeBytes> kept(static_cast<char*>(std::malloc(keep)));
  if (kept == nullptr || std::fseek(file_, cut, SEEK_SET) != 0 ||
      std::fread(kept.get(), 1, keep, file_) != keep) {
    closeLog();
    return;
  }
  closeLog();
  file_ = std::fopen(settings().logFilePath.c_str(), "w+be");
  if (file_ != nullptr) std::fwrite(kept.get(), 1, keep, file_);
}

void LogWriter::writeTerminal(std::string_view text) {
  if (!settings().quietMode) std::fwrite(text.data(), 1, text.size(), stdout);
}

void LogWriter::writeText(std::string_view text, Echo echo) {
  if (echo == kEcho) writeTerminal(text);
  if (file_ == nullptr) return;
  if (atLineStart_) {
    atLineStart_ = false;
    std::fprintf(file_, "%s ", timestamp().c_str());
  }
  std::fwrite(text.data(), 1, text.size(), file_);
}

void LogWriter::writeChar(char ch, Echo echo) {
  if (echo == kEcho) writeTerminal({&ch, 1});
  if (file_ == nullptr) return;
  atLineStart_ = ch == '\n';
  std::fputc(ch, file_);
}

}  // namespace nimbolsp
