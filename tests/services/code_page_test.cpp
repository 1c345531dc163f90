// The code page: case, the way to Unicode and back, and what broken or foreign text turns into.
#include "compat/services/code_page.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "nimboxi/text.h"

namespace nimboxi {
namespace {

TEST(CodePage, CaseTablesAreInverse) {
  struct Pair {
    std::uint8_t upper, lower;
  };
  int changed = 0;
  for (int i = 0; i < 256; ++i) {
    const auto byte = static_cast<std::uint8_t>(i);
    if (toUpperAnsi(byte) != byte) {
      ++changed;
      EXPECT_EQ(toLowerAnsi(toUpperAnsi(byte)), byte);
    }
    if (toLowerAnsi(byte) != byte) {
      EXPECT_EQ(toUpperAnsi(toLowerAnsi(byte)), byte);
    }
  }
  EXPECT_EQ(changed, 26 + 4 + 30);  // a to z, four strays, 0xE0 to 0xFE without the division sign
  for (const Pair& p : {Pair{'A', 'a'}, Pair{0x8A, 0x9A}, Pair{0x8C, 0x9C}, Pair{0x8E, 0x9E},
                        Pair{0x9F, 0xFF}, Pair{0xC0, 0xE0}, Pair{0xDE, 0xFE}}) {
    EXPECT_EQ(toUpperAnsi(p.lower), p.upper);
    EXPECT_EQ(toLowerAnsi(p.upper), p.lower);
  }
  for (const char letter : {'\xD7', '\xF7', '\xDF', '\x83', '\xB5', '\x80'}) {
    EXPECT_EQ(toUpperAnsi(static_cast<std::uint8_t>(letter)), static_cast<std::uint8_t>(letter));
    EXPECT_EQ(toLowerAnsi(static_cast<std::uint8_t>(letter)), static_cast<std::uint8_t>(letter));
  }
}

TEST(CodePage, EveryDefinedByteComesBackFromUtf8) {
  for (int i = 1; i < 256; ++i) {
    SCOPED_TRACE(i);
    const char source[2] = {static_cast<char>(i), '\0'};
    char utf8[4];
    char back[4];
    const int length = AnsiToUtf8(source, utf8);
    EXPECT_EQ(length, static_cast<int>(std::string(utf8).size()));
    EXPECT_EQ(Utf8ToAnsi(utf8, back), 1);
    const bool undefined = i == 0x81 || i == 0x8D || i == 0x8F || i == 0x90 || i == 0x9D;
    EXPECT_EQ(back[0], undefined ? '\xBF' : source[0]);
  }
}

TEST(CodePage, FromUtf8) {
  struct Case {
    const char* name;
    const char* utf8;
    const char* ansi;
  };
  const Case cases[] = {
      {"the euro sign", "\xE2\x82\xAC", "\x80"},
      {"a letter beyond the page", "\xC4\x80", "\xBF"},
      {"a control code that the page does not have", "\xC2\x81", "\xBF"},
      {"four bytes", "a\xF0\x9F\x98\x80z", "a\xBFz"},
      {"continuation bytes are not checked", "\xC3)", "\xE9"},
      {"a stray continuation byte starts a two-byte form", "\x83\xA9x", "\xE9x"},
      {"0xF8 and above stand for themselves", "\xF8\xFF!", "\xF8\xFF!"},
      {"the end inside a two-byte form", "a\xC3", "a\xC0"},
      {"the end inside a three-byte form", "a\xE0\x83", "a\xC0"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    char ansi[16];
    EXPECT_EQ(Utf8ToAnsi(c.utf8, ansi), static_cast<int>(std::string(c.ansi).size()));
    EXPECT_STREQ(ansi, c.ansi);
  }
}

TEST(CodePage, DecodingStopsAtTheEndOfTheText) {
  struct Case {
    const char* utf8;
    std::uint32_t codePoint;
    int used;
  };
  for (const Case& c :
       {Case{"\xE2", 0x2000, 0}, Case{"\xE2\x82", 0x2080, 1}, Case{"\xE2\x82\xAC", 0x20AC, 2},
        Case{"\xF0\x9F", 0x1F000, 1}, Case{"\xF7\xBF\xBF\xBF", 0x1FFFFF, 3}, Case{"\xC3", 0xC0, 0}}) {
    SCOPED_TRACE(c.codePoint);
    std::uint32_t codePoint = 0;
    EXPECT_EQ(DecodeUtf8Char(c.utf8 + 1, static_cast<BYTE>(c.utf8[0]), &codePoint), c.utf8 + 1 + c.used);
    EXPECT_EQ(codePoint, c.codePoint);
  }
}

TEST(CodePage, Utf32BothWays) {
  const std::vector<std::uint32_t> source{'a',      0x7FF,    0x800,    0xFFFF, 0x10000,
                                          0x110000, 0x1FFFFF, 0x200000, 0};
  char utf8[40];
  EXPECT_EQ(Utf32ToUtf8(source.data(), utf8), 1 + 2 + 3 + 3 + 4 + 4 + 4 + 1);
  EXPECT_STREQ(utf8, "a\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x90\x80\x80\xF7\xBF\xBF\xBF\xBF");
  std::uint32_t back[16];
  utf8[21] = '\0';  // without the replacement, which is no UTF-8
  EXPECT_EQ(Utf8ToUtf32(utf8, back), 7);
  EXPECT_EQ(std::vector<std::uint32_t>(back, back + 7),
            std::vector<std::uint32_t>(source.begin(), source.end() - 2));
  EXPECT_EQ(back[7], 0u);
}

TEST(CodePage, Utf16SurrogatesAndReplacement) {
  const std::uint32_t source[] = {0x1F600, 0x10FFFF, 0xD800, 0x110000, 0xFFFFFFFF, 0};
  std::uint16_t units[9];
  EXPECT_EQ(Utf32ToUtf16(source, units), 7);
  const std::vector<std::uint16_t> expected{0xD83D, 0xDE00, 0xDBFF, 0xDFFF, 0xD800, 0xBF, 0xBF, 0};
  EXPECT_EQ(std::vector<std::uint16_t>(units, units + 8), expected);
}

TEST(CodePage, NullSourcesGiveEmptyResults) {
  char bytes[4] = "xxx";
  EXPECT_EQ(Utf8ToAnsi(nullptr, bytes), 0);
  EXPECT_EQ(bytes[0], '\0');
  bytes[0] = 'x';
  EXPECT_EQ(AnsiToUtf8(nullptr, bytes), 0);
  EXPECT_EQ(bytes[0], '\0');
  bytes[0] = 'x';
  EXPECT_EQ(Utf32ToUtf8(nullptr, bytes), 0);
  EXPECT_EQ(bytes[0], '\0');
  std::uint32_t wide[1] = {7};
  EXPECT_EQ(Utf8ToUtf32(nullptr, wide), 0);
  EXPECT_EQ(wide[0], 0u);
  std::uint16_t units[1] = {7};
  EXPECT_EQ(Utf32ToUtf16(nullptr, units), 0);
  EXPECT_EQ(units[0], 0u);
  EXPECT_EQ(Utf8ToAnsiDup(nullptr), nullptr);
  EXPECT_EQ(AnsiToUtf8Dup(nullptr), nullptr);
}

TEST(CodePage, CopiesHaveRoomForTheirText) {
  struct Free {
    void operator()(char* text) const { std::free(text); }
  };
  std::unique_ptr<char, Free> utf8(AnsiToUtf8Dup("\x80\x80\xE9z"));
  EXPECT_STREQ(utf8.get(), "\xE2\x82\xAC\xE2\x82\xAC\xC3\xA9z");
  std::unique_ptr<char, Free> ansi(Utf8ToAnsiDup(utf8.get()));
  EXPECT_STREQ(ansi.get(), "\x80\x80\xE9z");
  std::unique_ptr<char, Free> empty(AnsiToUtf8Dup(""));
  EXPECT_STREQ(empty.get(), "");
}

}  // namespace
}  // namespace nimboxi
