// Output to what stops taking it, and takes it again.
#include "service/line_output.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "tests/support/pseudo_terminal.h"
#include "tests/support/resource_limit.h"

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
    bool canOpen;              // the descriptor once more, without blocking
    std::size_t length = 999;  // of a line; fits no buffer evenly
  } cases[] = {
      {kPipe, true},   {kPipe, true, 1024}, {kPipe, false},
      {kSocket, true}, {kTerminal, true},   {kTerminal, false},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(std::to_string(row.kind) + (row.canOpen ? "" : " of others"));
    const std::string line = std::string(row.length - 1, 'x') + "\n";
    const PseudoTerminal terminal;
    int ends[] = {dup(terminal.farEnd()), open(terminal.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)};
    EXPECT_TRUE(row.kind != kPipe || pipe2(ends, O_CLOEXEC) == 0);
    EXPECT_TRUE(row.kind != kSocket || socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
    const Descriptor reader(ends[0]), writer(ends[1]);
    const int flags = fcntl(writer.number(), F_GETFL);
    const ResourceLimit descriptors(RLIMIT_NOFILE, row.canOpen ? 1024 : 3);

    LineOutput output{std::chrono::milliseconds(20)};
    for (int i = 0; i < 1000; ++i) output.write(writer.number(), line + line);
    const std::string before = drain(reader);
    output.write(writer.number(), "after\n");
    EXPECT_TRUE(4000 <= before.size() && before.size() < 1000000) << before.size();
    EXPECT_TRUE(before.starts_with(line));
    const std::size_t torn = before.size() % line.size();
    EXPECT_EQ(drain(reader), (torn == 0 ? "" : line.substr(torn)) + "after\n");
    EXPECT_EQ(fcntl(writer.number(), F_GETFL), flags);
  }
}

}  // namespace
}  // namespace nimbolsp
