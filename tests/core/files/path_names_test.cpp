// Splitting and building path names, and the calls that do.
#include "compat/core/files/path_names.h"

#include "tests/core/core_test.h"

using namespace nimboxi;
using Texts = std::vector<std::string>;
using PathNameCalls = CoreTest;

// A drive reaches to its colon even into the name; an extension may begin before the name.
TEST(PathNames, APathIsSplit) {
  const Texts cases[] = {{"a.b/c", "", "a.b/", "c", ""},
                         {"/a/.profile", "", "/a/", "", ".profile"},
                         {"a.b:c", "a.b:", "", "", ".b:c"},
                         {"c:/a//b.tar.gz", "c:", "/a//", "b.tar", ".gz"},
                         {"a/b:c.d", "a/b:", "", "b:c", ".d"}};
  for (const Texts& c : cases) {
    const PathParts parts = splitPath(c[0]);
    const std::string_view all[] = {c[0], parts.drive, parts.directory, parts.name, parts.extension};
    EXPECT_EQ(Texts(std::begin(all), std::end(all)), c);
  }
}

// Pins(parent-is-root): ".." leads back to the root.
TEST(PathNames, AFullPathIsBuilt) {
  const std::string longest = "/" + std::string(4094, 'x');
  const Texts cases[] = {
      {"/a/b", "../x", "/x"},         {"/a/b", "./y", "/a/b/y"},
      {"/a", "///x//..y/", "/x/..y"}, {"/", longest.substr(1) + "/./", longest},
      {"/a", longest + "x", ""},      {"/a", longest + "/y/../z", ""},  // also on the way to the root
  };
  for (const Texts& c : cases) {
    const auto path = std::make_unique<char[]>(MAX_PATH_BYTES);  // the sanitizers see its end
    const std::size_t length = buildFullPath(c[0], c[1], path.get());
    EXPECT_EQ(std::string(path.get(), length), c[2]) << c[0] << " and " << c[1];
    EXPECT_TRUE(length == 0 || path[length] == '\0');
  }
}

// Pins(file-part-backslash)
TEST(PathNames, TheFilePartIsBehindABackslashOrTheFourthCharacter) {
  const std::pair<const char*, std::size_t> cases[] = {
      {"/tmp/x", 3}, {"/a/b\\c\\d", 7}, {"/ab\\c", 4}, {"/a\\bc", 3}, {"/abcd\\", 6}, {"/ab", 3}, {"/", 1}};
  for (const auto& [path, offset] : cases) EXPECT_EQ(filePartOffset(path), offset) << path;
}

TEST(PathNames, TemporaryNamesAreTriedOnceEach) {
  char path[MAX_PATH_BYTES];
  EXPECT_TRUE(buildTempName("dir", "p", 0xAB, path));
  EXPECT_STREQ(path, "dir/p00ab.tmp");
  EXPECT_EQ(firstFreeNumber(65535, [](WORD number) { return number != 2; }), 2);
  EXPECT_EQ(firstFreeNumber(7, [](WORD) { return true; }), std::nullopt);
}

// Pins(extension-with-name)
TEST_F(PathNameCalls, ASplitCutsToItsBuffers) {
  std::vector<char> name(MAX_PATH_BYTES, '#'), extension(MAX_PATH_BYTES, '#');
  SplitPath("x/y.z", nullptr, nullptr, nullptr, extension.data());
  EXPECT_STREQ(extension.data(), "") << "it comes with the name alone";
  SplitPath((std::string(5000, 'y') + ".z").c_str(), nullptr, nullptr, name.data(), extension.data());
  EXPECT_EQ(std::string(name.data()) + extension.data(), std::string(4095, 'y') + ".z");
  EXPECT_EQ(GetLastError(), kMark);
}

TEST_F(PathNameCalls, AFullPathIsCutToItsBuffer) {
  for (DWORD size : {1U, 5U, length_ + 2, length_ + 3}) {
    std::vector<char> buffer(size, '#');
    char* filePart;
    EXPECT_EQ(GetFullPathName("./x", size, buffer.data(), &filePart), length_ + 2);
    EXPECT_EQ(filePart, buffer.data() + std::min(size - 1, 3U));
    EXPECT_EQ(std::string(buffer.data()), (folder_.path() + "/x").substr(0, size - 1));
  }
  EXPECT_EQ(failure(GetFullPathName(nullptr, 0, nullptr, nullptr) != 0), ERROR_FILE_NOT_FOUND);
}
