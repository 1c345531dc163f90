// Directory search and the wildcards of its patterns.
#include "nimboxi/finding.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <set>

#include "nimboxi/errors.h"
#include "nimboxi/files.h"
#include "tests/support/locked_layer.h"

namespace nimboxi {
namespace {

using Names = std::set<std::string>;

class FindFiles : public testing::Test {
 protected:
  // The names that a search finds; `data` is what it says about the last one.
  static Names find(const std::string& pattern, FindData* data) {
    Names names;
    HANDLE search = FindFirstFile(pattern.c_str(), data);
    if (search == INVALID_HANDLE_VALUE) return names;
    do names.insert(data->fileName);
    while (FindNextFile(search, data));
    EXPECT_EQ(GetLastError(), 0) << "the end is no error";
    EXPECT_TRUE(FindClose(search));
    return names;
  }

  LockedLayer layer_;
  FindData data_{};
};

// Behind a star only the first occurrence of the next character is tried, a question mark as itself.
TEST_F(FindFiles, WildcardsMatch) {
  struct Case {
    const char* pattern;
    const char* name;
    BOOL sameCase, otherCase;  // whether it matches with its case, and without
  };
  const Case cases[] = {
      {"*.*", "nodot", 1, 1}, {"**.*", "nodot", 0, 0}, {"*a", "banana", 0, 0}, {"*.ini", "a.b.ini", 0, 0},
      {"x?z", "xz", 0, 0},    {"abc", "ab", 0, 0},     {"a***", "a", 1, 1},    {"a**c", "abc", 1, 1},
      {"*?", "abc", 0, 0},    {"*?", "ab?", 1, 1},     {"*B*", "abc", 0, 1},   {"\xC4*", "\xE4x", 0, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.pattern) + " on " + c.name);
    EXPECT_EQ(MatchWildcard(c.pattern, c.name, TRUE), c.sameCase);
    EXPECT_EQ(MatchWildcard(c.pattern, c.name, FALSE), c.otherCase);
  }
}

TEST_F(FindFiles, APatternFindsWhatItMatches) {
  for (const char* name : {"a.txt", "B.TXT", "c.ini", ".x", ".hidden"}) layer_.folder().write(name, "");
  std::filesystem::create_directory("sub");
  struct Case {
    std::string pattern;
    Names names;
  };
  const Case cases[] = {
      {".x", {}},  // a dot and one character
      {"*.*", {"a.txt", "B.TXT", "c.ini", ".hidden", "nimboxi.ini", "sub"}},
      {"./C.INI", {}},
      {"a.txt/*", {}},
      {"", {}},
      {"/de?", {"dev"}},  // the root keeps its slash
      {layer_.folder().path() + "/s?b", {"sub"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.pattern);
    EXPECT_EQ(find(c.pattern, &data_), c.names);
    EXPECT_EQ(FileExists(c.pattern.c_str()), !c.names.empty());
  }
}

TEST_F(FindFiles, ADirectoryListsItsEntriesWithItsOwnData) {
  std::filesystem::create_directory("sub");
  layer_.folder().write("sub/big", std::string(1000, 'x'));
  EXPECT_EQ(find("sub/", &data_), Names({".", "..", "big"}));
  HANDLE search = FindFirstFile("sub", &data_);
  do EXPECT_EQ(data_.attributes, FILE_ATTRIBUTE_DIRECTORY) << data_.fileName;
  while (FindNextFile(search, &data_));
  EXPECT_TRUE(FindClose(search));
  layer_.folder().write("a.txt", "hello");
  const timespec times[2] = {{0, 0}, {-1, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, "a.txt", times, 0), 0);
  find("a.*", &data_);
  EXPECT_EQ(data_.sizeLow, 5U);
  EXPECT_EQ(data_.lastWriteTime, 0xFFFFFFFFULL * 10'000'000 + 116'444'736'000'000'000) << "unsigned";
}

}  // namespace
}  // namespace nimboxi
