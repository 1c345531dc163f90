// The polling protocol between the service and a Nimbo Server, for both ends: bytes, offsets and what the
// four statistics mean. Pure. For readers: docs/protocols.md.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace nimbolsp {

inline constexpr std::size_t kPollRequestSize =
    4 + 10 + 4 + 5;                                      // length, tag, fixed, zero; integers big-endian
inline constexpr std::size_t kPollReplyPrefixSize = 18;  // not examined
inline constexpr std::size_t kPollReplySize = kPollReplyPrefixSize + 4 * 4;  // and the four statistics

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

// Whether one of the four is negative: worth a message, and used all the same.
bool hasNegative(const Statistics& statistics);

// used * 100 / limit in 32 bits that wrap, cut to 16 bits; 0 when the limit is 0.
std::int16_t loadPercent(std::int32_t used, std::int32_t limit);

// The allocation list, 0 to 9, for an average of dividend / divisor: the average, cut to 16 bits, in bands
// `bucketSize` wide (at least 1). Below 0, or without a divisor: 0; above 9: 9.
std::int16_t allocationListOf(std::int32_t divisor, std::int32_t dividend, std::int32_t bucketSize);

}  // namespace nimbolsp
