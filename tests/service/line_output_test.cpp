// Output to what stops taking it, and takes it again.
#include "service/line_output.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include "tests/support/pseudo_terminal.h"

namespace nimbolsp {
namespace {

enum Kind { kPipe, kSocket, kTerminal };

// The end that is written to, shared with others, and the one that is read or not.
struct Ends {
  explicit Ends(Kind kind) {
    int pair[2] = {};
    if (kind == kPipe) {
      EXPECT_EQ(pipe2(pair, O_CLOEXEC), 0);
    } else if (kind == kSocket) {
      EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);
    } else {
      pair[0] = dup(terminal.farEnd());
      pair[1] = open(terminal.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    }
    read.replace(pair[0]);
    written.replace(pair[1]);
  }

  // All that can be read at present.
  std::string drain() const {
    std::string all;
    char bytes[4096];
    fcntl(read.number(), F_SETFL, O_NONBLOCK);
    for (ssize_t length; (length = ::read(read.number(), bytes, sizeof bytes)) > 0;) {
      all.append(bytes, static_cast<std::size_t>(length));
    }
    return all;
  }

  PseudoTerminal terminal;
  Descriptor read, written;
};

TEST(LineOutput, DropsWholeLinesWhileTheyAreNotTaken) {
  const struct {
    const char* name;
    Kind kind;
    bool canOpen;  // the descriptor once more, without blocking
  } cases[] = {
      {"pipe", kPipe, true},         {"pipe of others", kPipe, false},         {"socket", kSocket, true},
      {"terminal", kTerminal, true}, {"terminal of others", kTerminal, false},
  };
  const std::string line = std::string(998, 'x') + "\n";  // fits no buffer evenly
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    const Ends ends(row.kind);
    const int flags = fcntl(ends.written.number(), F_GETFL);
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{3, limit.rlim_max};
    if (!row.canOpen) setrlimit(RLIMIT_NOFILE, &none);

    LineOutput output{std::chrono::milliseconds(20)};
    for (int i = 0; i < 2000; ++i) output.write(ends.written.number(), line);
    std::string all = ends.drain();
    output.write(ends.written.number(), "after\n");
    all += ends.drain();
    setrlimit(RLIMIT_NOFILE, &limit);

    const std::size_t taken = all.size() / line.size();
    EXPECT_TRUE(4 <= taken && taken < 1000) << taken;
    std::string whole;
    for (std::size_t i = 0; i < taken; ++i) whole += line;
    EXPECT_TRUE(all == whole + "after\n") << all.substr(all.size() - 1100);
    EXPECT_EQ(fcntl(ends.written.number(), F_GETFL), flags);
  }
}

}  // namespace
}  // namespace nimbolsp
