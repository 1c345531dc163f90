// Directory search and the wildcards of its patterns.
#include "nimboxi/finding.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
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

// Pins(first-occurrence), Pins(star-dot-star)
// Behind a star only the first occurrence of the next character is tried, a question mark as itself.
TEST_F(FindFiles, WildcardsMatch) {
  const std::tuple<const char*, const char*, BOOL, BOOL> cases[] = {
      {"*.*", "nodot", 1, 1}, {"**.*", "nodot", 0, 0}, {"*a", "banana", 0, 0}, {"a**c", "abc", 1, 1},
      {"x?z", "xz", 0, 0},    {"abc", "ab", 0, 0},     {"a***", "a", 1, 1},    {"\xC4*", "\xE4x", 0, 1},
      {"*?", "abc", 0, 0},    {"*?", "ab?", 1, 1},     {"*B*", "abc", 0, 1},
  };
  for (const auto& [pattern, name, sameCase, anyCase] : cases) {
    EXPECT_EQ(MatchWildcard(pattern, name, TRUE), sameCase) << pattern << " on " << name;
    EXPECT_EQ(MatchWildcard(pattern, name, FALSE), anyCase) << pattern << " on " << name;
  }
}

// Pins(two-character-dot-names): a name of a dot and one character is hidden. The root keeps its slash.
TEST_F(FindFiles, APatternFindsWhatItMatches) {
  for (const char* name : {"a.txt", "B.TXT", "c.ini", ".x", ".hidden"}) layer_.folder().write(name, "");
  std::filesystem::create_directory("sub");
  const std::pair<std::string, Names> cases[] = {
      {".x", {}},
      {"./C.INI", {}},
      {"", {}},
      {"/de?", {"dev"}},
      {"*.*", {"a.txt", "B.TXT", "c.ini", ".hidden", "nimboxi.ini", "sub"}},
      {layer_.folder().path() + "/s?b", {"sub"}}};
  for (const auto& [pattern, names] : cases) {
    EXPECT_EQ(find(pattern, &data_), names) << pattern;
    EXPECT_EQ(FileExists(pattern.c_str()), !names.empty()) << pattern;
  }
}

// Pins(directory-lists-itself), Pins(unsigned-file-time)
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

TEST_F(FindFiles, OddNamesAndAFolderThatChangesGiveAnAnswer) {
  const std::string longName(255, 'n');
  const std::string bytes = "\xFF\n\x01";
  ASSERT_EQ(symlink("loop", "loop"), 0);
  for (const std::string& name : {longName, bytes}) layer_.folder().write(name, "");
  EXPECT_EQ(find("nn*", &data_), Names({longName}));
  EXPECT_EQ(find(bytes, &data_), Names({bytes}));
  EXPECT_EQ(find("loo?", &data_), Names({"loop"}));
  EXPECT_EQ(data_.attributes, 0U) << "nothing stands behind a loop";
  EXPECT_EQ(find("loop/*", &data_), Names());
  EXPECT_EQ(find(std::string(5000, 'x') + "/*", &data_), Names());

  HANDLE search = FindFirstFile("*", &data_);
  ASSERT_NE(search, INVALID_HANDLE_VALUE);
  std::filesystem::remove_all(layer_.folder().path());
  while (FindNextFile(search, &data_)) EXPECT_EQ(data_.attributes, 0U) << data_.fileName;
  EXPECT_TRUE(FindClose(search));
  const auto expectFailure = [](bool failed, int32_t lastError) {
    EXPECT_TRUE(failed && GetLastError() == lastError);
  };
  expectFailure(FindFirstFile(nullptr, &data_) == INVALID_HANDLE_VALUE, ERROR_FILE_NOT_FOUND);
  expectFailure(!FindNextFile(INVALID_HANDLE_VALUE, &data_), ERROR_FILE_NOT_FOUND);
  expectFailure(!FindClose(nullptr), ERROR_GEN_FAILURE);
  expectFailure(!FileExists("missing/x"), ERROR_FILE_NOT_FOUND);
}

}  // namespace
}  // namespace nimboxi
