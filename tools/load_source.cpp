#include "tools/load_source.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <ctime>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "service/wire/descriptor.h"
#include "tools/command_run.h"
#include "tools/tcp_table.h"
#include "tools/text_table.h"

namespace nimbolsp::tools {

namespace {

using std::chrono::milliseconds;

LoadReport reportIn(const std::string& what, std::string_view text, std::int32_t limit) {
  // A number may be cut off at the end.
  if (text.size() > kLongestReport)
    throw LoadUnknown(what + " is longer than " + std::to_string(kLongestReport) + " bytes");
  try {
    return parseLoadReport(text, limit);
  } catch (const std::invalid_argument& fault) {
    throw LoadUnknown(what + ": " + fault.what());
  }
}

class CommandSource : public LoadSource {
 public:
  CommandSource(std::string command, std::int32_t limit, SourcePace pace)
      : command_(std::move(command)), limit_(limit), every_(pace.every), longest_(pace.age) {}

  LoadReport look(Clock::time_point now) override {
    if (auto result = run_ ? run_->result() : std::nullopt) {
      conclude(*result);
    } else if (run_ && now >= started_ + longest_) {
      forget("the command takes longer than " + decimal(inMilliseconds(longest_) / 1000, 1) + " s");
    }
    if (!run_ && now >= started_ + every_) {
      started_ = now;
      run_ = std::make_unique<CommandRun>(command_);
    }
    if (!report_) throw LoadUnknown(fault_);
    return *report_;
  }

 private:
  void conclude(const CommandRun::Result& result) {
    run_.reset();
    try {
      if (!result.fault.empty()) throw LoadUnknown("the command " + result.fault);
      report_ = reportIn("the command's output", result.output, limit_);
    } catch (const LoadUnknown& unknown) {
      forget(unknown.what());
    }
  }

  void forget(const std::string& fault) {
    run_.reset();
    report_.reset();
    fault_ = fault;
  }

  const std::string command_;
  const std::int32_t limit_;
  const milliseconds every_;
  const milliseconds longest_;
  std::unique_ptr<CommandRun> run_;  // the one under way
  Clock::time_point started_ = Clock::now() - every_;
  std::optional<LoadReport> report_;  // of the last one
  std::string fault_ = "the command has not ended yet";
};

class FileSource : public LoadSource {
 public:
  FileSource(std::string path, std::int32_t limit, SourcePace pace)
      : path_(std::move(path)),
        limit_(limit),
        age_(std::chrono::duration_cast<std::chrono::seconds>(pace.age)) {}

  LoadReport look(Clock::time_point) override {
    struct stat now {};
    // Not blocking: of a pipe nobody may hold the other end.
    const Descriptor file(open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (file.number() < 0 || fstat(file.number(), &now) != 0) {
      throw LoadUnknown(path_ + " cannot be read: " + std::strerror(errno));
    }
    if (!S_ISREG(now.st_mode)) throw LoadUnknown(path_ + " is no file");
    if (age_.count() > 0 && std::time(nullptr) - now.st_mtim.tv_sec > age_.count()) {
      throw LoadUnknown(path_ + " is older than " + std::to_string(age_.count()) + " s");
    }
    return reportIn(path_, read(file.number()), limit_);
  }

 private:
  std::string_view read(int file) {
    const ssize_t length = ::read(file, text_.data(), text_.size());
    if (length < 0) throw LoadUnknown(path_ + " cannot be read: " + std::strerror(errno));
    return {text_.data(), static_cast<std::size_t>(length)};
  }

  const std::string path_;
  const std::int32_t limit_;
  const std::chrono::seconds age_;
  std::array<char, kLongestReport + 1> text_;
};

// What goes on at a port, while somebody listens there. A thread looks: with many connections that takes its
// time, for which no poll is to wait.
class PortSource : public LoadSource {
 public:
  // Tells what `source` does; without one the connections, of `limit`.
  PortSource(const SimulatedAddress& port, std::unique_ptr<LoadSource> source, std::int32_t limit,
             SourcePace pace)
      : port_(port), source_(std::move(source)), limit_(limit) {
    count();
    thread_ = std::jthread([this, pace](const std::stop_token& ended) {
      std::mutex mutex;
      std::unique_lock hold(mutex);
      std::condition_variable_any wake;
      while (!wake.wait_for(hold, ended, pace.every, [&] { return ended.stop_requested(); })) count();
    });
  }

  LoadReport look(Clock::time_point now) override {
    const std::int32_t connections = connections_;
    const LoadReport report =
        source_ ? source_->look(now) : reportOf(std::max(connections, 0), limit_, 0, false);
    if (connections == kNobody) throw LoadUnknown("nobody listens on " + port_.text());
    return report;
  }

 private:
  static constexpr std::int32_t kNobody = -1;

  void count() noexcept {
    try {
      const PortUse use = useOf(port_);
      connections_ = use.isServed ? use.connections : kNobody;
    } catch (const std::exception&) {
      connections_ = kNobody;  // without memory nothing is known
    }
  }

  const SimulatedAddress port_;
  const std::unique_ptr<LoadSource> source_;
  const std::int32_t limit_;
  std::atomic<std::int32_t> connections_{kNobody};
  std::jthread thread_;
};

}  // namespace

std::unique_ptr<LoadSource> commandSource(const std::string& command, std::int32_t limit, SourcePace pace) {
  return std::make_unique<CommandSource>(command, limit, pace);
}

std::unique_ptr<LoadSource> fileSource(const std::string& path, std::int32_t limit, SourcePace pace) {
  return std::make_unique<FileSource>(path, limit, pace);
}

std::unique_ptr<LoadSource> connectionSource(const SimulatedAddress& port, std::int32_t limit,
                                             SourcePace pace) {
  return std::make_unique<PortSource>(port, nullptr, limit, pace);
}

std::unique_ptr<LoadSource> whileServed(std::unique_ptr<LoadSource> source, const SimulatedAddress& port,
                                        SourcePace pace) {
  return std::make_unique<PortSource>(port, std::move(source), 1, pace);
}

}  // namespace nimbolsp::tools
