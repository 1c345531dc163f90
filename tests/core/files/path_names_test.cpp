// Splitting and building path names.
#include "compat/core/files/path_names.h"

#include <gtest/gtest.h>

namespace nimboxi {
namespace {

using Texts = std::vector<std::string>;

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

// ".." leads back to the root.
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

TEST(PathNames, TheFilePartIsBehindABackslashOrTheFourthCharacter) {
  const std::pair<const char*, std::size_t> cases[] = {
      {"/tmp/x", 3}, {"/a/b\\c\\d", 7}, {"/ab\\c", 4}, {"/a\\bc", 3}, {"/abcd\\", 6}, {"/ab", 3}, {"/", 1}};
  for (const auto& [path, offset] : cases) EXPECT_EQ(filePartOffset(path), offset) << path;
}

TEST(PathNames, OnlyAWritableDirectoryCountsInAMove) {
  EXPECT_TRUE(movesInto(32, 16) && movesInto(17, 16)) << "a read-only directory goes in";
  EXPECT_FALSE(movesInto(16, 16) || movesInto(32, 17)) << "and takes nothing in";
}

TEST(PathNames, TemporaryNamesAreTriedOnceEach) {
  char path[MAX_PATH_BYTES];
  EXPECT_TRUE(buildTempName("dir", "p", 0xAB, path));
  EXPECT_STREQ(path, "dir/p00ab.tmp");
  EXPECT_EQ(firstFreeNumber(65535, [](WORD number) { return number != 2; }), 2);
  EXPECT_EQ(firstFreeNumber(7, [](WORD) { return true; }), std::nullopt);
}

}  // namespace
}  // namespace nimboxi
