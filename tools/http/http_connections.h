// The connections of the HTTP server that are open, and who of them is sent away: the oldest one when a place
// is wanted, and who has taken too long. Any thread may call.
#pragma once

#include <netinet/in.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <list>
#include <mutex>

namespace nimbolsp::tools {

struct HttpLimits {
  std::size_t connections = 256;     // a new one takes the place of the oldest one
  std::size_t perAddress = 256;      // of one peer's address; likewise
  std::chrono::seconds longest{15};  // from the connect to the last byte

  // Places for connections that are told to end and have not yet.
  std::size_t spare() const { return std::min<std::size_t>(32, connections + 4); }
};

class HttpConnections {
 public:
  struct Open {
    int descriptor;
    in6_addr peer;  // both kinds of address
    std::chrono::steady_clock::time_point since;
    bool ending;  // was told to end; the library closes it soon
  };
  using Place = std::list<Open>::iterator;

  explicit HttpConnections(const HttpLimits& limits) : limits_(limits) {}

  // Files a connection. Makes room first, when there is none.
  //   address  its peer's; null where it is unknown
  Place add(int descriptor, const sockaddr* address);

  // Forgets one that the library closes.
  void remove(Place place);

  // Ends those that have taken too long.
  void endLate();

 private:
  template <typename Condition>
  bool endOldest(std::size_t places, Condition counts);

  const HttpLimits limits_;
  std::mutex mutex_;      // guards what follows
  std::list<Open> open_;  // the oldest first
};

}  // namespace nimbolsp::tools
