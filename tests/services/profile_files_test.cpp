// The profile calls on real files: names, the one-entry cache, what is copied and what is written.
#include "compat/services/profile_files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "compat/core/call_guard.h"
#include "nimboxi/profile.h"
#include "tests/support/temp_folder.h"

namespace nimboxi {
namespace {

using std::string_literals::operator""s;

class ProfileFiles : public testing::Test {
 protected:
  ProfileFiles() { dropProfileCache(); }
  ~ProfileFiles() override {
    dropProfileCache();
    setLayerProfilePath(nullptr);
  }

  // The value of a key, "(none)" when there is none.
  std::string value(const std::string& path, const char* section, const char* key) {
    char buffer[64];
    const DWORD length = GetPrivateProfileString(section, key, "(none)", buffer, sizeof buffer, path.c_str());
    EXPECT_EQ(buffer[length], '\0');
    return std::string(buffer, length);
  }

  TempFolder folder_;
};

TEST_F(ProfileFiles, ValuesAreCutToTheBuffer) {
  const std::string path = folder_.write("a.ini", "[A]\r\nlong=12345678901234567890\r\nempty=\r\n");
  struct Case {
    const char* name;
    const char* key;
    const char* defaultValue;
    DWORD size;
    DWORD result;
    std::string buffer;  // of 10 bytes
  };
  const Case cases[] = {
      {"a long value is cut", "long", "d", 8, 7, "1234567\0##"s},
      {"size 1 holds the NUL", "long", "d", 1, 0, "\0#########"s},
      {"size 0 holds nothing", "long", "d", 0, 0, "##########"},
      {"an empty value is a value", "empty", "d", 10, 0, "\0#########"s},
      {"the default", "none", "abc", 10, 3, "abc\0######"s},
      {"the default is cut too", "none", "abc", 3, 2, "ab\0#######"s},
      {"an empty default", "none", "", 10, 0, "\0#########"s},
      {"without a default the buffer stays", "none", nullptr, 10, 0, "##########"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::string buffer(10, '#');
    EXPECT_EQ(GetPrivateProfileString("A", c.key, c.defaultValue, buffer.data(), c.size, path.c_str()),
              c.result);
    EXPECT_EQ(buffer, c.buffer);
  }
}

TEST_F(ProfileFiles, NullsAreRefused) {
  const std::string path = folder_.write("a.ini", "[A]\r\nx=1\r\n");
  const char* name = path.c_str();
  char buffer[8] = "######";
  EXPECT_EQ(GetPrivateProfileString(nullptr, "x", "d", buffer, 8, name), 0u);
  EXPECT_EQ(GetPrivateProfileString("A", nullptr, "d", buffer, 8, name), 0u);
  EXPECT_EQ(GetPrivateProfileString("A", "x", "d", nullptr, 8, name), 0u);
  EXPECT_EQ(GetPrivateProfileString("A", "x", "d", buffer, 8, nullptr), 0u);
  EXPECT_EQ(GetPrivateProfileSection(nullptr, buffer, 8, name), 0u);
  EXPECT_EQ(GetPrivateProfileSection("A", nullptr, 8, name), 0u);
  EXPECT_EQ(GetPrivateProfileSection("A", buffer, 8, nullptr), 0u);
  EXPECT_FALSE(WritePrivateProfileString(nullptr, "x", "2", name));
  EXPECT_FALSE(WritePrivateProfileString("A", nullptr, "2", name));
  EXPECT_FALSE(WritePrivateProfileString("A", "x", nullptr, name));
  EXPECT_FALSE(WritePrivateProfileString("A", "x", "2", nullptr));
  EXPECT_STREQ(buffer, "######");
  EXPECT_EQ(folder_.read("a.ini"), "[A]\r\nx=1\r\n");
}

TEST_F(ProfileFiles, AFileIsReadOnceUntilSomethingEmptiesTheCache) {
  char buffer[32];
  const std::string path = folder_.write("a.ini", "[A]\nx=1\n");
  const std::string other = folder_.write("b.ini", "[A]\nx=other\n");
  auto change = [this](const char* x) { folder_.write("a.ini", "[A]\nx="s + x + "\n"); };

  EXPECT_EQ(value(path, "A", "x"), "1");
  change("2");
  EXPECT_EQ(value(path, "A", "x"), "1") << "a change on disk is not seen";
  EXPECT_EQ(value(other, "A", "x"), "other");
  EXPECT_EQ(value(path, "A", "x"), "2") << "another file took the one entry";
  change("3");
  EXPECT_EQ(GetPrivateProfileSection("A", buffer, sizeof buffer, other.c_str()), 8u);
  EXPECT_EQ(value(path, "A", "x"), "3") << "a section read of any file empties it";
  change("4");
  EXPECT_EQ(GetPrivateProfileSection("A", buffer, sizeof buffer, path.c_str()), 4u);
  EXPECT_STREQ(buffer, "x=4") << "a section read goes to the disk";
  EXPECT_EQ(value(path, "A", "x"), "4");
  EXPECT_TRUE(WritePrivateProfileString("A", "x", "5", path.c_str()));
  EXPECT_EQ(value(path, "A", "x"), "5");
  std::filesystem::remove(path);
  EXPECT_EQ(value(path, "A", "x"), "5") << "not looked at again";
  dropProfileCache();
  EXPECT_EQ(value(path, "A", "x"), "(none)");
  change("6");
  EXPECT_EQ(value(path, "A", "x"), "6") << "a missing file is not kept";
}

TEST_F(ProfileFiles, Writes) {
  struct Case {
    const char* name;
    std::string before;
    const char* section;
    const char* key;
    const char* value;
    std::string after;
  };
  const Case cases[] = {
      {"a new file", "", "C", "k", "v", "[C]\r\nk=v\r\n"},
      {"a new key in front of the blank line", "[A]\r\nx=1\r\n\r\n[B]\r\n", "A", "z", "3",
       "[A]\r\nx=1\r\nz=3\r\n\r\n[B]\r\n"},
      {"a key replaced", "[A]\r\nx=1\r\n\r\n[B]\r\n", "A", "x", "5", "[A]\r\nx=5\r\n\r\n[B]\r\n"},
      {"a new section behind an empty line", "[A]\r\nx=1\r\n", "C", "k", "v",
       "[A]\r\nx=1\r\n\r\n[C]\r\nk=v\r\n"},
      {"old line ends stay, new ones are CR LF", "[A]\nx=1\ny=2\n", "A", "x", "5", "[A]\nx=5\r\ny=2\n"},
      {"glued to a header without line end", "[A]", "A", "k", "v", "[A]k=v\r\n"},
      {"nothing behind a NUL is lost", "[A]\r\nx=1\r\n\0tail\0"s, "C", "k", "v",
       "[A]\r\nx=1\r\n\r\n[C]\r\nk=v\r\n\0tail\0"s},
      {"a file that begins with a NUL", "\0old"s, "C", "k", "v", "\r\n[C]\r\nk=v\r\n\0old"s},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string path = c.before.empty() ? folder_.file("new.ini") : folder_.write("a.ini", c.before);
    EXPECT_TRUE(WritePrivateProfileString(c.section, c.key, c.value, path.c_str()));
    EXPECT_EQ(folder_.read(c.before.empty() ? "new.ini" : "a.ini"), c.after);
  }
}

TEST_F(ProfileFiles, NamesAndValuesOfAnyLength) {
  const std::string path = folder_.file("a.ini");
  const std::string section(3000, 's');
  const std::string key(5000, 'k');
  const std::string longValue(100000, 'v');
  ASSERT_TRUE(WritePrivateProfileString(section.c_str(), key.c_str(), longValue.c_str(), path.c_str()));
  std::string buffer(200000, '#');
  EXPECT_EQ(GetPrivateProfileString(section.c_str(), key.c_str(), "", buffer.data(), 200000, path.c_str()),
            100000u);
  EXPECT_EQ(buffer.substr(0, 100001), longValue + '\0');
}

TEST_F(ProfileFiles, AWriteThatCannotReadOrOpenLeavesEverythingAsItWas) {
  std::filesystem::create_directory(folder_.file("directory"));
  std::filesystem::resize_file(folder_.write("huge.ini", "[A]\nx=1\n"), std::uintmax_t{1} << 31);
  for (const char* name : {"directory", "huge.ini", "missing/a.ini"}) {
    SCOPED_TRACE(name);
    const std::string path = folder_.file(name);
    char buffer[16] = "#";
    EXPECT_EQ(value(path, "A", "x"), "(none)");
    EXPECT_EQ(GetPrivateProfileSection("A", buffer, sizeof buffer, path.c_str()), 0u);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_FALSE(WritePrivateProfileString("A", "x", "2", path.c_str()));
  }
  EXPECT_EQ(std::filesystem::file_size(folder_.file("huge.ini")), std::uintmax_t{1} << 31);
}

TEST_F(ProfileFiles, ALargeSparseFileIsReadUpToItsFirstNul) {
  const std::string path = folder_.write("sparse.ini", "[A]\nx=1\n");
  std::filesystem::resize_file(path, std::uintmax_t{80} << 20);
  EXPECT_EQ(value(path, "A", "x"), "1");
  EXPECT_EQ(value(path, "A", "y"), "(none)");
}

TEST_F(ProfileFiles, TwoNamesMeanTheLayerProfile) {
  const std::string path = folder_.write("layer.ini", "[Setup]\nx=layer\n");
  setLayerProfilePath(path.c_str());
  CallGuard guard;
  EXPECT_EQ(layerProfilePath(), path);
  for (const std::string name : {"win.ini", "nimboxi.ini"}) {
    EXPECT_EQ(std::string(resolveProfileName(name.c_str())), path);
    EXPECT_EQ(value(name, "Setup", "x"), "layer");
  }
  for (const std::string name : {"WIN.INI", "./win.ini", "nimboxi.ini ", "other.ini", ""}) {
    EXPECT_EQ(std::string(resolveProfileName(name.c_str())), name);
  }
  char buffer[16];
  EXPECT_EQ(GetProfileString("Setup", "x", "", buffer, sizeof buffer), 5u);
  EXPECT_STREQ(buffer, "layer");
  EXPECT_TRUE(WriteProfileString("Setup", "x", "new"));
  EXPECT_EQ(GetProfileSection("Setup", buffer, sizeof buffer), 6u);
  EXPECT_STREQ(buffer, "x=new");
}

TEST_F(ProfileFiles, TheLayerProfileStandsBesideTheProgram) {
  struct Case {
    const char* program;
    const char* profile;
  };
  for (const Case& c :
       {Case{"bin/nimbolsp", "bin/nimboxi.ini"}, Case{"/opt/a.b/nimbolsp", "/opt/a.b/nimboxi.ini"},
        Case{"./nimbolsp", "./nimboxi.ini"}, Case{"nimbolsp", "/nimboxi.ini"},
        Case{"/nimbolsp", "/nimboxi.ini"}, Case{"", "/nimboxi.ini"}, Case{"bin/", "bin/nimboxi.ini"}}) {
    SCOPED_TRACE(c.program);
    EXPECT_EQ(layerProfilePathBeside(c.program), c.profile);
  }
}

}  // namespace
}  // namespace nimboxi
