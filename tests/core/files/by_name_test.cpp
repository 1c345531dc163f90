// Calls by name, copies and temporary names, against what the system itself says afterwards; path names.
#include <sys/vfs.h>

#include "compat/core/files/path_names.h"
#include "nimboxi/finding.h"
#include "tests/core/core_test.h"
#include "tests/support/eventually.h"
#include "tests/support/resource_limit.h"

using namespace nimboxi;
namespace fs = std::filesystem;
using ByName = CoreTest;

constexpr auto modeOf = [](const char* name) { return fs::status(name).permissions(); };

// Pins(temp-path-backslash)
TEST_F(ByName, AFolderIsCopiedWhereItFits) {
  const auto tempPath = [](const char* tmp, const char* temp, DWORD size) {
    EXPECT_EQ(setenv("TMP", tmp, 1) + setenv("TEMP", temp, 1), 0);
    return fill(size, GetTempPath);
  };
  const std::string length = std::to_string(length_) + " ", longer = std::to_string(length_ + 1) + " ";
  EXPECT_EQ((Texts{fill(length_ + 1, GetCurrentDirectory), fill(length_, GetCurrentDirectory),
                   tempPath("", "", 4096), tempPath("/tmp", "/t", 6), tempPath("/tmp", "/t", 5),
                   tempPath("/tmp", "/t", 4), tempPath("", "/t\\", 99), tempPath("", "/t", 0)}),
            (Texts{length + folder_.path(), longer + "#", longer + folder_.path() + "\\", "5 /tmp\\",
                   "4 /tmp", "5 #", "3 /t\\", "3 #"}));
  EXPECT_EQ(unsetenv("TMP") + unsetenv("TEMP"), 0);
  EXPECT_TRUE(GetCurrentDirectory(4096, nullptr) == length_ + 1 && GetTempPath(99, nullptr) == length_ + 1);
  EXPECT_TRUE(CreateDirectory("sub", nullptr) && SetCurrentDirectory("sub") && RemoveDirectory("../sub"));
  expectAll(ERROR_CURRENT_DIRECTORY,
            {errorOf(GetCurrentDirectory(0, nullptr) != 0), errorOf(GetTempPath(0, nullptr) != 0),
             errorOf(GetFullPathName("x", 0, nullptr, nullptr) != 0)});
}

// Pins(delete-takes-directories): an empty one goes as a file does.
TEST_F(ByName, DirectoriesAndFilesComeAndGo) {
  umask(0);
  EXPECT_TRUE(done(CreateDirectory("sub", nullptr)) && modeOf("sub") == fs::perms{0777});
  folder_.write("sub/file", "");
  EXPECT_EQ((Errors{errorOf(CreateDirectory("sub", nullptr)), errorOf(RemoveDirectory("sub")),
                    errorOf(RemoveDirectory("sub/file")), errorOf(DeleteFile("sub/file")),
                    errorOf(DeleteFile("sub"))}),
            (Errors{ERROR_FILE_EXISTS, ERROR_DIR_NOT_EMPTY, ERROR_INVALID_NAME, 0, 0}));
  for (const auto call : {SetCurrentDirectory, RemoveDirectory, DeleteFile})
    expectAll(ERROR_FILE_NOT_FOUND, {errorOf(call(nullptr)), errorOf(call("missing"))});
}

TEST_F(ByName, AttributesAreThePermissionsOfEverybody) {
  folder_.write("f", "");
  ASSERT_EQ(chmod("f", 06577), 0);
  EXPECT_EQ(GetFileAttributes("f"), 33U) << "its owner alone counts";
  EXPECT_TRUE(done(SetFileAttributes("f", ~1U)) && GetFileAttributes("f") == 32 &&
              modeOf("f") == fs::perms{06777});
  EXPECT_TRUE(done(SetFileAttributes("f", 1)) && GetFileAttributes("f") == 33 &&
              modeOf("f") == fs::perms{06555});
  EXPECT_TRUE(done(IsDirectory(".")) && !IsDirectory("f"));
  for (const char* name : {static_cast<const char*>(nullptr), "missing"})
    EXPECT_TRUE(errorOf(GetFileAttributes(name) != 0) == 31 && errorOf(SetFileAttributes(name, 1)) == 2);
}

// Pins(move-into-writable), Pins(move-drops-drive)
TEST_F(ByName, AMoveOntoAWritableDirectoryGoesIntoIt) {
  for (const char* name : {"a", "d", "locked"}) fs::create_directory(name);
  ASSERT_EQ(chmod("locked", 0555), 0);
  for (const char* name : {"x:b.txt", "old"}) folder_.write(name, name);
  EXPECT_TRUE(done(MoveFile("x:b.txt", "d")) && FileExists("d/b.txt")) << "without its drive";
  EXPECT_EQ(errorOf(MoveFile("d/b.txt", "locked")), ERROR_INVALID_NAME);
  EXPECT_TRUE(done(MoveFile("d", "a"))) << "a writable directory replaces an empty one";
  const bool mayMoveLocked = geteuid() == 0;  // others cannot give it a new ".."
  EXPECT_EQ(MoveFile("locked", "a") && IsDirectory("a/locked"), mayMoveLocked) << "a read-only one goes in";
  EXPECT_EQ(errorOf(MoveFile("a/b.txt", std::string(4090, '/').c_str())), ERROR_LABEL_TOO_LONG);
  EXPECT_TRUE(done(MoveFile("a/b.txt", "old")) && folder_.read("old") == "x:b.txt");
  expectAll(ERROR_FILE_NOT_FOUND, {errorOf(MoveFile("a", nullptr)), errorOf(MoveFile(nullptr, "a"))});
}

// Pins(disk-blocks-1024), Pins(disk-space-false)
TEST_F(ByName, TheDiskCountsItsOwnBlocksAndTheAnswerIsFalse) {
  using Values = std::array<DWORD, 4>;  // sectors, bytes, free, total
  const auto ask = [](const char* root, std::size_t missing = 4) {
    Values values{9, 9, 9, 9};
    const auto place = [&](std::size_t i) { return i == missing ? nullptr : &values[i]; };
    EXPECT_FALSE(GetDiskFreeSpace(root, place(0), place(1), place(2), place(3)));
    return values;
  };
  for (std::size_t missing = 0; missing < 4; ++missing) EXPECT_EQ(ask(".", missing), (Values{9, 9, 9, 9}));
  EXPECT_TRUE(ask("missing") == Values{} && ask(nullptr) == Values{} && GetLastError() == kMark);
  EXPECT_TRUE(eventually([&] {  // others use the disk meanwhile
    struct statfs status {};
    EXPECT_EQ(statfs(".", &status), 0);
    const auto unused = static_cast<DWORD>(status.f_bfree), total = static_cast<DWORD>(status.f_blocks);
    return ask(".") == Values{1, 1024, unused, total};
  }));
}

TEST_F(ByName, ATemporaryNameIsFree) {
  char buffer[MAX_PATH_BYTES];
  const std::string directory(4085, 'x');
  EXPECT_TRUE(buildTempName(directory, "p", 0xAB, buffer) && buffer == directory + "/p00ab.tmp");
  EXPECT_EQ(firstFreeNumber(65535, [](WORD number) { return number != 2; }), 2);
  EXPECT_EQ(firstFreeNumber(7, [](WORD) { return true; }), std::nullopt);
  for (int i = 0; i < 50; ++i) {  // many in one tick
    const ResourceLimit descriptors(RLIMIT_NOFILE, ResourceLimit::descriptors(i < 25 ? 9 : 0));
    const DWORD number = GetTempFileName(strcpy(buffer, "."), "wexec", 9, buffer);
    EXPECT_EQ(GetLastError(), 0);
    EXPECT_TRUE(fs::create_directory(buffer)) << "neither taken nor created";
    EXPECT_EQ(std::stoul(buffer + 7, nullptr, 16), number);
  }
  expectAll(ERROR_FILE_NOT_FOUND, {errorOf(GetTempFileName(nullptr, "p", 0, buffer) != 0),
                                   errorOf(GetTempFileName(".", nullptr, 0, buffer) != 0),
                                   errorOf(GetTempFileName(".", "p", 0, nullptr) != 0)});
  EXPECT_EQ(errorOf(GetTempFileName(".", std::string(4086, 'x').c_str(), 0, buffer) != 0),
            ERROR_LABEL_TOO_LONG);
  EXPECT_STREQ(buffer, "") << "too long by one";
}

TEST_F(ByName, ACopyIsCompleteAndKeepsTheAttributes) {
  for (std::size_t size : {0U, 65535U, 65536U, 65537U}) {
    folder_.write("from", std::string(size, 'x'));
    folder_.write("to", "longer or shorter than what is copied over it");
    EXPECT_TRUE(CopyFile("from", "to", FALSE));
    EXPECT_TRUE(folder_.read("to") == std::string(size, 'x')) << size;
  }
  ASSERT_EQ(chmod("from", 0555), 0);
  EXPECT_TRUE(done(CopyFile("from", "copy", TRUE)) && GetFileAttributes("copy") == 33) << "read-only";
}

TEST_F(ByName, ACopyThatFailsSaysWhyAndLosesNothing) {
  for (const char* name : {"from", "to"}) folder_.write(name, name);
  folder_.write("big", std::string(200'000, 'x'));
  fs::create_symlink("from", "link");
  fs::create_hard_link("from", "hard");
  layer_.setPorts("COM3=/proc/self/mem,rs232\nDelay=-1\n");  // opens, and fails to read its first byte
  const auto copy = [this](const char* existingName, const char* newName, BOOL failIfExists = FALSE) {
    const int32_t error = errorOf(CopyFile(existingName, newName, failIfExists));
    EXPECT_EQ(folder_.read("from") + folder_.read("to"), "fromto");
    return error;
  };
  expectAll(ERROR_FILE_EXISTS, {copy("from", "to", TRUE), copy("from", "to/x", TRUE)});
  expectAll(ERROR_FILE_NOT_FOUND,
            {copy("missing", "to"), copy(nullptr, "to"), copy("from", nullptr, TRUE), copy("from", "no/f")});
  expectAll(ERROR_GEN_FAILURE, {copy("from", "link"), copy("hard", "from")});
  expectAll(ERROR_WRITE_FAULT, {copy("from", "/dev/full"), copy("big", "/dev/full")});
  EXPECT_TRUE(copy("from", "to/x") == ERROR_INVALID_NAME && copy("COM3", "new") == ERROR_READ_FAULT);
}

// A drive reaches to its colon even into the name; an extension may begin before the name.
// Pins(extension-with-name)
TEST_F(ByName, APathIsSplit) {
  const auto split = [](const std::string& path) {
    char parts[4][MAX_PATH_BYTES];
    std::memset(parts, '#', sizeof parts);
    SplitPath(path.c_str(), nullptr, nullptr, nullptr, parts[3]);
    EXPECT_STREQ(parts[3], "") << "it comes with the name alone";
    SplitPath(path.c_str(), nullptr, nullptr, nullptr, nullptr);
    SplitPath(path.empty() ? nullptr : path.c_str(), parts[0], parts[1], parts[2], parts[3]);
    return parts[0] + std::string("|") + parts[1] + "|" + parts[2] + "|" + parts[3];
  };
  EXPECT_EQ((Texts{split("a.b/c"), split("/a/.profile"), split("a.b:c"), split("c:/a//b.tar.gz"),
                   split("a/b:c.d"), split("")}),
            (Texts{"|a.b/|c|", "|/a/||.profile", "a.b:|||.b:c", "c:|/a//|b.tar|.gz", "a/b:||b:c|.d", "|||"}));
  const std::string longName(5000, 'y'), kept(4095, 'y');
  EXPECT_EQ(split(longName + ":" + longName + "/"), kept + "|" + kept + "||");
  EXPECT_EQ(split(longName + "." + longName), "||" + kept + "|." + kept.substr(1));
  EXPECT_EQ(GetLastError(), kMark);
}

// Pins(parent-is-root), Pins(file-part-backslash): ".." leads back to the root; a file part is behind the
// last backslash, or the fourth character.
TEST_F(ByName, AFullPathIsBuiltAndCutToItsBuffer) {
  const auto full = [](const std::string& name, DWORD size = MAX_PATH_BYTES) {
    const auto path = std::make_unique<char[]>(size);  // the sanitizers see its end
    std::fill_n(path.get(), size, '#');
    char* filePart = path.get();
    const DWORD length = GetFullPathName(name.c_str(), size, path.get(), &filePart);
    const int32_t error = errorOf(length != 0);
    if (error != 0 || filePart == nullptr) return std::to_string(error) + (size == 0 ? '0' : path[0]);
    return std::to_string(length) + " " + path.get() + " " + std::to_string(filePart - path.get());
  };
  const std::string longest = "/" + std::string(4094, 'x'), x = folder_.path() + "/x",
                    size = std::to_string(x.size()) + " ";
  EXPECT_EQ((Texts{full("../x"), full(".."), full("///x//..y/"), full("/a/b\\c\\d"), full("/ab\\c"),
                   full("/a\\bc"), full("/abcd\\"), full(longest + "/./"), full(longest + "x"),
                   full(longest + "/y/../z"), full("./x", 0)}),
            (Texts{"2 /x 2", "1 / 1", "6 /x/..y 3", "8 /a/b\\c\\d 7", "5 /ab\\c 4", "5 /a\\bc 3",
                   "6 /abcd\\ 6", "4095 " + longest + " 3", "154#", "154#", "00"}));
  EXPECT_EQ((Texts{full("./x", 1), full("./x", 4), full("x", length_ + 2), full("x", length_ + 3)}),
            (Texts{size + " 0", size + x.substr(0, 3) + " 3", size + x.substr(0, length_ + 1) + " 3",
                   size + x + " 3"}));
  EXPECT_TRUE(done(GetFullPathName("x", 99, nullptr, nullptr) == x.size()));
  EXPECT_EQ(errorOf(GetFullPathName(nullptr, 0, nullptr, nullptr) != 0), ERROR_FILE_NOT_FOUND);
}
