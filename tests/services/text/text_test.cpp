// Byte strings: the odd results that callers rely on.
#include "nimboxi/text.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

using std::string_literals::operator""s;

// Pins(copy-without-nul)
TEST(Text, CopyWithCountTakesOneByteMoreAndNoTerminator) {
  auto copied = [](DWORD count) {
    std::string buffer(8, 'z');
    lstrcpyn(buffer.data(), "abcdef", count);
    return buffer;
  };
  EXPECT_EQ(copied(5), "abcdefzz") << "the count stops in front of the NUL";
  EXPECT_EQ(copied(6), "abcdef\0z"s) << "the NUL is the last byte counted";
  EXPECT_EQ(copied(UINT_MAX), "abcdef\0z"s) << "the largest count does not wrap";
}

// Pins(reversed-compare) Pins(zero-count-unlimited) Pins(ascii-folding)
TEST(Text, Comparisons) {
  EXPECT_EQ(lstrcmp("abc", "ab"), -1) << "the opposite sign of strcmp";
  EXPECT_EQ(lstrcmp("a", "\xE0"), 1);
  EXPECT_EQ(lstrcmp("ab", "ab"), 0);
  EXPECT_EQ(StrNCmpI("ABCz", "abcx", 0), 2) << "count 0 compares all";
  EXPECT_EQ(StrNCmpI("ABx", "aby", 2), 0);
  EXPECT_EQ(StrNCmpI("Z\0x", "z\0y", 9), 0) << "the end of both comes first";
  EXPECT_EQ(lstrcmpi("ab", "abc"), -'c');
  EXPECT_EQ(lstrcmpi("\xC0", "\xE0"), -32) << "accents differ by case";
  EXPECT_EQ(lstrcmpi("[", "{"), -32) << "as do the neighbours of the letters";
}

TEST(Text, NumbersInEveryRadix) {
  char buffer[34] = "junk";
  EXPECT_STREQ(IntToText(INT_MIN, buffer, 10), "-2147483648");
  EXPECT_STREQ(IntToText(0, buffer, 10), "0");
  EXPECT_STREQ(IntToText(-1, buffer, 2), "11111111111111111111111111111111");
  EXPECT_STREQ(IntToText(-1, buffer, 36), "1z141z3");
  for (const int radix : {0, 1, 37, -10}) EXPECT_STREQ(IntToText(7, buffer, radix), "") << radix;
}

// Pins(sign-extended-upper)
TEST(Text, UpperCaseOfACharacterIsSignExtended) {
  auto upper = [](std::uintptr_t value) {
    return reinterpret_cast<std::intptr_t>(CharUpper(reinterpret_cast<char*>(value)));
  };
  EXPECT_EQ(upper(0xE9), static_cast<std::int8_t>(0xC9));
  EXPECT_EQ(upper(0xFF61), 'A') << "the high byte of a character is dropped";
  for (const DWORD other : {0x40u, 0x5Bu, 0x60u, 0x7Bu, 0xC0u, 0x141u}) EXPECT_FALSE(IsCharAlpha(other));
}

TEST(Text, OemCopiesAddNoTerminator) {
  std::string buffer(5, 'z');
  EXPECT_TRUE(CharToOem("a\xE9", buffer.data()));
  EXPECT_TRUE(CharToOemBuff("q", buffer.data(), 4));
  EXPECT_EQ(buffer, "q\xE9zzz") << "what stands behind the NUL is not read";
}
