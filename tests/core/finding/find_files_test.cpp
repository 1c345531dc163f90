// Directory search and the wildcards of its patterns.
#include "nimboxi/finding.h"

#include <set>

#include "tests/core/core_test.h"

using Names = std::set<std::string>;

static int failures = 0;
extern "C" char* strdup(const char* text) noexcept {  // in place of the C library's
  return failures-- > 0 ? nullptr : strndup(text, std::strlen(text));
}

struct FindFiles : CoreTest {
  // The names that a search finds; `data_` is what it says about the last one.
  Names find(const std::string& pattern) {
    Names names;
    std::memset(static_cast<void*>(&data_), '#', sizeof data_);
    HANDLE search = FindFirstFile(pattern.c_str(), &data_);
    if (search == INVALID_HANDLE_VALUE) return names;
    do names.insert(data_.fileName + std::string(data_.alternateName)), sizes_ += data_.sizeLow;
    while (FindNextFile(search, &data_));
    EXPECT_EQ(GetLastError(), 0) << "the end is no error";
    EXPECT_TRUE(done(FindClose(search)));
    return names;
  }

  FindData data_{};
  DWORD sizes_ = 0;  // of all that searches found
};

// Pins(first-occurrence), Pins(star-dot-star): behind a star only the first occurrence of the next character
// is tried, a question mark as itself.
TEST_F(FindFiles, WildcardsMatch) {
  const struct {
    const char *pattern, *name;
    int same, any;  // case
  } cases[] = {
      {"*.*", "nodot", 1, 1}, {"**.*", "nodot", 0, 0}, {"*a", "banana", 0, 0}, {"a**c", "abc", 1, 1},
      {"x?z", "xz", 0, 0},    {"abc", "ab", 0, 0},     {"a***", "a", 1, 1},    {"\xC4*", "\xE4x", 0, 1},
      {"*?", "abc", 0, 0},    {"*?", "ab?", 1, 1},     {"*B*", "abc", 0, 1},   {nullptr, "", 0, 0},
      {"a?c", "abc", 1, 1},   {"ab", "abc", 0, 0},     {"*", "", 1, 1},        {"*", nullptr, 0, 0}};
  for (const auto& [pattern, name, same, any] : cases)
    EXPECT_TRUE(MatchWildcard(pattern, name, 1) == same && MatchWildcard(pattern, name, 0) == any) << name;
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
}

// Pins(two-character-dot-names): a name of a dot and one character is hidden. The root keeps its slash.
TEST_F(FindFiles, APatternFindsWhatItMatches) {
  for (const char* name : {"a.txt", "B.TXT", "c.ini", ".x", ".xy", ".hidden"}) folder_.write(name, "");
  std::filesystem::create_directory("sub");
  EXPECT_EQ(find("/de?"), Names({"dev"}));
  EXPECT_EQ(find("*.*"), Names({"a.txt", "B.TXT", "c.ini", ".xy", ".hidden", "nimboxi.ini", "sub"}));
  EXPECT_EQ(find(folder_.path() + "/s?b"), Names({"sub"}));
  EXPECT_TRUE(done(FileExists("a.*")));
  for (const char* name : {".x", "./C.INI", ""}) EXPECT_EQ(errorOf(FileExists(name)), ERROR_FILE_NOT_FOUND);
}

// Pins(directory-lists-itself), Pins(unsigned-file-time)
TEST_F(FindFiles, ADirectoryListsItsEntriesWithItsOwnData) {
  std::filesystem::create_directory("sub");
  folder_.write("sub/big", std::string(1000, 'x'));
  EXPECT_EQ(find("sub/"), Names({".", "..", "big"}));
  EXPECT_TRUE(data_.attributes == FILE_ATTRIBUTE_DIRECTORY && sizes_ == 0);
  ASSERT_EQ(truncate("sub/big", (int64_t{7} << 32) + 5), 0);
  const timespec times[2] = {{-2, 0}, {-1, 0}};
  struct stat status;
  ASSERT_EQ(utimensat(AT_FDCWD, "sub/big", times, 0) + stat("sub/big", &status), 0);
  EXPECT_EQ(find("sub/b*"), Names({"big"}));
  EXPECT_TRUE(data_.sizeHigh == 7 && data_.sizeLow == 5 && data_.reserved0 + data_.reserved1 == 0);
  const auto ticks = [](uint64_t seconds) { return seconds * 10'000'000 + 116'444'736'000'000'000; };
  EXPECT_EQ(data_.lastWriteTime, ticks(0xFFFFFFFF)) << "unsigned";
  EXPECT_EQ(data_.lastAccessTime, ticks(0xFFFFFFFE));
  EXPECT_EQ(data_.creationTime, ticks(static_cast<uint64_t>(status.st_ctime)));
}

TEST_F(FindFiles, OddNamesAndAFolderThatChangesGiveAnAnswer) {
  ASSERT_EQ(symlink("loop", "loop"), 0);
  for (const std::string& name : {std::string(255, 'n'), std::string("\xFF\n\x01")}) {
    folder_.write(name, "");
    EXPECT_EQ(find("?" + name.substr(1)), Names({name}));
  }
  EXPECT_EQ(find(std::string(5000, 'x') + "/*"), Names());
  EXPECT_TRUE(find("loo?") == Names({"loop"}) && data_.attributes == 0) << "nothing stands behind a loop";
  HANDLE search = FindFirstFile("*", &data_);
  EXPECT_EQ(errorOf(FindNextFile(search, nullptr)), ERROR_FILE_NOT_FOUND);
  std::filesystem::remove_all(folder_.path());
  while (FindNextFile(search, &data_)) EXPECT_EQ(data_.attributes, 0U) << data_.fileName;
  EXPECT_TRUE(FindClose(search));
  for (HANDLE h : {HANDLE{nullptr}, INVALID_HANDLE_VALUE})
    EXPECT_TRUE(errorOf(FindNextFile(h, &data_)) == 2 && errorOf(FindClose(h)) == 31);
  const auto first = [](auto... arguments) {
    return errorOf(FindFirstFile(arguments...) != INVALID_HANDLE_VALUE);
  };
  expectAll(ERROR_FILE_NOT_FOUND, {first("*", nullptr), first(nullptr, &data_), first("loop/*", &data_)});
  failures = 4;
  expectAll(ERROR_NOT_ENOUGH_MEMORY, {first("*", &data_), first("loop/*", &data_), first("/", &data_)});
}
