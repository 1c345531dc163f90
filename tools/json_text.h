// How text from files and peers, which is bytes of any encoding, stands in JSON, which is UTF-8: the same in
// every command and page. Pure.
#pragma once

#include <string>
#include <string_view>

namespace nimbolsp::tools {

// Each byte as the character of its number, U+0000 to U+00FF, in UTF-8: any text survives, and none is
// invalid.
inline std::string jsonText(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      text += c;
    } else {
      text += static_cast<char>(0xC0 | byte >> 6);
      text += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return text;
}

}  // namespace nimbolsp::tools
