#include "service/wire/poll_protocol.h"

#include <algorithm>
#include <string_view>

#include "service/wire/numbers.h"

namespace nimbolsp {

namespace {

constexpr std::string_view kTag = "NIMBO_ORFC";
constexpr std::uint32_t kFixedWord = 0x0001000F;

}  // namespace

PollRequest encodePollRequest() {
  PollRequest request{};  // the last five bytes stay zero
  std::uint8_t* at = writeBigEndian32(request.data(), kPollRequestSize);
  at = std::copy(kTag.begin(), kTag.end(), at);
  writeBigEndian32(at, kFixedWord);
  return request;
}

Statistics decodePollReply(const PollReply& reply) {
  Statistics statistics;
  const std::uint8_t* at = reply.data() + kPollReplyPrefixSize;
  at = readBigEndian32(at, statistics.ratioDivisor);
  at = readBigEndian32(at, statistics.ratioDividend);
  at = readBigEndian32(at, statistics.loadUsed);
  readBigEndian32(at, statistics.loadLimit);
  return statistics;
}

PollReply encodePollReply(const Statistics& statistics) {
  PollReply reply{};
  std::uint8_t* at = reply.data() + kPollReplyPrefixSize;
  for (std::int32_t value :
       {statistics.ratioDivisor, statistics.ratioDividend, statistics.loadUsed, statistics.loadLimit}) {
    at = writeBigEndian32(at, static_cast<std::uint32_t>(value));
  }
  return reply;
}

}  // namespace nimbolsp
