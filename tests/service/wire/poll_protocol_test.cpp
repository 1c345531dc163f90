// The bytes of a poll's reply. Those of the request show in the end-to-end tests.
#include "service/wire/poll_protocol.h"

#include <gtest/gtest.h>

#include <cstring>

namespace nimbolsp {
namespace {

TEST(PollProtocol, ReplyIsReadBehindEighteenBytesOfAnything) {
  PollReply reply;
  std::memcpy(reply.data(), "eighteen any bytes\0\0\0\x01\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFE\x80\0\0\0", 34);
  EXPECT_EQ(decodePollReply(reply), (Statistics{1, 0x7FFFFFFF, -2, -0x7FFFFFFF - 1}));
}

}  // namespace
}  // namespace nimbolsp
