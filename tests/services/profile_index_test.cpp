// The index must give what the walk gives, on any text. Random texts of the bytes that mean something, and
// the shapes that a walk or an index could take too long over.
#include "compat/services/profile_index.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "compat/services/profile_text.h"

namespace nimboxi {
namespace {

using std::string_literals::operator""s;

std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    char code[5];
    std::snprintf(code, sizeof code, "\\x%02X", static_cast<unsigned char>(c));
    result += c == '\r'             ? "\\r"
              : c == '\n'           ? "\\n"
              : c > ' ' && c < 0x7F ? std::string(1, c)
                                    : std::string(code);
  }
  return result;
}

using Words = std::vector<std::string>;

// Makes texts of random words. The generator's sequence is fixed by the standard, so a seed names a text.
class TextMaker {
 public:
  TextMaker(std::uint32_t seed, Words words) : random_(seed), words_(std::move(words)) {}

  // Every other text begins with a header, so that there is something to find.
  std::string make(std::size_t maxWords) {
    std::string text = random_() % 2 == 0 ? "[A]\n" : "";
    for (std::size_t left = random_() % (maxWords + 1); left > 0; --left)
      text += words_[random_() % words_.size()];
    return text;
  }

 private:
  std::mt19937 random_;
  const Words words_;
};

// NUL is rare: it ends the text.
const Words kBytes{"[", "]",    "=", "\r", "\n", " ", "A",   "B",
                   "x", "\x80", "[", "=",  "\n", "A", "]\n", "\n\0"s};
const Words kLines{"[A]", "[B]", "[A", "[]", "[A]x=", "A=",   "B=1", "x=2", "x",    "A", "\n",
                   "\n",  "\n",  "\n", "\r", "\r\n",  "\r\n", " ",   "]",   "\x80", "=", "[x]\nB=\n"};
const Words kSections{"", "A", "B", "x", "[", "]", "=", " ", "\n", "AB", "A]", "A\n", "[A", "A\nA", "\x80"};
const Words kKeys{"",   "A",  "B",  "x",  "[",   "]",    "=",    " ",   "\r",   "\n",
                  "AB", "xA", "A]", "A=", "[A]", "[A]x", "x\nA", "x\n", "\x80", "[A\nA"};

// Compares all names on `count` texts; returns how many were found.
std::size_t compareAll(std::uint32_t seed, const Words& words, std::size_t maxWords, int count) {
  TextMaker maker(seed, words);
  std::size_t found = 0;
  for (int i = 0; i < count; ++i) {
    const std::string contents = maker.make(maxWords);
    const std::string_view text = readableText(contents);
    const ProfileIndex index(text);
    for (const std::string& section : kSections) {
      for (const std::string& key : kKeys) {
        const std::ptrdiff_t walked = FindProfileKey(text, section, key, nullptr);
        found += walked >= 0;
        if (index.find(section, key) == walked) continue;
        ADD_FAILURE() << "seed " << seed << ", text " << i << ": \"" << escaped(contents) << "\", section \""
                      << escaped(section) << "\", key \"" << escaped(key) << "\": the walk gives " << walked
                      << ", the index " << index.find(section, key);
        return found;
      }
    }
  }
  return found;
}

TEST(ProfileIndex, EqualsTheWalkOnRandomBytes) {
  EXPECT_GT(compareAll(1, kBytes, 24, 12000), 500u);
}

TEST(ProfileIndex, EqualsTheWalkOnRandomLines) {
  EXPECT_GT(compareAll(2, kLines, 24, 12000), 10000u);
}

TEST(ProfileIndex, EqualsTheWalkOnLongTexts) {
  EXPECT_GT(compareAll(3, kLines, 400, 600), 1000u);
  EXPECT_GT(compareAll(4, kBytes, 400, 600), 100u);
}

// So many names that among them, and between them and those asked for, some share a hash of 32 bits.
TEST(ProfileIndex, NamesOfEqualHashAreToldApart) {
  constexpr int kNames = 200000;
  std::string text;
  for (int i = 0; i < kNames; ++i) {
    const std::string number = std::to_string(i);
    text.append("[S").append(number).append("]\r\nk").append(number).append("=").append(number).append(
        "\r\n\r\n");
  }
  const ProfileIndex index(text);
  for (int i = 0; i < kNames; ++i) {
    const std::string number = std::to_string(i);
    const std::ptrdiff_t offset = index.find("S" + number, "k" + number);
    ASSERT_GE(offset, 0) << number;
    ASSERT_EQ(valueAt(text, static_cast<std::size_t>(offset)), number);
    ASSERT_EQ(index.find("S" + number, "absent" + number), -1) << number;
    ASSERT_EQ(index.find("absent" + number, "k" + number), -1) << number;
  }
  // One section, or sections of one name, that hold all keys: here a key of equal hash would be taken.
  for (const char* gap : {"", "\r\n[S]\r\n"}) {
    SCOPED_TRACE(escaped(gap));
    text = "[S]\r\n";
    for (int i = 0; i < kNames; ++i) text.append("k").append(std::to_string(i)).append("=1\r\n").append(gap);
    const ProfileIndex keys(text);
    for (int i = 0; i < kNames; ++i) ASSERT_EQ(keys.find("S", "absent" + std::to_string(i)), -1) << i;
  }
}

// Texts of some megabytes, on which a pass that looks ahead from every line, or a list of keys for every
// section, would not end in a day or in any memory.
TEST(ProfileIndex, HostileShapesStayLinear) {
  struct Case {
    const char* name;
    const char* word;
    std::string tail;
    const char* section;
    const char* key;
    bool found;
  };
  const Case cases[] = {
      {"headers that are never closed", "[\r\n", "[A]\r\nx=1", "A", "x", true},
      {"sections that never end", "[A]\r\nx=1\r\n", "y=2", "A", "y", true},
      {"sections that are all kept", "[A]\r\n\r\n", "[A]\r\ny=2", "A", "y", true},
      {"key lines without =", "[A]\r\nx\r\n", "y=2\r\nz=3", "A", "z", true},
      {"lines that are all swallowed", "x\r\n", "[A]\r\nz=3", "A", "z", true},
      {"one endless line", "[A] ", "", "A", "x", false},
      {"only line ends", "\r", "[A]\nx=1", "A", "x", true},
      {"more lines than are indexed", "=\r\n", "[A]\nx=1", "A", "x", true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::string text;
    const std::size_t size =
        std::string_view(c.word).starts_with("=") ? std::size_t{16} << 20 : std::size_t{2} << 20;
    while (text.size() < size) text += c.word;
    text += c.tail;
    const ProfileIndex index(text);
    const std::ptrdiff_t walked = FindProfileKey(text, c.section, c.key, nullptr);
    EXPECT_EQ(walked >= 0, c.found);
    EXPECT_EQ(index.find(c.section, c.key), walked);
  }
}

}  // namespace
}  // namespace nimboxi
