// Directory search and the wildcards of its patterns.
#include "nimboxi/finding.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>

#include "tests/core/core_test.h"

using Names = std::set<std::string>;

class FindFiles : public CoreTest {
 protected:
  // The names that a search finds; `data_` is what it says about the last one.
  Names find(const std::string& pattern) {
    Names names;
    HANDLE search = FindFirstFile(pattern.c_str(), &data_);
    if (search == INVALID_HANDLE_VALUE) return names;
    do names.insert(data_.fileName);
    while (FindNextFile(search, &data_));
    EXPECT_EQ(failure(false), 0) << "the end is no error";
    EXPECT_TRUE(FindClose(search));
    return names;
  }

  FindData data_{};
};

// Pins(first-occurrence), Pins(star-dot-star): behind a star only the first occurrence of the next character
// is tried, a question mark as itself.
TEST_F(FindFiles, WildcardsMatch) {
  const struct {
    const char *pattern, *name;
    BOOL sameCase, anyCase;
  } cases[] = {
      {"*.*", "nodot", 1, 1}, {"**.*", "nodot", 0, 0}, {"*a", "banana", 0, 0}, {"a**c", "abc", 1, 1},
      {"x?z", "xz", 0, 0},    {"abc", "ab", 0, 0},     {"a***", "a", 1, 1},    {"\xC4*", "\xE4x", 0, 1},
      {"*?", "abc", 0, 0},    {"*?", "ab?", 1, 1},     {"*B*", "abc", 0, 1},   {nullptr, "", 0, 0},
  };
  for (const auto& [pattern, name, sameCase, anyCase] : cases) {
    EXPECT_EQ(MatchWildcard(pattern, name, TRUE), sameCase) << name;
    EXPECT_EQ(MatchWildcard(pattern, name, FALSE), anyCase) << name;
  }
}

// Pins(two-character-dot-names): a name of a dot and one character is hidden. The root keeps its slash.
TEST_F(FindFiles, APatternFindsWhatItMatches) {
  for (const char* name : {"a.txt", "B.TXT", "c.ini", ".x", ".hidden"}) folder_.write(name, "");
  std::filesystem::create_directory("sub");
  const std::pair<std::string, Names> cases[] = {
      {".x", {}},
      {"./C.INI", {}},
      {"", {}},
      {"/de?", {"dev"}},
      {"*.*", {"a.txt", "B.TXT", "c.ini", ".hidden", "nimboxi.ini", "sub"}},
      {folder_.path() + "/s?b", {"sub"}}};
  for (const auto& [pattern, names] : cases) {
    EXPECT_EQ(find(pattern), names) << pattern;
    EXPECT_EQ(failure(FileExists(pattern.c_str())), names.empty() ? ERROR_FILE_NOT_FOUND : -1) << pattern;
  }
}

// Pins(directory-lists-itself), Pins(unsigned-file-time)
TEST_F(FindFiles, ADirectoryListsItsEntriesWithItsOwnData) {
  std::filesystem::create_directory("sub");
  folder_.write("sub/big", std::string(1000, 'x'));
  EXPECT_EQ(find("sub/"), Names({".", "..", "big"}));
  HANDLE search = FindFirstFile("sub", &data_);
  do EXPECT_EQ(data_.attributes + data_.sizeLow, FILE_ATTRIBUTE_DIRECTORY) << data_.fileName;
  while (FindNextFile(search, &data_));
  EXPECT_TRUE(FindClose(search));
  folder_.write("a.txt", "hello");
  const timespec times[2] = {{0, 0}, {-1, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, "a.txt", times, 0), 0);
  find("a.*");
  EXPECT_EQ(data_.sizeLow, 5U);
  EXPECT_EQ(data_.lastWriteTime, 0xFFFFFFFFULL * 10'000'000 + 116'444'736'000'000'000) << "unsigned";
}

TEST_F(FindFiles, OddNamesAndAFolderThatChangesGiveAnAnswer) {
  ASSERT_EQ(symlink("loop", "loop"), 0);
  for (const std::string& name : {std::string(255, 'n'), std::string("\xFF\n\x01")}) {
    folder_.write(name, "");
    EXPECT_EQ(find("?" + name.substr(1)), Names({name}));
  }
  for (const std::string& nowhere : {std::string("loop/*"), std::string(5000, 'x') + "/*"})
    EXPECT_EQ(find(nowhere), Names());
  EXPECT_EQ(find("loo?"), Names({"loop"}));
  EXPECT_EQ(data_.attributes, 0U) << "nothing stands behind a loop";
  HANDLE search = FindFirstFile("*", &data_);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  std::filesystem::remove_all(folder_.path());
  while (FindNextFile(search, &data_)) EXPECT_EQ(data_.attributes, 0U) << data_.fileName;
  EXPECT_TRUE(FindClose(search));
  EXPECT_EQ(failure(FindNextFile(INVALID_HANDLE_VALUE, &data_)), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(failure(FindClose(nullptr)), ERROR_GEN_FAILURE);
}
