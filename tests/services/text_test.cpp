// Byte strings: the odd results that callers rely on.
#include "nimboxi/text.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace {

TEST(Text, CopiesReturnTheirDestination) {
  char buffer[16] = "xxxxxxxxxxxxxxx";
  EXPECT_EQ(lstrcpy(buffer, "ab"), buffer);
  EXPECT_EQ(lstrcat(buffer, "cd"), buffer);
  EXPECT_STREQ(buffer, "abcd");
  EXPECT_EQ(lstrlen(buffer), 4);
  lstrcpy(buffer, buffer + 1);
  EXPECT_STREQ(buffer, "bcd");
}

TEST(Text, CopyWithCountTakesOneByteMoreAndNoTerminator) {
  struct Case {
    const char* name;
    DWORD count;
    std::string result;
  };
  const Case cases[] = {
      {"count 3 copies four bytes", 3, "abcdzzzz"},
      {"count 0 copies one byte", 0, "azzzzzzz"},
      {"the count stops in front of the NUL", 5, "abcdefzz"},
      {"the NUL is the last byte counted", 6, std::string("abcdef\0z", 8)},
      {"the largest count does not wrap", UINT_MAX, std::string("abcdef\0z", 8)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::string buffer(8, 'z');
    lstrcpyn(buffer.data(), "abcdef", c.count);
    EXPECT_EQ(buffer, c.result);
  }
}

TEST(Text, ComparisonHasTheOppositeSignOfStrcmp) {
  struct Case {
    const char* first;
    const char* second;
    int result;
  };
  for (const Case& c : {Case{"abc", "abd", 1}, Case{"abd", "abc", -1}, Case{"ab", "abc", 1},
                        Case{"abc", "ab", -1}, Case{"", "", 0}, Case{"Ab", "ab", 1}, Case{"a", "\xE0", 1}}) {
    SCOPED_TRACE(std::string(c.first) + "," + c.second);
    EXPECT_EQ(lstrcmp(c.first, c.second), c.result);
  }
}

TEST(Text, FoldedComparisonKnowsAsciiLettersAlone) {
  struct Case {
    const char* first;
    const char* second;
    DWORD count;
    int result;
  };
  const Case cases[] = {
      {"ABC", "abc", 0, 0},   {"\xC0", "\xE0", 0, -32}, {"[", "{", 0, -32},
      {"ab", "abc", 0, -'c'}, {"Zb", "za", 0, 1},       {"ABx", "aby", 2, 0},
      {"ABx", "aby", 3, -1},  {"a", "A", 9, 0},         {"a", "\xE0", 0, 97 - 224},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.first) + "," + c.second);
    EXPECT_EQ(StrNCmpI(c.first, c.second, c.count), c.result);
    if (c.count == 0) {
      EXPECT_EQ(lstrcmpi(c.first, c.second), c.result);
    }
  }
}

TEST(Text, NumbersInEveryRadix) {
  struct Case {
    std::int32_t value, radix;
    const char* text;
  };
  const Case cases[] = {
      {-42, 10, "-42"},
      {0, 10, "0"},
      {INT_MIN, 10, "-2147483648"},
      {INT_MAX, 10, "2147483647"},
      {-1, 16, "ffffffff"},
      {-1, 2, "11111111111111111111111111111111"},
      {35, 36, "z"},
      {-1, 36, "1z141z3"},
      {7, 0, ""},
      {7, 1, ""},
      {7, 37, ""},
      {7, -10, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    char buffer[34] = "junk";
    EXPECT_EQ(IntToText(c.value, buffer, c.radix), buffer);
    EXPECT_STREQ(buffer, c.text);
  }
}

TEST(Text, OnlyAsciiLettersAreAlpha) {
  for (const DWORD letter : {0x41u, 0x5Au, 0x61u, 0x7Au}) EXPECT_TRUE(IsCharAlpha(letter)) << letter;
  for (const DWORD other : {0x40u, 0x5Bu, 0x60u, 0x7Bu, 0xC0u, 0x141u, 0x80000041u, 0u}) {
    EXPECT_FALSE(IsCharAlpha(other)) << other;
  }
}

TEST(Text, UpperCaseOfACharacterIsSignExtended) {
  auto upper = [](std::uintptr_t value) {
    return reinterpret_cast<std::intptr_t>(CharUpper(reinterpret_cast<char*>(value)));
  };
  EXPECT_EQ(upper(0xE9), static_cast<std::int8_t>(0xC9));
  EXPECT_EQ(upper('a'), 'A');
  EXPECT_EQ(upper(0x1261), 'A') << "the high byte of a character is dropped";
  EXPECT_EQ(upper(0xFFFF), static_cast<std::int8_t>(0x9F));
  EXPECT_EQ(upper(0), 0);
}

TEST(Text, StringsAreConvertedInPlace) {
  char text[] = "a\xDF\xE9z1";
  EXPECT_EQ(CharUpper(text), text);
  EXPECT_STREQ(text, "A\xDF\xC9Z1");
  EXPECT_EQ(CharLowerBuff(text, 3), 3u);
  EXPECT_STREQ(text, "a\xDF\xE9Z1");
  EXPECT_EQ(CharUpperBuff(text, 2), 2u);
  EXPECT_STREQ(text, "A\xDF\xE9Z1");
}

TEST(Text, OemCopiesAddNoTerminator) {
  std::string buffer(5, 'z');
  EXPECT_TRUE(CharToOem("a\xE9", buffer.data()));
  EXPECT_EQ(buffer, "a\xE9zzz");
  EXPECT_TRUE(OemToChar("b", buffer.data()));
  EXPECT_EQ(buffer, "b\xE9zzz");
  EXPECT_TRUE(CharToOemBuff("xyz", buffer.data(), 2));
  EXPECT_EQ(buffer, "xyzzz");
  EXPECT_TRUE(OemToCharBuff("q", buffer.data(), 4));
  EXPECT_EQ(buffer, "qyzzz");
}

}  // namespace
