// The profile calls on real files: names, the one-entry cache, what is copied and what is written.
#include "compat/services/profile/profile_path.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "nimboxi/profile.h"
#include "tests/support/temp_folder.h"

using namespace nimboxi;

namespace {

using std::string_literals::operator""s;

class ProfileFiles : public testing::Test {
 protected:
  // The value of x in section A, "(none)" when there is none.
  static std::string x(const std::string& path) {
    char buffer[64];
    return {buffer, GetPrivateProfileString("A", "x", "(none)", buffer, sizeof buffer, path.c_str())};
  }

  static bool write(const std::string& path, const char* value) {
    return WritePrivateProfileString("A", "x", value, path.c_str());
  }

  TempFolder folder_;
};

}  // namespace

TEST_F(ProfileFiles, ValuesAreCutToTheBuffer) {
  const std::string path = folder_.write("a.ini", "[A]\r\nlong=12345678901234567890\r\nempty=\r\n");
  auto read = [&path](const char* key, const char* defaultValue, DWORD size) {
    std::string buffer(10, '#');
    const DWORD length = GetPrivateProfileString("A", key, defaultValue, buffer.data(), size, path.c_str());
    return std::to_string(length) + ":" + buffer;
  };
  EXPECT_EQ(read("long", "d", 8), "7:1234567\0##"s);
  EXPECT_EQ(read("long", "d", 0), "0:##########");
  EXPECT_EQ(read("empty", "d", 10), "0:\0#########"s) << "an empty value is a value";
  EXPECT_EQ(read("none", "abc", 3), "2:ab\0#######"s) << "the default is cut too";
  EXPECT_EQ(read(nullptr, "d", 10), "0:##########");
}

TEST_F(ProfileFiles, AFileIsReadOnceUntilSomethingEmptiesTheCache) {
  const std::string path = folder_.file("a.ini");
  const std::string other = folder_.file("b.ini");
  char buffer[32];
  EXPECT_TRUE(write(other, "other")) << "a write makes the file";
  EXPECT_EQ(x(path), "(none)");
  folder_.write("a.ini", "[A]\nx=1\n");
  EXPECT_EQ(x(path), "1") << "a missing file is not kept";
  folder_.write("a.ini", "[A]\nx=2\n");
  EXPECT_EQ(x(path), "1") << "a change on disk is not seen";
  EXPECT_EQ(x(other), "other");
  EXPECT_EQ(x(path), "2") << "another file took the one entry";
  folder_.write("a.ini", "[A]\nx=3\n");
  EXPECT_EQ(GetPrivateProfileSection("A", buffer, sizeof buffer, other.c_str()), 8u);
  EXPECT_EQ(x(path), "3") << "a section read of any file empties it";
  EXPECT_TRUE(write(path, "4"));
  EXPECT_EQ(x(path), "4") << "so does a write";
}

TEST_F(ProfileFiles, WritesByteForByte) {
  const std::vector<std::array<std::string, 3>> cases = {
      {"a new section", "[B]\r\nx=1\r\n", "[B]\r\nx=1\r\n\r\n[A]\r\nx=v\r\n"},
      {"old line ends stay, new ones are CR LF", "[A]\nx=1\ny=2\n", "[A]\nx=v\r\ny=2\n"},
      {"no line end", "[A]\r\ny=1", "[A]\r\ny=1x=v\r\n"},
      {"nothing behind a NUL is lost", "[A]\nx=1\0tail\0"s, "[A]\nx=v\r\n\0tail\0"s},
      {"a file that begins with a NUL", "\0old"s, "\r\n[A]\r\nx=v\r\n\0old"s},
  };
  for (const auto& [name, before, after] : cases) {
    EXPECT_TRUE(write(folder_.write("a.ini", before), "v"));
    EXPECT_EQ(folder_.read("a.ini"), after) << name;
  }
}

TEST_F(ProfileFiles, AWriteThatCannotReadOrOpenLeavesEverythingAsItWas) {
  std::filesystem::create_directory(folder_.file("directory"));
  std::filesystem::resize_file(folder_.write("huge.ini", "[A]\nx=1\n"), std::uintmax_t{1} << 31);
  for (const char* name : {"directory", "huge.ini", "missing/a.ini"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(x(folder_.file(name)), "(none)");
    EXPECT_FALSE(write(folder_.file(name), "2"));
  }
  EXPECT_EQ(std::filesystem::file_size(folder_.file("huge.ini")), std::uintmax_t{1} << 31);
}

// Opening such a file reads its entry from the layer profile, which must not stay in the cache.
TEST_F(ProfileFiles, AProfileNamedLikeAPortLeavesNoStaleEntry) {
  const std::filesystem::path startFolder = std::filesystem::current_path();
  std::filesystem::current_path(folder_.path());
  folder_.write("LPT9x.ini", "[A]\nx=file\n");
  setLayerProfilePath(folder_.write("layer.ini", "[A]\nx=1\n").c_str());
  EXPECT_EQ(x("LPT9x.ini"), "(none)") << "without an entry the port is meant";
  folder_.write("layer.ini", "[A]\nx=2\n[Ports]\nLPT9X.INI=LPT9x.ini\n");
  EXPECT_EQ(x("win.ini"), "2");
  EXPECT_EQ(x("LPT9x.ini"), "file") << "an entry without a line type means the file";
  setLayerProfilePath("LPT9x.ini");
  folder_.write("LPT9x.ini", "[Ports]\nLPT9X.INI=LPT9x.ini\n\n\n[A]\nx=before\n");
  EXPECT_TRUE(write("win.ini", "after"));
  EXPECT_EQ(x("nimboxi.ini"), "after");
  setLayerProfilePath(nullptr);
  std::filesystem::current_path(startFolder);
}

TEST(LayerProfile, StandsBesideTheProgram) {
  EXPECT_EQ(layerProfilePathBeside("/opt/a.b/nimbolsp"), "/opt/a.b/nimboxi.ini");
  EXPECT_EQ(layerProfilePathBeside("nimbolsp"), "/nimboxi.ini");
}
