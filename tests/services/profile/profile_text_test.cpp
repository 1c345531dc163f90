// The profile format, trap by trap: what a lookup finds, where a write cuts, what a section read copies.
#include "compat/services/profile/profile_text.h"

#include <gtest/gtest.h>

#include <string>

#include "compat/services/profile/profile_index.h"

using namespace nimboxi;

namespace {

using std::string_literals::operator""s;

// The file that a write makes: "<value>" where a key line is replaced, "|" where a new one goes, "+" where a
// new section goes. The index has to find what the walk finds.
std::string lookUpAndCut(const std::string& contents, const std::string& section, const std::string& key) {
  const std::string_view text = readableText(contents);
  const std::ptrdiff_t offset = FindProfileKey(text, section, key, nullptr);
  EXPECT_EQ(ProfileIndex(text).find(section, key), offset);
  const ProfileCut cut = cutProfile(contents, section, key);
  std::string mark = cut.newSection ? "+" : "|";
  if (offset >= 0) mark = "<" + std::string(valueAt(text, static_cast<std::size_t>(offset))) + ">";
  return std::string(cut.head) + mark + std::string(cut.rest) + std::string(cut.unread);
}

}  // namespace

// Pins(header-in-section) Pins(double-lf) Pins(signed-first-byte) Pins(line-without-equals)
// Pins(write-skips-one-lf)
TEST(ProfileText, LookupsAndCuts) {
  const struct {
    std::string name, text, section, key, marks;
  } cases[] = {
      {"names know their case", "[a]\nX=0\n[A]\nx=1\nX=2", "A", "X", "[a]\nX=0\n[A]\nx=1\n<2>"},
      {"a longer name does not match", "[AB]\nx=1\n", "A", "x", "[AB]\nx=1\n+"},
      {"blanks belong to key and value", "[A]\nx=1\nx = 2 =\n", "A", "x ", "[A]\nx=1\n< 2 =>"},
      {"the first of two equal keys", "[A]\nx=1\nx=2\n", "A", "x", "[A]\n<1>x=2\n"},
      {"a header ends no section", "[A]\r\n[B]\r\ny=2\r\n", "A", "y", "[A]\r\n[B]\r\n<2>"},
      {"an empty line does", "[A]\r\nx=1\r\n\r\ny=2\r\n", "A", "y", "[A]\r\nx=1\r\n|\r\ny=2\r\n"},
      {"LF LF is one line end", "[A]\nx=1\n\n[B]\ny=2\n", "A", "y", "[A]\nx=1\n\n[B]\n<2>"},
      {"a replaced line takes one LF", "[A]\nx=1\n\ny=2\n", "A", "x", "[A]\n<1>\ny=2\n"},
      {"a line that begins with a tab", "[A]\n\tx=1\ny=2\n", "A", "y", "[A]\n|\tx=1\ny=2\n"},
      {"with 0x80", "[A]\n\x80=1\ny=2\n", "A", "\x80", "[A]\n|\x80=1\ny=2\n"},
      {"the last of two sections", "[A]\n\n\n[A]\n\n\nz", "A", "k", "[A]\n\n\n[A]\n\n|\nz"},
      {"a line without = swallows a key", "[A]\nfoo\nx=1\ny=2", "A", "x", "[A]\nfoo\nx=1\ny=2|"},
      {"and is a key with it", "[A]\nfoo\nx=1\ny=2\n", "A", "foo\nx", "[A]\n<1>y=2\n"},
      {"a header with = is a key", "[A]\n[A]k=1\n", "A", "[A]k", "[A]\n<1>"},
      {"no key spans a header", "[A]\n[B]\ny=2\n", "A", "[B]\ny", "[A]\n[B]\ny=2\n|"},
      {"a name runs on to the next ]", "[A\nB]\nx=1\n", "A\nB", "x", "[A\nB]\n<1>"},
      {"or to the end of the text", "[A\ny=1", "A\ny=1", "y", "[A\ny=1|"},
      {"a key with = cannot be", "[A]\nx=y=1\n", "A", "x=y", "[A]\nx=y=1\n|"},
      {"a NUL ends value and text", "[A]\nx=1\0y\ny=2"s, "A", "x", "[A]\n<1>\0y\ny=2"s},
      {"a NUL in front of it all", "\0[A]\nx=1"s, "A", "x", "+\0[A]\nx=1"s},
      {"a last line without line end is glued to", "[A]\r\nx=1", "A", "k", "[A]\r\nx=1|"},
  };
  for (const auto& [name, text, section, key, marks] : cases)
    EXPECT_EQ(lookUpAndCut(text, section, key), marks) << name;
}

// Pins(section-overflow)
TEST(ProfileText, SectionReads) {
  const std::string text = "[A]\r\nx=1\r\ny=22\r\n";
  const auto read = [](const std::string& contents, std::uint32_t size) {
    std::string buffer(14, '#');
    const std::uint32_t result = copyProfileSection(contents, "A", buffer.data(), size);
    return std::to_string(result) + ":" + buffer;
  };
  EXPECT_EQ(read(text, 11), "9:x=1\0y=22\0\0####"s) << "all lines just fit";
  EXPECT_EQ(read(text, 10), "8:x=1\0\0#########"s) << "the second does not";
  EXPECT_EQ(read("[A]\nlong=1\ny\n", 6), "4:\0#############"s) << "a later one that would fit";
  EXPECT_EQ(read(text, 1), "0:\0#############"s);
  EXPECT_EQ(read(text, 0), "0:##############") << "nothing is written";
  EXPECT_EQ(read("[A]\nx\n[A]\ny\n\n\nz\n[A]\nw", 14), "6:x\0y\0w\0\0#######"s) << "one of its name";
}
