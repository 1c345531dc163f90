// Profiles: the format trap by trap, the index, which must give what the walk gives, and the calls on real
// files: the one-entry cache, and what becomes of a file when a write fails or meets another.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <random>
#include <thread>
#include <utility>

#include "compat/services/profile/profile_index.h"
#include "compat/services/profile/profile_text.h"
#include "nimboxi/errors.h"
#include "nimboxi/profile.h"
#include "tests/support/locked_layer.h"
#include "tests/support/resource_limit.h"
#include "tests/support/test_client.h"

using namespace nimboxi;
using std::string_literals::operator""s;

// The file that a write makes: "<value>" where a key line is replaced, "|" where a new one goes, "+" where a
// new section goes.
static std::string lookUpAndCut(const std::string& contents, const std::string& section,
                                const std::string& key) {
  const std::string_view text = readableText(contents);
  const std::ptrdiff_t offset = FindProfileKey(text, section, key, nullptr);
  EXPECT_EQ(ProfileIndex(text).find(section, key), offset);
  const ProfileCut cut = cutProfile(contents, section, key);
  std::string mark = cut.newSection ? "+" : "|";
  if (offset >= 0) mark = "<" + std::string(valueAt(text, static_cast<std::size_t>(offset))) + ">";
  return std::string(cut.head) + mark + std::string(cut.rest) + std::string(cut.unread);
}

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
      {"a line that begins with a blank", "[A]\n x=1\ny=2\n", "A", "y", "[A]\n| x=1\ny=2\n"},
      {"with 0x80", "[A]\n\x80=1\ny=2\n", "A", "\x80", "[A]\n|\x80=1\ny=2\n"},
      {"but none that does with !", "[A]\n!=1\ny=2\n", "A", "y", "[A]\n!=1\n<2>"},
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
  EXPECT_EQ(read("[B]\ny\n", 9), "0:\0#############"s);
  for (const std::uint32_t size : {1u, 2u}) EXPECT_EQ(read(text, size), "0:\0#############"s);
  EXPECT_EQ(read(text, 0), "0:##############") << "nothing is written";
  EXPECT_EQ(read("[A]\nx\n[A]\ny\n\n\nz\n[A]\nw", 14), "6:x\0y\0w\0\0#######"s) << "one of its name";
}

// Compares all names on texts of random words. The generator's sequence is fixed by the standard, so that a
// seed names its texts.
TEST(ProfileIndex, EqualsTheWalk) {
  using Words = std::vector<std::string>;
  const Words words{"[A]", "[B]",  "[A", "[]", "[A]x=", "A=",  "B=1",      "x=2",  "x",
                    "A",   "\n",   "\n", "\n", "\n",    "\r",  "\r\n",     "\r\n", " ",
                    "]",   "\x80", "=",  "[",  "B",     "]\n", "[x]\nB=\n"};
  const Words names{"",   "A",  "B",   "x",  "[",   "]",    "=",    " ",   "\r",   "\n",   "AB",   "xA",
                    "A]", "A=", "A\n", "[A", "[A]", "[A]x", "x\nA", "x\n", "A\nA", "\x80", "[A\nA"};
  std::mt19937 random(2);
  int found = 0;
  for (int count = 0; count < 3000 && !HasFailure(); ++count) {
    std::string text = random() % 2 == 0 ? "[A]\n" : "";
    for (std::size_t n = random() % (count % 20 == 0 ? 400 : 24); n > 0; --n)
      text += words[random() % words.size()];
    const ProfileIndex index(text);
    for (const std::string& section : names) {
      for (const std::string& key : names) {
        const std::ptrdiff_t walked = FindProfileKey(text, section, key, nullptr);
        found += walked >= 0;
        EXPECT_EQ(index.find(section, key), walked) << testing::PrintToString(Words{text, section, key});
      }
    }
  }
  EXPECT_GT(found, 2000);
}

// So many names that among them, and between them and those asked for, some share a hash of 32 bits.
TEST(ProfileIndex, NamesOfEqualHashAreToldApart) {
  constexpr int kCount = 150000;
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
  expectLastByte("=\r\n", "[A]\nx=1", 13);          // more lines than are indexed
}

class ProfileFiles : public testing::Test {
 protected:
  // The value of x in section A, "(none)" when there is none.
  static std::string x(const char* name) {
    char buffer[64];
    return {buffer, GetPrivateProfileString("A", "x", "(none)", buffer, sizeof buffer, name)};
  }
  static bool write(const char* name, const char* value) {
    return WritePrivateProfileString("A", "x", value, name);
  }
  void put(const char* name, const std::string& text) { layer_.folder().write(name, text); }
  std::string get(const char* name) { return layer_.folder().read(name); }

  LockedLayer layer_;
};

TEST_F(ProfileFiles, ValuesAreCutToTheBuffer) {
  put("a.ini", "[A]\r\nlong=1234567890\r\nempty=\r\n");
  std::string buffer;
  const auto read = [&buffer](const char* key, const char* defaultValue, DWORD size) {
    buffer = "##########";
    const DWORD length = GetPrivateProfileString("A", key, defaultValue, buffer.data(), size, "a.ini");
    return std::to_string(length) + ":" + buffer;
  };
  EXPECT_EQ(read("long", "d", 10), "9:123456789\0"s);
  EXPECT_EQ(read("long", "d", 8), "7:1234567\0##"s);
  EXPECT_EQ(read("long", "d", 1), "0:\0#########"s);
  EXPECT_EQ(read("long", "d", 0), "0:##########");
  EXPECT_EQ(read("empty", "d", 10), "0:\0#########"s) << "an empty value is a value";
  EXPECT_EQ(read("none", "abc", 3), "2:ab\0#######"s) << "the default is cut too";
  EXPECT_EQ(read("none", buffer.data() + 1, 10), "9:#########\0"s) << "and may stand in the buffer";
  EXPECT_EQ(read("none", nullptr, 10), "0:##########");
  EXPECT_EQ(GetPrivateProfileString("A", "none", "d", nullptr, 10, "a.ini"), 0U);
  const char* names[] = {"A", "long", "a.ini"};
  char* to = buffer.data();
  for (const char*& name : names) {
    const char* const before = std::exchange(name, nullptr);
    EXPECT_EQ(GetPrivateProfileString(names[0], names[1], "d", to, 9, names[2]), 0U);
    EXPECT_EQ(GetPrivateProfileSection(names[0], names[1] == nullptr ? nullptr : to, 9, names[2]), 0U);
    EXPECT_FALSE(WritePrivateProfileString(names[0], names[1], "d", names[2]));
    name = before;
  }
  EXPECT_FALSE(WritePrivateProfileString("A", "long", nullptr, "a.ini"));
  EXPECT_EQ(buffer, "##########");
}

// Pins(uncached-read-drops)
TEST_F(ProfileFiles, AFileIsReadOnceUntilSomethingEmptiesTheCache) {
  char buffer[32];
  EXPECT_TRUE(write("b.ini", "other")) << "a write makes the file";
  EXPECT_EQ(x("a.ini"), "(none)");
  put("a.ini", "[A]\nx=1\n");
  EXPECT_EQ(x("a.ini"), "1") << "a missing file is not kept";
  put("a.ini", "[A]\nx=2\n");
  EXPECT_EQ(x("a.ini"), "1") << "a change on disk is not seen";
  EXPECT_EQ(x("b.ini"), "other");
  EXPECT_EQ(x("a.ini"), "2") << "another file took the one entry";
  put("a.ini", "[A]\nx=3\n");
  setLayerProfilePath("b.ini");
  EXPECT_EQ(GetProfileSection("A", buffer, sizeof buffer), 8u);
  EXPECT_EQ(x("a.ini"), "3") << "a section read of any file empties it";
  EXPECT_TRUE(write("a.ini", "4"));
  EXPECT_EQ(x("a.ini"), "4") << "so does a write";
}

TEST_F(ProfileFiles, WritesByteForByteInTheFileThatALinkStandsFor) {
  umask(0);
  std::filesystem::create_symlink("a.ini", "link.ini");
  EXPECT_TRUE(write("link.ini", "v"));
  EXPECT_EQ(get("a.ini"), "[A]\r\nx=v\r\n") << "a file that the link alone knew of";
  EXPECT_EQ(std::filesystem::status("a.ini").permissions(), std::filesystem::perms{0666});
  std::filesystem::permissions("a.ini", std::filesystem::perms{0642});
  std::filesystem::create_hard_link("a.ini", "same.ini");
  const auto after = [this](const std::string& before) {
    put("a.ini", before);
    SetLastError(-1);
    EXPECT_TRUE(write("link.ini", "v") && GetLastError() == 0);
    return get("same.ini");
  };
  EXPECT_EQ(after("[B]\r\nx=1\r\n"), "[B]\r\nx=1\r\n\r\n[A]\r\nx=v\r\n") << "a new section";
  EXPECT_EQ(after("[A]\nx=1\ny=2\n"), "[A]\nx=v\r\ny=2\n") << "old line ends stay, new ones are CR LF";
  EXPECT_EQ(after("[A]\nx=12345\ny=2\n"), "[A]\nx=v\r\ny=2\n") << "a shorter text";
  EXPECT_EQ(after("[A]\r\ny=1"), "[A]\r\ny=1x=v\r\n") << "no line end";
  EXPECT_EQ(after("[A]\nx=1\0tail\0"s), "[A]\nx=v\r\n\0tail\0"s) << "nothing behind a NUL is lost";
  EXPECT_EQ(after("\0old"s), "\r\n[A]\r\nx=v\r\n\0old"s) << "a file that begins with a NUL";
  EXPECT_EQ(std::filesystem::status("a.ini").permissions(), std::filesystem::perms{0642});
}

TEST_F(ProfileFiles, AWriteThatFailsLeavesEverythingAsItWas) {
  std::filesystem::create_directory("directory");
  put("huge.ini", "[A]\nx=1\n");
  std::filesystem::resize_file("huge.ini", std::uintmax_t{1} << 31);
  for (const char* name : {"directory", "huge.ini", "missing/a.ini"})
    EXPECT_FALSE(x(name) != "(none)" || write(name, "2") || GetLastError() == 0) << name;
  EXPECT_EQ(std::filesystem::file_size("huge.ini"), std::uintmax_t{1} << 31);
  {
    const ResourceLimit noDescriptor(RLIMIT_NOFILE, ResourceLimit::descriptors(0));
    EXPECT_FALSE(write("huge.ini", "2") || write("new.ini", "2") || GetLastError() == 0);
  }
  signal(SIGXFSZ, SIG_IGN);
  const std::string text = "[A]\r\nx=1\r\ny=2\r\n";
  put("full.ini", text);
  for (const std::size_t room : {text.size() + 2, text.find('1') + 1}) {  // none to grow, none to change
    const ResourceLimit noMoreBytes(RLIMIT_FSIZE, room);
    EXPECT_FALSE(write("full.ini", "2345") || (room < text.size() && write("full.ini", "2")));
    EXPECT_NE(GetLastError(), 0);
    EXPECT_EQ(get("full.ini"), text);
  }
}

TEST_F(ProfileFiles, ALockIsWaitedForButAfterOneThatIsNotGivenBackNoMore) {
  const Descriptor holder(open("a.ini", O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  EXPECT_EQ(flock(holder.number(), LOCK_EX), 0);
  EXPECT_TRUE(write("a.ini", "1"));
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 50; ++i) EXPECT_TRUE(write("a.ini", "2"));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  EXPECT_EQ(get("a.ini"), "[A]\r\nx=2\r\n");
  EXPECT_TRUE(write("free.ini", "1"));
  const std::jthread otherWriter([&holder] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(pwrite(holder.number(), "[A]\r\ny=2\r\n", 10, 0), 10);
    flock(holder.number(), LOCK_UN);
  });
  EXPECT_TRUE(write("a.ini", "3"));
  EXPECT_EQ(get("a.ini"), "[A]\r\ny=2\r\nx=3\r\n") << "again, since one was free; nothing is lost";
  const Descriptor replaced(open("a.ini", O_RDWR | O_CLOEXEC));
  EXPECT_EQ(flock(replaced.number(), LOCK_EX), 0);
  put("b.ini", "[A]\r\nz=1\r\n");
  const std::jthread replacer([&replaced] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(std::rename("b.ini", "a.ini"), 0);
    flock(replaced.number(), LOCK_UN);
  });
  EXPECT_TRUE(write("a.ini", "4"));
  EXPECT_EQ(get("a.ini"), "[A]\r\nz=1\r\nx=4\r\n") << "in the file that has the name now";
}

// Opening such a file reads its entry from the layer profile, which must not stay in the cache.
// Pins(line-end-is-success)
TEST_F(ProfileFiles, AProfileNamedLikeAPort) {
  put("LPT9x.ini", "[A]\nx=file\n");
  put("layer.ini", "[A]\nx=1\n");
  setLayerProfilePath("layer.ini");
  EXPECT_EQ(x("LPT9x.ini"), "(none)") << "without an entry the port is meant";
  put("layer.ini", "[A]\nx=2\n[Ports]\nLPT9X.INI=LPT9x.ini\nLPT1=device,parallelport\n");
  EXPECT_EQ(x("win.ini"), "2");
  EXPECT_EQ(x("LPT9x.ini"), "file") << "an entry without a line type means the file";
  signal(SIGXFSZ, SIG_IGN);
  for (const std::size_t room : {20000u, 5000u}) {
    put("device", "[A]\r\nx=1\r\ny=" + std::string(10000, 'z'));
    const ResourceLimit noMoreBytes(RLIMIT_FSIZE, room);
    EXPECT_TRUE(write("LPT1", "12")) << "the line's end decides, not the rest";
    EXPECT_EQ(get("device").substr(0, 11), "[A]\r\nx=12\r\n");
  }
  setLayerProfilePath("LPT9x.ini");
  put("LPT9x.ini", "[Ports]\nLPT9X.INI=LPT9x.ini\n\n\n[A]\nx=before\n");
  EXPECT_TRUE(write("win.ini", "after"));
  EXPECT_EQ(x("nimboxi.ini"), "after");
}
