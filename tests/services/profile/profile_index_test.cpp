// The index must give what the walk gives, on any text. Random texts of the bytes that mean something, and
// the shapes that a walk or an index could take too long over.
#include "compat/services/profile/profile_index.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "compat/services/profile/profile_text.h"

using namespace nimboxi;

namespace {

using std::string_literals::operator""s;
using Words = std::vector<std::string>;

// NUL is rare: it ends the text.
const Words kBytes{"[", "]",    "=", "\r", "\n", " ", "A",   "B",
                   "x", "\x80", "[", "=",  "\n", "A", "]\n", "\n\0"s};
const Words kLines{"[A]", "[B]", "[A", "[]", "[A]x=", "A=",   "B=1", "x=2", "x",    "A", "\n",
                   "\n",  "\n",  "\n", "\r", "\r\n",  "\r\n", " ",   "]",   "\x80", "=", "[x]\nB=\n"};
const Words kNames{"",   "A",  "B",   "x",  "[",   "]",    "=",    " ",   "\r",   "\n",   "AB",   "xA",
                   "A]", "A=", "A\n", "[A", "[A]", "[A]x", "x\nA", "x\n", "A\nA", "\x80", "[A\nA"};

// Compares all names on `count` texts of random words; returns how many were found. The generator's sequence
// is fixed by the standard, so a seed names its texts.
int compareAll(std::uint32_t seed, const Words& words, std::size_t maxWords, int count) {
  std::mt19937 random(seed);
  int found = 0;
  while (count-- > 0 && !testing::Test::HasFailure()) {
    std::string contents = random() % 2 == 0 ? "[A]\n" : "";
    for (std::size_t n = random() % (maxWords + 1); n > 0; --n) contents += words[random() % words.size()];
    const std::string_view text = readableText(contents);
    const ProfileIndex index(text);
    for (const std::string& section : kNames) {
      for (const std::string& key : kNames) {
        const std::ptrdiff_t walked = FindProfileKey(text, section, key, nullptr);
        found += walked >= 0;
        EXPECT_EQ(index.find(section, key), walked) << testing::PrintToString(Words{contents, section, key});
      }
    }
  }
  return found;
}

}  // namespace

TEST(ProfileIndex, EqualsTheWalk) {
  EXPECT_GT(compareAll(1, kBytes, 24, 8000), 500);
  EXPECT_GT(compareAll(2, kLines, 24, 8000), 5000);
  EXPECT_GT(compareAll(3, kLines, 400, 400), 1000);
}

// So many names that among them, and between them and those asked for, some share a hash of 32 bits.
TEST(ProfileIndex, NamesOfEqualHashAreToldApart) {
  constexpr int kCount = 200000;
  std::string text = "[S]\n";  // one section of many keys
  for (int i = 0; i < kCount; ++i) text += "k" + std::to_string(i) + "=1\n";
  for (int i = 0; i < kCount; ++i) text += "\n\n[S" + std::to_string(i) + "]\nk=1\n";
  const ProfileIndex index(text);
  for (int i = 0; i < kCount; ++i) {
    ASSERT_EQ(index.find("S", "absent" + std::to_string(i)), -1);
    ASSERT_EQ(index.find("absent" + std::to_string(i), "k"), -1);
  }
}

// Texts of some megabytes, on which a pass that looks ahead from every line, or a list of keys for every
// section, would not end in a day or in any memory.
TEST(ProfileIndex, HostileShapesStayLinear) {
  const auto expectLastByte = [](const char* word, const char* tail, std::size_t megabytes) {
    std::string text;
    while (text.size() < megabytes << 20) text += word;
    text += tail;
    EXPECT_EQ(ProfileIndex(text).find("A", "x"), static_cast<std::ptrdiff_t>(text.size() - 1)) << word;
  };
  expectLastByte("[\r\n", "[A]\r\nx=1", 2);         // headers that are never closed
  expectLastByte("[A]\r\ny=1\r\n", "x=2", 2);       // sections that never end
  expectLastByte("[A]\r\ny\r\n", "y=2\r\nx=3", 2);  // lines that are all swallowed
  expectLastByte("=\r\n", "[A]\nx=1", 16);          // more lines than are indexed
}
