// The bytes of resource blocks, put together by tests.
#pragma once

#include <cstdint>
#include <string>

#include "service/resources/appended_block.h"

inline std::string littleEndian(std::uint32_t value, int size) {
  std::string bytes;
  for (int i = 0; i < size; ++i) bytes += static_cast<char>(value >> 8 * i);
  return bytes;
}
inline std::string word(std::uint32_t value) {
  return littleEndian(value, 4);
}
inline std::string half(std::size_t value) {
  return littleEndian(static_cast<std::uint32_t>(value), 2);
}

inline nimbolsp::Bytes asBytes(const std::string& bytes) {
  return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

inline std::string stringEntry(std::uint32_t id, const std::string& text) {
  return word(static_cast<std::uint32_t>(text.size()) << 20 | id) + text;
}

// Style 2, x 21, y 22, width 23, height 24, point size 8.
inline std::string dialogEntry(std::uint32_t id, std::uint32_t itemCount, const std::string& caption,
                               const std::string& fontName, const std::string& items) {
  const std::string body = word(id) + word(2) + word(itemCount) + word(21) + word(22) + word(23) + word(24) +
                           half(caption.size()) + caption + word(8) + half(fontName.size()) + fontName +
                           items;
  return word(0x55555555) + word(static_cast<std::uint32_t>(body.size())) + body;
}

// Style 3, x 13, y 14, width 15, height 16.
inline std::string dialogItem(std::uint32_t id, const std::string& className, const std::string& text) {
  return word(id) + word(3) + word(13) + word(14) + word(15) + word(16) + half(className.size()) + className +
         half(text.size()) + text;
}

// Header and marker. Reserved bytes are not 0.
inline std::string blockEnd(std::uint32_t firstWord, std::uint32_t dialogOffset, std::uint32_t stringOffset) {
  return word(firstWord) + std::string(16, 'r') + word(dialogOffset) + word(stringOffset) +
         std::string(52, 'r') + "^^^RC_DAT^^^";
}
