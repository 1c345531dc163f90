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

bool hasNegative(const Statistics& statistics) {
  return statistics.ratioDivisor < 0 || statistics.ratioDividend < 0 || statistics.loadUsed < 0 ||
         statistics.loadLimit < 0;
}

std::int16_t loadPercent(std::int32_t used, std::int32_t limit) {
  return limit == 0 ? std::int16_t{0} : lowInt16(wrapDivide(wrapMultiply(used, 100), limit));
}

std::int16_t allocationListOf(std::int32_t divisor, std::int32_t dividend, std::int32_t bucketSize) {
  if (divisor == 0) return 0;
  // Required(average-wraps): the cut to 16 bits, so that an average of 40000 wraps negative and counts as
  // idle.
  const std::int16_t average = lowInt16(wrapDivide(dividend, divisor));
  return std::clamp<std::int16_t>(lowInt16(wrapDivide(average, bucketSize)), 0, 9);
}

}  // namespace nimbolsp
