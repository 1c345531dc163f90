// Arithmetic on what files and servers send: any input gives a result, in 32 bits that wrap. Pure.
#pragma once

#include <cstdint>
#include <string_view>

namespace nimbolsp {

// 32-bit arithmetic modulo 2^32. A quotient is cut toward zero; the one that does not fit, -2147483648 / -1,
// wraps to -2147483648 instead of ending the process.
inline std::int32_t wrapAdd(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
inline std::int32_t wrapMultiply(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}
inline std::int32_t wrapDivide(std::int32_t a, std::int32_t b) {  // b is not 0
  return b == -1 ? wrapMultiply(a, -1) : a / b;
}

// The low 16 bits of a value, as a signed number.
inline std::int16_t lowInt16(std::int32_t value) {
  return static_cast<std::int16_t>(static_cast<std::uint16_t>(value));
}

// The base-10 number at the front of a text, behind blanks and with an optional sign; it ends at the first
// other character. 0 without a digit; a number too large for 32 bits wraps.
inline std::int32_t parseDecimal(std::string_view text) {
  std::size_t at = text.find_first_not_of(" \t\n\v\f\r");
  if (at == std::string_view::npos) return 0;
  const bool negative = text[at] == '-';
  if (negative || text[at] == '+') ++at;
  std::uint32_t magnitude = 0;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
    magnitude = magnitude * 10 + static_cast<std::uint32_t>(text[at] - '0');
  }
  return static_cast<std::int32_t>(negative ? 0 - magnitude : magnitude);
}

// The whole seconds that the service sleeps for an interval of milliseconds: half a second is one more.
constexpr std::uint32_t roundedSeconds(std::uint32_t milliseconds) {
  return static_cast<std::uint32_t>((std::uint64_t{milliseconds} + 500) / 1000);
}

// Big-endian integers. Each returns the position after what it wrote or read.
inline std::uint8_t* writeBigEndian16(std::uint8_t* at, std::uint16_t value) {
  *at++ = static_cast<std::uint8_t>(value >> 8);
  *at++ = static_cast<std::uint8_t>(value);
  return at;
}
inline std::uint8_t* writeBigEndian32(std::uint8_t* at, std::uint32_t value) {
  at = writeBigEndian16(at, static_cast<std::uint16_t>(value >> 16));
  return writeBigEndian16(at, static_cast<std::uint16_t>(value));
}
inline const std::uint8_t* readBigEndian32(const std::uint8_t* at, std::int32_t& value) {
  std::uint32_t bits = 0;
  for (int i = 0; i < 4; ++i) bits = bits << 8 | *at++;
  value = static_cast<std::int32_t>(bits);
  return at;
}

}  // namespace nimbolsp
