// The code page: case, the way to Unicode and back, and what broken or foreign text turns into.
#include "compat/services/text/code_page.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "nimboxi/text.h"

using namespace nimboxi;

TEST(CodePage, CaseIsThatOfThePageAndComesBack) {
  std::string changed;
  for (int i = 0x80; i < 256; ++i) {
    const auto byte = static_cast<std::uint8_t>(i);
    if (toLowerAnsi(byte) == byte) continue;
    changed += static_cast<char>(toLowerAnsi(byte));
    EXPECT_EQ(toUpperAnsi(toLowerAnsi(byte)), byte);
  }
  EXPECT_EQ(changed,
            "\x9A\x9C\x9E\xFF\xE0\xE1\xE2\xE3\xE4\xE5\xE6\xE7\xE8\xE9\xEA\xEB\xEC\xED\xEE\xEF"
            "\xF0\xF1\xF2\xF3\xF4\xF5\xF6\xF8\xF9\xFA\xFB\xFC\xFD\xFE");
  for (const int byte : {0xDF, 0xF7, 0x83}) EXPECT_EQ(toUpperAnsi(static_cast<std::uint8_t>(byte)), byte);
}

TEST(CodePage, EveryByteBecomesItsCharacterAndComesBack) {
  std::string bytes;
  for (int i = 0x80; i < 256; ++i) bytes += static_cast<char>(i);
  char* utf8 = AnsiToUtf8Dup(bytes.c_str());  // has room for it all
  EXPECT_STREQ(utf8,
               "€¿‚ƒ„…†‡ˆ‰Š‹Œ¿Ž¿¿‘’“”•–—˜™š›œ¿žŸ\u00A0¡¢£¤¥¦§¨©ª«¬\u00AD®¯°±²³´µ¶·¸¹º»¼½¾¿"
               "ÀÁÂÃÄÅÆÇÈÉÊËÌÍÎÏÐÑÒÓÔÕÖ×ØÙÚÛÜÝÞßàáâãäåæçèéêëìíîïðñòóôõö÷øùúûüýþÿ");
  char back[129];
  EXPECT_EQ(Utf8ToAnsi(utf8, back), 128);
  for (const unsigned undefined : {0x81u, 0x8Du, 0x8Fu, 0x90u, 0x9Du}) bytes[undefined - 0x80] = '\xBF';
  EXPECT_EQ(back, bytes);
  std::free(utf8);
}

// Pins(unchecked-continuation)
TEST(CodePage, ForeignAndBrokenUtf8) {
  auto toAnsi = [](const char* utf8) {
    char ansi[16];
    return std::string(ansi, ansi + Utf8ToAnsi(utf8, ansi));
  };
  EXPECT_EQ(toAnsi("\xC2\x81"), "\xBF") << "a control code that the page does not have";
  EXPECT_EQ(toAnsi("\xC3)"), "\xE9") << "continuation bytes are not checked";
  EXPECT_EQ(toAnsi("\x83\xA9x"), "\xE9x") << "a stray continuation byte starts a two-byte form";
  EXPECT_EQ(toAnsi("\xF8\xFF!"), "\xF8\xFF!") << "0xF8 and above stand for themselves";
  EXPECT_EQ(toAnsi("a\xF0\x80\x83"), "a\xC0") << "the end inside a four-byte form";
}

TEST(CodePage, Utf32AtTheBoundsOfEveryLength) {
  const std::vector<std::uint32_t> source{0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0x10000, 0x1FFFFF, 0x200000, 0};
  char utf8[40];
  EXPECT_EQ(Utf32ToUtf8(source.data(), utf8), 1 + 2 + 2 + 3 + 3 + 4 + 4 + 1);
  EXPECT_STREQ(utf8, "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF7\xBF\xBF\xBF\xBF");
  std::uint32_t back[16];
  utf8[19] = '\0';  // without the replacement, which is no UTF-8
  EXPECT_EQ(Utf8ToUtf32(utf8, back), 7);
  EXPECT_EQ(std::vector(back, back + 7), std::vector(source.begin(), source.begin() + 7));
  const std::uint32_t wide[] = {0x1F600, 0x10FFFF, 0xD800, 0x110000, 0xFFFFFFFF, 0};
  const std::vector<std::uint16_t> surrogates{0xD83D, 0xDE00, 0xDBFF, 0xDFFF, 0xD800, 0xBF, 0xBF, 0};
  std::uint16_t units[8];
  EXPECT_EQ(Utf32ToUtf16(wide, units), 7);
  EXPECT_EQ(std::vector<std::uint16_t>(units, units + 8), surrogates);
}
