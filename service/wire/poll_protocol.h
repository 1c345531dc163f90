// The polling protocol between the service and a Nimbo Server, for both ends: its bytes. Pure. What the four
// statistics mean: service/balance.h. For readers: docs/protocols.md.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace nimbolsp {

inline constexpr std::size_t kPollRequestSize =
    4 + 10 + 4 + 5;                                      // length, tag, fixed, zero; integers big-endian
inline constexpr std::size_t kPollReplyPrefixSize = 18;  // not examined
inline constexpr std::size_t kPollReplySize =
    kPollReplyPrefixSize + 4 * sizeof(std::int32_t);  // and the four statistics

using PollRequest = std::array<std::uint8_t, kPollRequestSize>;
using PollReply = std::array<std::uint8_t, kPollReplySize>;

// What a server says of itself, in the order of the reply.
struct Statistics {
  std::int32_t ratioDivisor = 0;
  std::int32_t ratioDividend = 0;
  std::int32_t loadUsed = 0;
  std::int32_t loadLimit = 0;

  bool operator==(const Statistics&) const = default;
};

// The request that every server is sent.
PollRequest encodePollRequest();

// The statistics of a reply; its first 18 bytes may be anything.
Statistics decodePollReply(const PollReply& reply);

// A reply with the given statistics and a prefix of zeros, as a server sends it.
PollReply encodePollReply(const Statistics& statistics);

}  // namespace nimbolsp
