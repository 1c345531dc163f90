// The profile format, trap by trap: what a lookup finds, where a write cuts, what a section read copies.
#include "compat/services/profile_text.h"

#include <gtest/gtest.h>

#include <string>

#include "compat/services/profile_index.h"

namespace nimboxi {
namespace {

using std::string_literals::operator""s;

constexpr const char* kNotFound = "(not found)";

std::string valueOrNone(std::string_view text, std::ptrdiff_t offset) {
  return offset < 0 ? kNotFound : std::string(valueAt(text, static_cast<std::size_t>(offset)));
}

TEST(ProfileText, FindsWhatTheFormatSays) {
  struct Case {
    const char* name;
    std::string text;
    std::string section, key;
    std::string value;
  };
  const Case cases[] = {
      {"a plain key", "[Setup]\r\nPort=5000\r\n", "Setup", "Port", "5000"},
      {"keys know their case", "[Setup]\r\nPort=5000\r\n", "Setup", "port", kNotFound},
      {"sections know their case", "[Setup]\r\nPort=5000\r\n", "setup", "Port", kNotFound},
      {"a longer key does not match", "[A]\nxy=1\n", "A", "x", kNotFound},
      {"a longer section does not match", "[AB]\nx=1\n", "A", "x", kNotFound},
      {"blanks belong to the key", "[A]\nx = 1\n", "A", "x", kNotFound},
      {"blanks belong to the key and the value", "[A]\nx = 1 \n", "A", "x ", " 1 "},
      {"a value may hold more equals signs", "[A]\nx=1=2\n", "A", "x", "1=2"},
      {"a value ends with the text", "[A]\nx=12", "A", "x", "12"},
      {"a value ends at a lone CR", "[A]\rx=1\ry=2", "A", "x", "1"},
      {"an empty value is found", "[A]\r\nx=\r\n", "A", "x", ""},
      {"the first of two equal keys counts", "[A]\nx=1\nx=2\n", "A", "x", "1"},
      {"a semicolon begins no comment", "[A]\n;x=1\n", "A", ";x", "1"},
      {"what stands behind the ] is ignored", "[A] x=0\nx=1\n", "A", "x", "1"},
      {"a blank before [ makes it no header", " [A]\nx=1\n", "A", "x", kNotFound},
      {"keys before any header are in no section", "x=1\n[A]\ny=1\n", "A", "x", kNotFound},
      {"the empty section", "[]\nx=1\n", "", "x", "1"},
      {"the empty key", "[A]\n=1\n", "A", "", "1"},
      {"no text", "", "A", "x", kNotFound},

      {"a header does not end a section", "[A]\r\nx=1\r\n[B]\r\ny=2\r\n", "A", "y", "2"},
      {"an empty line ends it", "[A]\r\nx=1\r\n\r\n[B]\r\ny=2\r\n", "A", "y", kNotFound},
      {"one empty line between LF line ends is swallowed", "[A]\nx=1\n\n[B]\ny=2\n", "A", "y", "2"},
      {"two leave one", "[A]\nx=1\n\n\n[B]\ny=2\n", "A", "y", kNotFound},
      {"CR CR is two line ends", "[A]\rx=1\r\ry=2\r", "A", "y", kNotFound},
      {"CR LF LF is two", "[A]\r\nx=1\r\n\ny=2\r", "A", "y", kNotFound},
      {"a line that begins with a blank ends it", "[A]\n x=1\ny=2\n", "A", "y", kNotFound},
      {"so does a tab", "[A]\n\tx=1\ny=2\n", "A", "y", kNotFound},
      {"so does a byte of the upper half", "[A]\n\xE9=1\ny=2\n", "A", "y", kNotFound},
      {"and its key is not found", "[A]\n\xE9=1\ny=2\n", "A", "\xE9", kNotFound},
      {"the lowest byte of a key line", "[A]\n!=1\ny=2\n", "A", "!", "1"},
      {"byte 0x7F is a key line", "[A]\n\x7F=1\ny=2\n", "A", "y", "2"},
      {"a section may be empty", "[A]\r\n\r\nx=1\r\n", "A", "x", kNotFound},
      {"a section may go on later", "[A]\r\nx=1\r\n\r\n[B]\r\ny=1\r\n\r\n[A]\r\ny=2\r\n", "A", "y", "2"},
      {"a header that ends no section opens one of its own", "[A]\nx=1\n[B]\ny=2\n", "B", "y", "2"},

      {"a line without = swallows the next key", "[A]\nfoo\nx=1\ny=2\n", "A", "x", kNotFound},
      {"and is a key with it", "[A]\nfoo\nx=1\ny=2\n", "A", "foo\nx", "1"},
      {"and the walk goes on behind", "[A]\nfoo\nx=1\ny=2\n", "A", "y", "2"},
      {"it swallows empty lines", "[A]\r\nfoo\r\n\r\nx=1\r\ny=2\r\n", "A", "y", "2"},
      {"it swallows headers", "[A]\nfoo\n\n\n[B]\nx=1\ny=2\n", "A", "y", "2"},
      {"the swallowed header opens its section all the same", "[A]\nfoo\n\n\n[B]\nx=1\n", "B", "x", "1"},
      {"it swallows all without a later =", "[A]\nfoo\nbar\n", "A", "foo", kNotFound},
      {"the end of the text is no =", "[A]\nfoo", "A", "foo", kNotFound},

      {"a header in a section is a key up to its own =", "[A]\n[B]k=1\n", "A", "[B]k", "1"},
      {"it swallows nothing", "[A]\n[B]\ny=2\n", "A", "y", "2"},
      {"so no key spans it", "[A]\n[B]\ny=2\n", "A", "[B]\ny", kNotFound},
      {"a header of the same name in its section is a key", "[A]\n[A]\ny=2\n", "A", "y", "2"},

      {"a header's name runs on to the next ]", "[A\nB]\nx=1\n", "A\nB", "x", "1"},
      {"its lines are looked at on their own as well", "[A\n[B]\nx=1\n", "B", "x", "1"},
      {"a name without ] is the rest of the text", "x=1\n[A\ny=1", "A\ny=1", "y", kNotFound},
      {"a name with ] cannot be", "[A]]\nx=1\n", "A]", "x", kNotFound},
      {"a key with = cannot be", "[A]\nx=y=1\n", "A", "x=y", kNotFound},
      {"a NUL ends the text", "[A]\nx=1\0y\ny=2\n"s, "A", "y", kNotFound},
      {"a NUL ends a value", "[A]\nx=1\0y\ny=2\n"s, "A", "x", "1"},
      {"a NUL ends a key", "[A]\nx\0=1\n"s, "A", "x", kNotFound},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string_view text = readableText(c.text);
    EXPECT_EQ(valueOrNone(text, FindProfileKey(text, c.section, c.key, nullptr)), c.value);
    EXPECT_EQ(valueOrNone(text, ProfileIndex(text).find(c.section, c.key)), c.value) << "by the index";
  }
}

// The file that a write makes, with "|" where the key line goes and "+" where a new section's header goes.
std::string cutMarks(const std::string& contents, std::string_view section, std::string_view key) {
  const ProfileCut cut = cutProfile(contents, section, key);
  return std::string(cut.head) + (cut.newSection ? "+|" : "|") + std::string(cut.rest) +
         std::string(cut.unread);
}

TEST(ProfileText, CutsWhereALineBelongs) {
  struct Case {
    const char* name;
    std::string contents;
    std::string section, key;
    std::string marks;
  };
  const Case cases[] = {
      {"a new key goes before the blank line", "[A]\r\nx=1\r\n\r\n[B]\r\n", "A", "z",
       "[A]\r\nx=1\r\n|\r\n[B]\r\n"},
      {"a known key is replaced with its line end", "[A]\r\nx=1\r\n\r\n[B]\r\n", "A", "x",
       "[A]\r\n|\r\n[B]\r\n"},
      {"of two LF the replaced line takes one", "[A]\nx=1\n\ny=2\n", "A", "x", "[A]\n|\ny=2\n"},
      {"of two CR the replaced line takes one", "[A]\rx=1\r\ry=2\r", "A", "x", "[A]\r|\ry=2\r"},
      {"a last line without line end", "[A]\nx=1", "A", "x", "[A]\n|"},
      {"a new section", "[A]\r\nx=1\r\n", "C", "k", "[A]\r\nx=1\r\n+|"},
      {"no contents", "", "C", "k", "+|"},
      {"a header that ends the text is glued", "[A]", "A", "k", "[A]|"},
      {"so is the last key line", "[A]\r\nx=1", "A", "k", "[A]\r\nx=1|"},
      {"so is a line without =", "[A]\r\nfoo\r\nbar", "A", "k", "[A]\r\nfoo\r\nbar|"},
      {"the key goes into the section that the text runs on to", "[A]\nx=1\n[B]\ny=2\n", "A", "k",
       "[A]\nx=1\n[B]\ny=2\n|"},
      {"a key of the next section is replaced there", "[A]\nx=1\n[B]\ny=2\n", "A", "y", "[A]\nx=1\n[B]\n|"},
      {"of two sections of a name the last gets the key", "[A]\nx=1\n\n\n[A]\ny=2\n\n\nz", "A", "k",
       "[A]\nx=1\n\n\n[A]\ny=2\n\n|\nz"},
      {"a long key is replaced from its first line", "[A]\nfoo\nx=1\ny=2\n", "A", "foo\nx", "[A]\n|y=2\n"},
      {"what stands behind a NUL goes to the end", "[A]\nx=1\n\0[B]\ny=2\n"s, "A", "k",
       "[A]\nx=1\n|\0[B]\ny=2\n"s},
      {"also behind a new section", "[A]\nx=1\0\0tail"s, "C", "k", "[A]\nx=1+|\0\0tail"s},
      {"a NUL in the replaced value ends the line", "[A]\nx=1\0two\ny=2\n"s, "A", "x", "[A]\n|\0two\ny=2\n"s},
      {"a NUL at once", "\0[A]\n"s, "A", "x", "+|\0[A]\n"s},
      {"a name with ] is never found again", "[A]\nx=1\n", "A]", "k", "[A]\nx=1\n+|"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(cutMarks(c.contents, c.section, c.key), c.marks);
  }
}

TEST(ProfileText, SectionReads) {
  struct Case {
    const char* name;
    std::string text;
    std::uint32_t size;
    std::uint32_t result;
    std::string bytes;  // all that is written
  };
  const Case cases[] = {
      {"all lines fit", "[A]\r\nx=1\r\ny=22\r\n", 100, 9, "x=1\0y=22\0\0"s},
      {"all lines just fit", "[A]\r\nx=1\r\ny=22\r\n", 11, 9, "x=1\0y=22\0\0"s},
      {"the second line does not fit", "[A]\r\nx=1\r\ny=22\r\n", 10, 8, "x=1\0\0"s},
      {"room for one line exactly", "[A]\r\nx=1\r\ny=22\r\n", 6, 4, "x=1\0\0"s},
      {"a later line that would fit is not taken", "[A]\r\nlong=1\r\ny\r\n", 6, 4, "\0"s},
      {"size 2 holds no line", "[A]\r\nx=1\r\n", 2, 0, "\0"s},
      {"size 1 gives the NUL alone", "[A]\r\nx=1\r\n", 1, 0, "\0"s},
      {"size 0 writes nothing", "[A]\r\nx=1\r\n", 0, 0, ""},
      {"no such section", "[B]\r\nx=1\r\n", 100, 0, "\0"s},
      {"a header ends it", "[A]\r\nx=1\r\n[B]\r\ny=2\r\n", 100, 4, "x=1\0\0"s},
      {"a header of the same name goes on with it", "[A]\nx=1\n[A]\ny=2\n\n\nz=0\n[A]\nw", 100, 10,
       "x=1\0y=2\0w\0\0"s},
      {"a line needs no =", "[A]\nfoo\nx=1\n", 100, 8, "foo\0x=1\0\0"s},
      {"an upper-half byte ends it", "[A]\nx=1\n\xE9\ny=2\n", 100, 4, "x=1\0\0"s},
      {"an unclosed header names the rest of the text", "[A", 100, 0, "\0"s},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::string buffer(100, '#');
    EXPECT_EQ(copyProfileSection(c.text, "A", buffer.data(), c.size), c.result);
    EXPECT_EQ(buffer, c.bytes + std::string(100 - c.bytes.size(), '#'));
  }
}

}  // namespace
}  // namespace nimboxi
