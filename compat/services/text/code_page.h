// The Windows-1252 code page: case tables, Unicode values and the way back. Pure tables, made by the
// compiler. The conversions declared in nimboxi/text.h are defined in code_page.cpp.
#pragma once

#include <cstdint>

namespace nimboxi {

// Stands for any character that the target encoding cannot hold.
inline constexpr std::uint8_t kReplacement = 0xBF;

// The other case of a Windows-1252 byte; a byte without a single-byte partner gives itself.
std::uint8_t toUpperAnsi(std::uint8_t byte);
std::uint8_t toLowerAnsi(std::uint8_t byte);

// The Unicode value of a Windows-1252 byte; U+00BF for the five bytes that the code page leaves undefined.
std::uint16_t unicodeOfAnsi(std::uint8_t byte);

// The Windows-1252 byte of a code point; kReplacement when there is none.
std::uint8_t ansiOfUnicode(std::uint32_t codePoint);

}  // namespace nimboxi
