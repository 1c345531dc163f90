// Where a server that does not speak the polling protocol tells of its load: a command's output, a file, the
// connections of a port. Each is looked at again and again by one thread, and none holds it up.
#pragma once

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>

#include "tools/load_report.h"
#include "tools/server_options.h"

namespace nimbolsp::tools {

// The load is not known, for a reason in a sentence that is the same as long as the reason is.
struct LoadUnknown : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class LoadSource {
 public:
  using Clock = std::chrono::steady_clock;

  LoadSource() = default;
  LoadSource(const LoadSource&) = delete;
  LoadSource& operator=(const LoadSource&) = delete;
  virtual ~LoadSource() = default;

  // What is known at `now`. Throws LoadUnknown.
  virtual LoadReport look(Clock::time_point now) = 0;
};

struct SourcePace {
  std::chrono::milliseconds every{1000};  // between two starts of a command, two counts of connections
  std::chrono::milliseconds age{30'000};  // that a file may have, that a command may take; 0: any
};

// A command for the shell, which prints words and ends with status 0.
//   limit  where the words tell none; 0: they must
std::unique_ptr<LoadSource> commandSource(const std::string& command, std::int32_t limit, SourcePace pace);

// A file of words.
std::unique_ptr<LoadSource> fileSource(const std::string& path, std::int32_t limit, SourcePace pace);

// The established connections of a port, of `limit`, while somebody listens there.
std::unique_ptr<LoadSource> connectionSource(const SimulatedAddress& port, std::int32_t limit,
                                             SourcePace pace);

// Another source that tells nothing while nobody listens on a port.
std::unique_ptr<LoadSource> whileServed(std::unique_ptr<LoadSource> source, const SimulatedAddress& port,
                                        SourcePace pace);

}  // namespace nimbolsp::tools
