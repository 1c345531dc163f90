// Splitting and building path names, by the calls and the rules behind them.
#include "compat/core/files/path_names.h"

#include "tests/core/core_test.h"

using namespace nimboxi;
using PathNames = CoreTest;

// A drive reaches to its colon even into the name; an extension may begin before the name.
// Pins(extension-with-name)
TEST_F(PathNames, APathIsSplit) {
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
TEST_F(PathNames, AFullPathIsBuilt) {
  const auto full = [](const std::string& name) {                // and the position of its file part
    const auto path = std::make_unique<char[]>(MAX_PATH_BYTES);  // the sanitizers see its end
    std::memset(path.get(), '#', MAX_PATH_BYTES);
    char* filePart = path.get();
    const DWORD length = GetFullPathName(name.c_str(), MAX_PATH_BYTES, path.get(), &filePart);
    const int32_t error = errorOf(length != 0);
    if (error != 0) return std::to_string(error) + path[0];
    EXPECT_EQ(length, std::strlen(path.get()));
    return path.get() + (" " + std::to_string(filePart - path.get()));
  };
  const std::string longest = "/" + std::string(4094, 'x');
  EXPECT_EQ((Texts{full("../x"), full("./y"), full(".."), full("///x//..y/"), full("/a/b\\c\\d"),
                   full("/ab\\c"), full("/a\\bc"), full("/abcd\\"), full(longest + "/./"),
                   full(longest + "x"), full(longest + "/y/../z")}),
            (Texts{"/x 2", folder_.path() + "/y 3", "/ 1", "/x/..y 3", "/a/b\\c\\d 7", "/ab\\c 4", "/a\\bc 3",
                   "/abcd\\ 6", longest + " 3", "154#", "154#"}));
}

TEST_F(PathNames, AFullPathIsCutToItsBuffer) {
  for (DWORD size : {0U, 1U, 5U, length_ + 2, length_ + 3}) {
    std::string buffer(size + 1, '#'), expected = (folder_.path() + "/x").substr(0, size - 1);
    char* filePart = buffer.data() + size;
    EXPECT_EQ(GetFullPathName("./x", size, buffer.data(), &filePart), length_ + 2);
    EXPECT_EQ(filePart, size == 0 ? nullptr : buffer.data() + std::min(size - 1, 3U));
    EXPECT_EQ(buffer, size == 0 ? "#" : expected + '\0' + "#");
  }
  EXPECT_TRUE(done(GetFullPathName("x", 99, nullptr, nullptr) == length_ + 2));
  EXPECT_EQ(errorOf(GetFullPathName(nullptr, 0, nullptr, nullptr) != 0), ERROR_FILE_NOT_FOUND);
}

TEST_F(PathNames, TemporaryNamesAreTriedOnceEach) {
  char path[MAX_PATH_BYTES];
  EXPECT_TRUE(buildTempName(std::string(4085, 'x'), "p", 0xAB, path));
  EXPECT_EQ(path, std::string(4085, 'x') + "/p00ab.tmp");
  EXPECT_EQ(firstFreeNumber(65535, [](WORD number) { return number != 2; }), 2);
  EXPECT_EQ(firstFreeNumber(7, [](WORD) { return true; }), std::nullopt);
}
