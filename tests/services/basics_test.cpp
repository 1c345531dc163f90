// What has no state but a thread's: the last error, memory blocks, byte strings and the code page. Odd
// results that callers rely on.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <thread>

#include "compat/services/errors/last_error.h"
#include "nimboxi/errors.h"
#include "nimboxi/memory.h"
#include "nimboxi/text.h"

using std::string_literals::operator""s;

// The last error, and its text as a buffer of `size` bytes takes it.
static std::string errorState(int32_t size = 64) {
  char text[64] = "untouched";
  GetLastErrorText(text, size);
  return std::to_string(GetLastError()) + " " + text;
}

TEST(ThreadState, IsSharedUntilTheStartAndThenAThreadsOwn) {
  const auto set = [](int32_t error, const char* text) {
    SetLastError(error);
    SetLastErrorText(text);
  };
  std::thread(set, -12, "other").join();
  EXPECT_EQ(errorState(), "-12 other");
  for (const char* expected : {"0 ", "31 mine"}) {
    nimboxi::createErrorStateKey();
    EXPECT_EQ(errorState(), expected);
    set(31, "mine");
    std::thread(set, -12, "other").join();
  }
  for (const int32_t size : {0, -5}) EXPECT_EQ(errorState(size), "31 untouched");
  EXPECT_EQ(errorState(1), "31 ");
  EXPECT_EQ(errorState(4), "31 min");
  SetLastErrorText(nullptr);
  EXPECT_EQ(errorState(5), "31 ");
}

TEST(MemoryBlocks, ReAllocKeepsTheBytesTheGuardsAndZeroesTheGrowth) {
  char* data = nullptr;
  std::string bytes;
  for (const int size : {0, 7, 8, 20, 0, 3, 4000, 5, 4000}) {
    SCOPED_TRACE(size);
    SetLastError(-1);
    data = static_cast<char*>(ReAllocBlock(data, size, 17));  // the lowest flag alone asks for zeroes
    bytes.resize(static_cast<std::size_t>(size), '\0');
    EXPECT_EQ(std::string(data, bytes.size()), bytes);
    EXPECT_EQ(BlockSize(data) + GetLastError(), size);
    bytes.assign(bytes.size(), 'x');
    std::memset(data, 'x', bytes.size());
    EXPECT_EQ(std::string(data - 16, 8), "\xCD\xAB\xEF\xCD\xAB\xEF\xCD\xAB");
    EXPECT_EQ(std::string(data + size / 8 * 8 + 8, 8), "\xBA\xDC\xFE\xBA\xDC\xFE\xBA\xDC");
  }
  EXPECT_TRUE(LockBlock(data) == data && !UnlockBlockResult(data) && BlockHandle(data) == data);
  FreeBlock(data);
  FreeBlock(nullptr);
  EXPECT_TRUE(LockBlock(nullptr) == nullptr && UnlockBlockResult(nullptr));
  EXPECT_TRUE(BlockSize(nullptr) == 0 && CompactBlocks() == 0 && SetModeWord(7) == 0 && SetModeWord(0) == 7);
}

TEST(MemoryBlocks, NegativeSizesAreRefusedAndLeaveTheBlockAlone) {
  for (const std::int32_t size : {-1, -32, INT_MIN}) {
    EXPECT_EQ(AllocBlock(BLOCK_ZEROED, size), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    auto* text = static_cast<char*>(AllocBlock(BLOCK_ZEROED, 5));
    EXPECT_EQ(GetLastError(), 0);
    CopyMemory(text, "abc", 3);
    EXPECT_EQ(ReAllocBlock(text, size, 0), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    CopyMemory(text + 1, text, 3);  // they overlap
    CopyMemory(text, "XX", size);
    FillMemory(text, size, 'q');
    FillMemory(text, 1, 'z');
    EXPECT_STREQ(text, "zabc");
    text = static_cast<char*>(ReAllocBlock(text, 4096, 0));
    EXPECT_STREQ(text, "zabc");
    FreeBlock(text);
    FreeBlock(AllocBlock(0, 5));
  }
}

// Pins(product-wraps)
TEST(MemoryBlocks, MulDivWrapsItsProductAndNeverTraps) {
  EXPECT_EQ(MulDiv(5, 6, 0), 0) << "a division by 0 gives 0";
  EXPECT_EQ(MulDiv(-7, 1, 2), -3) << "the quotient is cut toward zero";
  EXPECT_EQ(MulDiv(100000, 100000, 100000), 14100) << "the product wraps to 1410065408";
  EXPECT_EQ(MulDiv(INT_MIN, 1, -1), INT_MIN) << "the smallest product over -1 wraps back";
}

// Pins(copy-without-nul)
TEST(Text, Copies) {
  auto copied = [](DWORD count) {
    std::string buffer(8, 'z');
    EXPECT_EQ(lstrcpyn(buffer.data(), "abcdef", count), buffer.data());
    return buffer;
  };
  EXPECT_EQ(copied(5), "abcdefzz") << "the count stops in front of the NUL";
  EXPECT_EQ(copied(6), "abcdef\0z"s) << "the NUL is the last byte counted";
  EXPECT_EQ(copied(UINT_MAX), "abcdef\0z"s) << "the largest count does not wrap";
  char text[] = "abc\0....";
  EXPECT_STREQ(lstrcat(lstrcpy(text + 1, text), "d"), "abcd") << "over itself";
  for (BOOL (*const copy)(const char*, char*, DWORD) : {CharToOemBuff, OemToCharBuff}) {
    std::string buffer(5, 'z');
    EXPECT_TRUE(CharToOem("a\xE9", buffer.data()) && OemToChar("b", buffer.data()));
    EXPECT_EQ(buffer, "b\xE9zzz") << "no terminator is added";
    EXPECT_TRUE(copy("q\0r", buffer.data(), 4) && copy("xyz", buffer.data() + 3, 1));
    EXPECT_EQ(buffer, "q\xE9zxz") << "what stands behind the NUL is not read";
  }
}

// Pins(reversed-compare) Pins(zero-count-unlimited) Pins(ascii-folding)
TEST(Text, Comparisons) {
  EXPECT_EQ(lstrcmp("abc", "ab"), -1) << "the opposite sign of strcmp";
  EXPECT_TRUE(lstrcmp("a", "\xE0") == 1 && lstrcmp("ab", "ab") == 0);
  EXPECT_EQ(StrNCmpI("ABCz", "abcx", 0), 2) << "count 0 compares all";
  EXPECT_EQ(StrNCmpI("ABx", "aby", 2), 0);
  EXPECT_EQ(StrNCmpI("Z\0x", "z\0y", 9), 0) << "the end of both comes first";
  EXPECT_EQ(lstrcmpi("ab", "abc"), -'c');
  EXPECT_EQ(lstrcmpi("\xC0", "\xE0"), -32) << "accents differ by case";
  EXPECT_EQ(lstrcmpi("@", "`") + lstrcmpi("[", "{"), -64) << "as do the neighbours of the letters";
}

TEST(Text, NumbersInEveryRadix) {
  const auto text = [](int32_t value, int32_t radix) {
    std::string buffer(40, '#');
    return std::string(IntToText(value, buffer.data(), radix));
  };
  EXPECT_EQ(text(INT_MIN, 10), "-2147483648");
  EXPECT_EQ(text(0, 10) + text(-1, 36), "01z141z3");
  EXPECT_EQ(text(-1, 2), std::string(32, '1'));
  for (const int radix : {0, 1, 37, -10}) EXPECT_EQ(text(7, radix), "") << radix;
}

// Pins(sign-extended-upper)
TEST(Text, CaseIsThatOfThePage) {
  auto upper = [](std::uintptr_t value) {
    return reinterpret_cast<intptr_t>(CharUpper(reinterpret_cast<char*>(value)));
  };
  EXPECT_EQ(upper(0xE9), static_cast<std::int8_t>(0xC9)) << "a character comes back sign-extended";
  EXPECT_EQ(upper(0xFF61), 'A') << "without its high byte";
  for (const char letter : "AZaz"s) EXPECT_TRUE(IsCharAlpha(static_cast<DWORD>(letter)));
  for (const DWORD other : {0x40u, 0x5Bu, 0x60u, 0x7Bu, 0xC0u, 0x141u}) EXPECT_FALSE(IsCharAlpha(other));
  std::string bytes;
  for (int i = 1; i <= 256; ++i) bytes += static_cast<char>(i % 256);
  std::string lower = bytes + "A", upperCase = bytes + "a";
  EXPECT_EQ(CharLowerBuff(lower.data(), 256) + CharUpperBuff(upperCase.data(), 256), 512U);
  EXPECT_TRUE(lower.ends_with('A') && upperCase.ends_with('a')) << "what is beyond the count stays";
  std::string fromUpper, toLower, toUpper;
  for (std::size_t i = 0; i < 256; ++i) {
    if (lower[i] != bytes[i]) fromUpper += bytes[i];
    if (lower[i] != bytes[i]) toLower += lower[i];
    if (upperCase[i] != bytes[i]) toUpper += upperCase[i];
  }
  EXPECT_EQ(toLower,
            "abcdefghijklmnopqrstuvwxyz\x9A\x9C\x9E\xFF\xE0\xE1\xE2\xE3\xE4\xE5\xE6\xE7\xE8\xE9\xEA\xEB\xEC"
            "\xED\xEE\xEF\xF0\xF1\xF2\xF3\xF4\xF5\xF6\xF8\xF9\xFA\xFB\xFC\xFD\xFE");
  EXPECT_EQ(toUpper.size(), toLower.size());
  EXPECT_EQ(CharUpper(toLower.data()), fromUpper) << "it comes back";
}

TEST(CodePage, EveryByteBecomesItsCharacterAndComesBack) {
  std::string bytes;
  for (int i = 0x80; i < 256; ++i) bytes += static_cast<char>(i);
  char* utf8 = AnsiToUtf8Dup(bytes.c_str());  // has room for it all
  EXPECT_STREQ(utf8,
               "€¿‚ƒ„…†‡ˆ‰Š‹Œ¿Ž¿¿‘’“”•–—˜™š›œ¿žŸ\u00A0¡¢£¤¥¦§¨©ª«¬\u00AD®¯°±²³´µ¶·¸¹º»¼½¾¿"
               "ÀÁÂÃÄÅÆÇÈÉÊËÌÍÎÏÐÑÒÓÔÕÖ×ØÙÚÛÜÝÞßàáâãäåæçèéêëìíîïðñòóôõö÷øùúûüýþÿ");
  char* back = Utf8ToAnsiDup(utf8);
  for (const unsigned undefined : {0x81u, 0x8Du, 0x8Fu, 0x90u, 0x9Du}) bytes[undefined - 0x80] = '\xBF';
  EXPECT_EQ(back, bytes);
  std::free(utf8);
  std::free(back);
}

// Pins(unchecked-continuation)
TEST(CodePage, ForeignAndBrokenUtf8) {
  auto toAnsi = [](const char* utf8) {
    std::string ansi(16, '#');
    const int length = Utf8ToAnsi(utf8, ansi.data());
    return std::to_string(length) + ansi.c_str();
  };
  EXPECT_EQ(toAnsi("\xC2\x81"), "1\xBF") << "a control code that the page does not have";
  EXPECT_EQ(toAnsi("\xE2\x98\x83"), "1\xBF") << "a character beyond all that the page has";
  EXPECT_EQ(toAnsi("\xC3)"), "1\xE9") << "continuation bytes are not checked";
  EXPECT_EQ(toAnsi("\x83\xA9x"), "2\xE9x") << "a stray continuation byte starts a two-byte form";
  EXPECT_EQ(toAnsi("\xF8\xFF!"), "3\xF8\xFF!") << "0xF8 and above stand for themselves";
  EXPECT_EQ(toAnsi("a\xF0\x80\x83"), "2a\xC0") << "the end inside a four-byte form";
  EXPECT_EQ(toAnsi(nullptr), "0");
  std::uint32_t wide = 1;
  char narrow[] = "#";
  EXPECT_EQ(AnsiToUtf8(nullptr, narrow) + Utf8ToUtf32(nullptr, &wide) + narrow[0] + static_cast<int>(wide),
            0);
  std::uint16_t unit = 1;
  EXPECT_EQ(Utf32ToUtf8(nullptr, narrow) + Utf32ToUtf16(nullptr, &unit) + narrow[0] + unit, 0);
  EXPECT_TRUE(AnsiToUtf8Dup(nullptr) == nullptr && Utf8ToAnsiDup(nullptr) == nullptr);
}

TEST(CodePage, Utf32AtTheBoundsOfEveryLength) {
  const std::vector<std::uint32_t> source{0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0x10000, 0x1FFFFF, 0x200000, 0};
  std::string utf8(30, '#');
  EXPECT_EQ(Utf32ToUtf8(source.data(), utf8.data()), 1 + 2 + 2 + 3 + 3 + 4 + 4 + 1);
  EXPECT_STREQ(utf8.c_str(),
               "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF7\xBF\xBF\xBF\xBF");
  std::vector<std::uint32_t> back(8, 1);
  utf8[19] = '\0';  // without the replacement, which is no UTF-8
  EXPECT_EQ(Utf8ToUtf32(utf8.c_str(), back.data()), 7);
  EXPECT_EQ(back, (std::vector<std::uint32_t>{0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0x10000, 0x1FFFFF, 0}));
  const std::uint32_t wide[] = {0xFFFF, 0x10000, 0x1F600, 0x10FFFF, 0xD800, 0x110000, 0xFFFFFFFF, 0};
  std::vector<std::uint16_t> units(11, 1);
  EXPECT_EQ(Utf32ToUtf16(wide, units.data()), 10);
  EXPECT_EQ(units, (std::vector<std::uint16_t>{0xFFFF, 0xD800, 0xDC00, 0xD83D, 0xDE00, 0xDBFF, 0xDFFF, 0xD800,
                                               0xBF, 0xBF, 0}));
}
