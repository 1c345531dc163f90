// The profile calls on real files: names, the one-entry cache, what is copied and what is written, and what
// becomes of a file when a write fails or meets another.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include "compat/services/profile/profile_path.h"
#include "nimboxi/errors.h"
#include "nimboxi/profile.h"
#include "tests/support/resource_limit.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_client.h"

using namespace nimboxi;
using std::string_literals::operator""s;

class ProfileFiles : public testing::Test {
 protected:
  ProfileFiles() { std::filesystem::current_path(folder_.path()); }
  ~ProfileFiles() override {
    std::filesystem::current_path(before_);
    setLayerProfilePath(nullptr);
  }

  // The value of x in section A, "(none)" when there is none.
  static std::string x(const char* name) {
    char buffer[64];
    return {buffer, GetPrivateProfileString("A", "x", "(none)", buffer, sizeof buffer, name)};
  }
  static bool write(const char* name, const char* value, const std::string& key = "x") {
    return WritePrivateProfileString("A", key.c_str(), value, name);
  }
  // The files are named from the working directory.
  void put(const char* name, const std::string& text) { folder_.write(name, text); }
  std::string get(const char* name) { return folder_.read(name); }

  TempFolder folder_;
  const std::filesystem::path before_ = std::filesystem::current_path();
};

TEST_F(ProfileFiles, ValuesAreCutToTheBuffer) {
  put("a.ini", "[A]\r\nlong=12345678901234567890\r\nempty=\r\n");
  const auto read = [](const char* key, const char* defaultValue, DWORD size) {
    std::string buffer(10, '#');
    const DWORD length = GetPrivateProfileString("A", key, defaultValue, buffer.data(), size, "a.ini");
    return std::to_string(length) + ":" + buffer;
  };
  EXPECT_EQ(read("long", "d", 8), "7:1234567\0##"s);
  EXPECT_EQ(read("long", "d", 0), "0:##########");
  EXPECT_EQ(read("empty", "d", 10), "0:\0#########"s) << "an empty value is a value";
  EXPECT_EQ(read("none", "abc", 3), "2:ab\0#######"s) << "the default is cut too";
  EXPECT_EQ(read("none", nullptr, 10), "0:##########");
  EXPECT_EQ(read(nullptr, "d", 10), "0:##########");
}

// Pins(uncached-read-drops)
TEST_F(ProfileFiles, AFileIsReadOnceUntilSomethingEmptiesTheCache) {
  char buffer[32];
  EXPECT_TRUE(write("b.ini", "other")) << "a write makes the file";
  EXPECT_EQ(x("a.ini"), "(none)");
  put("a.ini", "[A]\nx=1\n");
  EXPECT_EQ(x("a.ini"), "1") << "a missing file is not kept";
  put("a.ini", "[A]\nx=2\n");
  EXPECT_EQ(x("a.ini"), "1") << "a change on disk is not seen";
  EXPECT_EQ(x("b.ini"), "other");
  EXPECT_EQ(x("a.ini"), "2") << "another file took the one entry";
  put("a.ini", "[A]\nx=3\n");
  EXPECT_EQ(GetPrivateProfileSection("A", buffer, sizeof buffer, "b.ini"), 8u);
  EXPECT_EQ(x("a.ini"), "3") << "a section read of any file empties it";
  EXPECT_TRUE(write("a.ini", "4"));
  EXPECT_EQ(x("a.ini"), "4") << "so does a write";
}

TEST_F(ProfileFiles, WritesByteForByteInTheFileThatALinkStandsFor) {
  std::filesystem::create_symlink("a.ini", "link.ini");
  EXPECT_TRUE(write("link.ini", "v"));
  EXPECT_EQ(get("a.ini"), "[A]\r\nx=v\r\n") << "a file that the link alone knew of";
  std::filesystem::permissions("a.ini", std::filesystem::perms{0642});
  std::filesystem::create_hard_link("a.ini", "same.ini");
  const auto after = [this](const std::string& before) {
    put("a.ini", before);
    SetLastError(-1);
    EXPECT_TRUE(write("link.ini", "v") && GetLastError() == 0);
    return get("same.ini");
  };
  EXPECT_EQ(after("[B]\r\nx=1\r\n"), "[B]\r\nx=1\r\n\r\n[A]\r\nx=v\r\n") << "a new section";
  EXPECT_EQ(after("[A]\nx=1\ny=2\n"), "[A]\nx=v\r\ny=2\n") << "old line ends stay, new ones are CR LF";
  EXPECT_EQ(after("[A]\nx=12345\ny=2\n"), "[A]\nx=v\r\ny=2\n") << "a shorter text";
  EXPECT_EQ(after("[A]\r\ny=1"), "[A]\r\ny=1x=v\r\n") << "no line end";
  EXPECT_EQ(after("[A]\nx=1\0tail\0"s), "[A]\nx=v\r\n\0tail\0"s) << "nothing behind a NUL is lost";
  EXPECT_EQ(after("\0old"s), "\r\n[A]\r\nx=v\r\n\0old"s) << "a file that begins with a NUL";
  EXPECT_EQ(std::filesystem::status("a.ini").permissions(), std::filesystem::perms{0642});
}

TEST_F(ProfileFiles, AWriteThatFailsLeavesEverythingAsItWas) {
  std::filesystem::create_directory("directory");
  put("huge.ini", "[A]\nx=1\n");
  std::filesystem::resize_file("huge.ini", std::uintmax_t{1} << 31);
  for (const char* name : {"directory", "huge.ini", "missing/a.ini"})
    EXPECT_FALSE(x(name) != "(none)" || write(name, "2")) << name;
  EXPECT_EQ(std::filesystem::file_size("huge.ini"), std::uintmax_t{1} << 31);
  signal(SIGXFSZ, SIG_IGN);
  const std::string text = "[A]\r\nx=1\r\ny=2\r\n";
  put("full.ini", text);
  for (const std::size_t room : {text.size() + 2, text.find('1') + 1}) {  // none to grow, none to change
    const ResourceLimit noMoreBytes(RLIMIT_FSIZE, room);
    EXPECT_FALSE(write("full.ini", "2345") || (room < text.size() && write("full.ini", "2")));
    EXPECT_EQ(get("full.ini"), text);
  }
}

// When a file that is read cannot be opened for want of a descriptor, the write that follows may get one.
TEST_F(ProfileFiles, AWriteTakesAFileThatItCannotOpenForNoEmptyOne) {
  put("a.ini", "[A]\nother=1\n");
  const rlim_t one = ResourceLimit::descriptors(1);
  std::atomic<bool> started{false};  // before the limit, under which a sanitizer cannot look at a new thread
  const std::jthread rival([&started](const std::stop_token& stop) {
    for (started = true; !stop.stop_requested();) close(open("/dev/null", O_RDONLY | O_CLOEXEC));
  });
  while (!started) YieldThread();
  {
    const ResourceLimit oneLeft(RLIMIT_NOFILE, one);
    for (int i = 0, failures = 0; failures < 200 && i < 50000; ++i) failures += !write("a.ini", "1");
  }
  EXPECT_EQ(get("a.ini").substr(0, 12), "[A]\nother=1\n");
}

TEST_F(ProfileFiles, ProcessesThatWriteOneFileLoseNothing) {
  const std::string before = "[Ports]\nCOM3=/dev/ttyS2\n\n\n[A]\n";
  put("a.ini", before);
  for (int key = 0; key < 800; key += 200) {
    if (fork() != 0) continue;
    for (int i = key; i < key + 200; ++i) write("a.ini", "1", std::to_string(i));
    _exit(0);
  }
  while (wait(nullptr) > 0) continue;
  const std::string text = get("a.ini");
  EXPECT_EQ(text.substr(0, before.size()), before);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\r'), 800);
}

TEST_F(ProfileFiles, ALockThatIsNotGivenBackIsWaitedForOnce) {
  const Descriptor holder(open("a.ini", O_RDONLY | O_CREAT | O_CLOEXEC, 0600));
  EXPECT_EQ(flock(holder.number(), LOCK_EX), 0);
  EXPECT_TRUE(write("a.ini", "1"));
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 50; ++i) EXPECT_TRUE(write("a.ini", "2"));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  EXPECT_EQ(get("a.ini"), "[A]\r\nx=2\r\n");
}

// Opening such a file reads its entry from the layer profile, which must not stay in the cache.
// Pins(line-end-is-success)
TEST_F(ProfileFiles, AProfileNamedLikeAPort) {
  put("LPT9x.ini", "[A]\nx=file\n");
  put("layer.ini", "[A]\nx=1\n");
  setLayerProfilePath("layer.ini");
  EXPECT_EQ(x("LPT9x.ini"), "(none)") << "without an entry the port is meant";
  put("layer.ini", "[A]\nx=2\n[Ports]\nLPT9X.INI=LPT9x.ini\nLPT1=device,parallelport\n");
  EXPECT_EQ(x("win.ini"), "2");
  EXPECT_EQ(x("LPT9x.ini"), "file") << "an entry without a line type means the file";
  signal(SIGXFSZ, SIG_IGN);
  for (const std::size_t room : {20000u, 5000u}) {
    put("device", "[A]\r\nx=1\r\ny=" + std::string(10000, 'z'));
    const ResourceLimit noMoreBytes(RLIMIT_FSIZE, room);
    EXPECT_TRUE(write("LPT1", "12")) << "the line's end decides, not the rest";
    EXPECT_EQ(get("device").substr(0, 11), "[A]\r\nx=12\r\n");
  }
  setLayerProfilePath("LPT9x.ini");
  put("LPT9x.ini", "[Ports]\nLPT9X.INI=LPT9x.ini\n\n\n[A]\nx=before\n");
  EXPECT_TRUE(write("win.ini", "after"));
  EXPECT_EQ(x("nimboxi.ini"), "after");
}

// Pins(root-profile)
TEST(LayerProfile, StandsBesideTheProgram) {
  EXPECT_EQ(layerProfileFolder("/opt/a.b/nimbolsp"), "/opt/a.b");
  EXPECT_EQ(layerProfileFolder("nimbolsp"), "");
}
