// The Windows-1252 code page: its case tables, made by the compiler. Pure. The conversions declared in
// nimboxi/text.h are defined in code_page.cpp.
#pragma once

#include <cstdint>

namespace nimboxi {

// Stands for any character that the target encoding cannot hold.
inline constexpr std::uint8_t kReplacement = 0xBF;

// The other case of a Windows-1252 byte; a byte without a single-byte partner gives itself.
std::uint8_t toUpperAnsi(std::uint8_t byte);
std::uint8_t toLowerAnsi(std::uint8_t byte);

}  // namespace nimboxi
