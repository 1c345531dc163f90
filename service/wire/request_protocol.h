// The request protocol between a front end (or "-STOP") and the service, for both ends. Pure. One connection
// carries one request and one answer. For readers: docs/protocols.md.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace nimbolsp {

// Message types, the first byte of a request.
inline constexpr std::uint8_t kServerRequest = 0;  // body: the pool's name
inline constexpr std::uint8_t kStopRequest = 2;    // no body

inline constexpr std::size_t kHeaderSize = 1 + 1;     // type, or 1 in an answer; length of what follows
inline constexpr std::size_t kMaximumBodySize = 255;  // pool name, or server text; without terminator
inline constexpr std::uint8_t kServerAnswer = 1;      // first byte of the answer to a server request
inline constexpr std::size_t kStopAnswerSize = 1;
inline constexpr std::uint8_t kStopAnswer = 0;

inline constexpr std::array<std::uint8_t, kHeaderSize> kStopMessage{kStopRequest, 0};

// A message header, or the front of an answer.
struct MessageHeader {
  std::uint8_t type;
  std::uint8_t length;
};
static_assert(sizeof(MessageHeader) == kHeaderSize);

}  // namespace nimbolsp
