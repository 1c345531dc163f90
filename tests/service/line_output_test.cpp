// Output to what stops taking it, and takes it again.
#include "service/line_output.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include "tests/support/pseudo_terminal.h"

namespace nimbolsp {
namespace {

enum Kind { kPipe, kSocket, kTerminal };

// All that can be read at present.
std::string drain(const Descriptor& from) {
  std::string all;
  char bytes[4096];
  fcntl(from.number(), F_SETFL, O_NONBLOCK);
  for (ssize_t length; (length = read(from.number(), bytes, sizeof bytes)) > 0;) {
    all.append(bytes, static_cast<std::size_t>(length));
  }
  return all;
}

TEST(LineOutput, DropsWholeLinesWhileTheyAreNotTaken) {
  const struct {
    Kind kind;
    bool canOpen;  // the descriptor once more, without blocking
  } cases[] = {
      {kPipe, true}, {kPipe, false}, {kSocket, true}, {kTerminal, true}, {kTerminal, false},
  };
  const std::string line = std::string(998, 'x') + "\n";  // fits no buffer evenly
  for (const auto& row : cases) {
    SCOPED_TRACE(std::to_string(row.kind) + (row.canOpen ? "" : " of others"));
    const PseudoTerminal terminal;
    int ends[] = {dup(terminal.farEnd()), open(terminal.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)};
    EXPECT_TRUE(row.kind != kPipe || pipe2(ends, O_CLOEXEC) == 0);
    EXPECT_TRUE(row.kind != kSocket || socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
    const Descriptor reader(ends[0]), writer(ends[1]);
    const int flags = fcntl(writer.number(), F_GETFL);
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{3, limit.rlim_max};
    if (!row.canOpen) setrlimit(RLIMIT_NOFILE, &none);

    LineOutput output{std::chrono::milliseconds(20)};
    for (int i = 0; i < 2000; ++i) output.write(writer.number(), line);
    std::string all = drain(reader);
    output.write(writer.number(), "after\n");
    all += drain(reader);
    setrlimit(RLIMIT_NOFILE, &limit);

    std::string whole;
    while (whole.size() + line.size() <= all.size()) whole += line;
    EXPECT_TRUE(4000 <= whole.size() && whole.size() < 1000000) << whole.size();
    EXPECT_TRUE(all == whole + "after\n") << all.substr(all.size() - 1100);
    EXPECT_EQ(fcntl(writer.number(), F_GETFL), flags);
  }
}

}  // namespace
}  // namespace nimbolsp
