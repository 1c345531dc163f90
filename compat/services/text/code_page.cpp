// Windows-1252 and Unicode: the tables of the code page (source: the published Windows-1252 mapping) and the
// conversions between it, UTF-8, UTF-32 and UTF-16. Pure: no state, no lock.
#include "compat/services/text/code_page.h"

#include <array>
#include <cstdlib>
#include <cstring>

#include "nimboxi/text.h"

namespace nimboxi {
namespace {

using ByteTable = std::array<std::uint8_t, 256>;

// Upper-case letters whose lower case is the byte 0x20 higher, besides A to Z.
constexpr bool isUpperInLatin(unsigned byte) {
  return byte >= 0xC0 && byte <= 0xDE && byte != 0xD7;  // the multiplication sign
}

constexpr ByteTable makeLowerCaseTable() {
  ByteTable table{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    const bool latin = (byte >= 'A' && byte <= 'Z') || isUpperInLatin(byte);
    table[byte] = static_cast<std::uint8_t>(latin ? byte + 0x20 : byte);
  }
  table[0x8A] = 0x9A;
  table[0x8C] = 0x9C;
  table[0x8E] = 0x9E;
  table[0x9F] = 0xFF;
  return table;
}

constexpr ByteTable LowerCaseTable = makeLowerCaseTable();

constexpr ByteTable makeUpperCaseTable() {
  ByteTable table{};
  for (unsigned byte = 0; byte < 256; ++byte) table[byte] = static_cast<std::uint8_t>(byte);
  for (unsigned byte = 0; byte < 256; ++byte) {
    if (LowerCaseTable[byte] != byte) table[LowerCaseTable[byte]] = static_cast<std::uint8_t>(byte);
  }
  return table;
}

constexpr ByteTable UpperCaseTable = makeUpperCaseTable();

// Bytes 0x80 to 0x9F; all others have their own value.
constexpr std::uint16_t kTypographic[32] = {
    0x20AC, 0x00BF, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,  // 0x80
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x00BF, 0x017D, 0x00BF,  // 0x88
    0x00BF, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  // 0x90
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x00BF, 0x017E, 0x0178,  // 0x98
};

// The Unicode value of a Windows-1252 byte; U+00BF for the five bytes that the code page leaves undefined.
constexpr std::uint16_t unicodeOf(std::uint8_t byte) {
  return byte >= 0x80 && byte <= 0x9F ? kTypographic[byte - 0x80] : byte;
}

// The way back for code points below 256, by code point.
constexpr ByteTable makeReverseTable() {
  ByteTable table{};
  for (auto& entry : table) entry = kReplacement;
  for (unsigned byte = 0; byte < 256; ++byte) {
    const std::uint16_t value = unicodeOf(static_cast<std::uint8_t>(byte));
    if (value < 256) table[value] = static_cast<std::uint8_t>(byte);
  }
  return table;
}

constexpr ByteTable kReverseTable = makeReverseTable();

constexpr std::uint32_t lowSixBits(char byte) {
  return static_cast<std::uint8_t>(byte) & 0x3Fu;
}

// One code point in UTF-8; the caller has checked that it is below 0x200000. Returns the place behind it.
char* putUtf8(char* out, std::uint32_t codePoint) {
  auto put = [&out](std::uint32_t byte) { *out++ = static_cast<char>(byte); };
  auto putContinuation = [&put](std::uint32_t bits) { put(0x80 | (bits & 0x3F)); };
  if (codePoint < 0x80) {
    put(codePoint);
  } else if (codePoint < 0x800) {
    put(0xC0 | codePoint >> 6);
    putContinuation(codePoint);
  } else if (codePoint < 0x10000) {
    put(0xE0 | codePoint >> 12);
    putContinuation(codePoint >> 6);
    putContinuation(codePoint);
  } else {
    put(0xF0 | codePoint >> 18);
    putContinuation(codePoint >> 12);
    putContinuation(codePoint >> 6);
    putContinuation(codePoint);
  }
  return out;
}

// The Windows-1252 byte of a code point; kReplacement when there is none.
std::uint8_t ansiOfUnicode(std::uint32_t codePoint) {
  if (codePoint < kReverseTable.size()) return kReverseTable[codePoint];
  for (unsigned i = 0; i < std::size(kTypographic); ++i) {
    if (kTypographic[i] == codePoint) return static_cast<std::uint8_t>(0x80 + i);
  }
  return kReplacement;
}

// Reads the character at `*source` and moves `*source` behind it.
std::uint32_t nextCodePoint(const char** source) {
  std::uint32_t codePoint;
  const auto lead = static_cast<std::uint8_t>(**source);
  *source = DecodeUtf8Char(*source + 1, lead, &codePoint);
  return codePoint;
}

}  // namespace

std::uint8_t toUpperAnsi(std::uint8_t byte) {
  return UpperCaseTable[byte];
}

std::uint8_t toLowerAnsi(std::uint8_t byte) {
  return LowerCaseTable[byte];
}

}  // namespace nimboxi

using namespace nimboxi;

const char* DecodeUtf8Char(const char* next, BYTE lead, uint32_t* codePoint) {
  int continuations = 1;
  // Required(unchecked-continuation): continuation bytes are not checked, and one met as a lead byte starts a
  // two-byte form; text in another encoding gives odd characters, never a failure.
  if (lead < 0x80 || lead >= 0xF8) {
    *codePoint = lead;
    return next;
  }
  if (lead < 0xE0) {
    *codePoint = (lead & 0x1Fu) << 6;
  } else if (lead < 0xF0) {
    *codePoint = (lead & 0x0Fu) << 12;
    continuations = 2;
  } else {
    *codePoint = (lead & 0x07u) << 18;
    continuations = 3;
  }
  while (continuations > 0 && *next != '\0') {
    --continuations;
    *codePoint |= lowSixBits(*next++) << (6 * continuations);
  }
  return next;
}

int32_t Utf8ToAnsi(const char* source, char* destination) {
  char* out = destination;
  while (source != nullptr && *source != '\0')
    *out++ = static_cast<char>(ansiOfUnicode(nextCodePoint(&source)));
  *out = '\0';
  return static_cast<std::int32_t>(out - destination);
}

char* Utf8ToAnsiDup(const char* source) {
  if (source == nullptr) return nullptr;
  auto* copy = static_cast<char*>(std::malloc(std::strlen(source) + 1));
  if (copy != nullptr) Utf8ToAnsi(source, copy);
  return copy;
}

int32_t Utf8ToUtf32(const char* source, uint32_t* destination) {
  std::uint32_t* out = destination;
  while (source != nullptr && *source != '\0') *out++ = nextCodePoint(&source);
  *out = 0;
  return static_cast<std::int32_t>(out - destination);
}

int32_t AnsiToUtf8(const char* source, char* destination) {
  char* out = destination;
  for (; source != nullptr && *source != '\0'; ++source) {
    out = putUtf8(out, unicodeOf(static_cast<std::uint8_t>(*source)));
  }
  *out = '\0';
  return static_cast<std::int32_t>(out - destination);
}

char* AnsiToUtf8Dup(const char* source) {
  if (source == nullptr) return nullptr;
  auto* copy = static_cast<char*>(std::malloc(3 * std::strlen(source) + 3));
  if (copy != nullptr) AnsiToUtf8(source, copy);
  return copy;
}

int32_t Utf32ToUtf8(const uint32_t* source, char* destination) {
  char* out = destination;
  for (; source != nullptr && *source != 0; ++source) {
    if (*source < 0x200000) {
      out = putUtf8(out, *source);
    } else {
      *out++ = static_cast<char>(kReplacement);
    }
  }
  *out = '\0';
  return static_cast<std::int32_t>(out - destination);
}

int32_t Utf32ToUtf16(const uint32_t* source, uint16_t* destination) {
  std::uint16_t* out = destination;
  auto put = [&out](std::uint32_t unit) { *out++ = static_cast<std::uint16_t>(unit); };
  for (; source != nullptr && *source != 0; ++source) {
    if (*source < 0x10000) {
      put(*source);
    } else if (*source < 0x110000) {
      put(0xD800 + ((*source - 0x10000) >> 10));
      put(0xDC00 + ((*source - 0x10000) & 0x3FF));
    } else {
      put(kReplacement);
    }
  }
  *out = 0;
  return static_cast<std::int32_t>(out - destination);
}
