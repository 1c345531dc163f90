// The check of profiles: every finding at its line, the rewriting, the forecast, and the command's statuses.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>

#include "tests/support/temp_folder.h"
#include "tools/commands/command.h"
#include "tools/profile/findings.h"
#include "tools/profile/profile_fix.h"
#include "tools/profile/profile_report.h"
#include "tools/profile/sharing_forecast.h"

namespace nimbolsp::tools {
namespace {

// What is found in a profile, by line; of each kind its slug, with what was meant behind it.
std::map<std::size_t, std::string> findingsOf(const std::string& text) {
  const TempFolder folder;
  const auto visible = readVisibleProfile(text);
  const EffectiveProfile effective = readEffectiveProfile(folder.write("p.ini", text));
  std::map<std::size_t, std::string> byLine;
  for (const Finding& finding : findAll(visible, effective)) {
    std::string& told = byLine[finding.line];
    told += (told.empty() ? "" : " ") + std::string(rowOf(finding.kind).slug);
    if (!finding.suggestion.empty()) told += ":" + finding.suggestion;
  }
  return byLine;
}

struct Line {
  const char* text;
  const char* findings;
};

void expectFindings(const std::vector<Line>& lines, const char* lineEnd) {
  std::string text;
  for (const Line& line : lines) text.append(line.text).append(lineEnd);
  auto found = findingsOf(text);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(found[i + 1], lines[i].findings) << i + 1 << ": " << lines[i].text;
  }
}

TEST(Findings, EveryTrapAtOnceIsNamedAtItsLine) {
  const std::string long256 = "Server9=" + std::string(254, '1') + ":1";
  const std::vector<Line> lines = {
      {"\xEF\xBB\xBFProse is safe here.", "byte-order-mark"},
      {"Port=5900", "key-above-sections"},
      {"[Setup] ; so is this", ""},
      {"Port=70000", "port-range"},
      {"; the first pool", "remark-swallows-key"},
      {"Pool1=Web", ""},
      {";= safe", ""},
      {"PollTimer=5", "wrong-section"},
      {"pool2=WEB", "key-case:Pool2 same-pool"},
      {"Pool4= Reports", "gap blank-in-text"},
      {"Pool5=No]", "no-section pool-bracket"},
      {"Pool65=Far", "too-many"},
      {"LogLineThreshold=1 ; never cut", "text-behind-number never-cut"},
      {"QuietMode =yes", "blank-before-equals not-a-number"},
      {"BucketSize=-5", "below-one"},
      {"", "ends-early"},
      {"DebugMode=65536", "number-wraps"},
      {"Colour=red", "unknown-key"},
      {"[WEB]", "section-not-ended"},
      {"PollTimer=4294968", "poll-timer-range"},
      {"Server1=127.0.0.1:5912", ""},
      {"Sever2=127.0.0.1:5912", "misspelled-key:Server2"},
      {"Server02=127.0.0.010:5912", "key-numbering:Server2 octal-address:127.0.0.10"},
      {"Server3=dbhost:5912", "host-name"},
      {"Server4=127.5:5912 ; one", "text-behind-text short-address:127.0.0.5"},
      {"Server5=127.0.0.01:70000", "padded-address:127.0.0.1 server-port-range"},
      {" Server6=127.0.0.1:5912", "ends-early same-server"},
      {"Server6=1", "repeated-key-differs"},
      {"Server7=300.1.1.1:1", "bad-address"},
      {"Server8=10.0.0.5", "no-server-port"},
      {long256.c_str(), "long-value bad-address"},
      {"Server10=0.0.0.0:x", "any-address no-server-port"},
      {"Server11=", "empty-value"},
      {"", ""},
      {" [Web]", "header-not-first"},
      {"PollTimer=0", "poll-timer-range"},
      {"PollTimer=0", "repeated-key"},
      {"words", "swallows-key"},
      {"Server1=5912", ""},
      {"Server2=\xC3\xA9", "odd-bytes no-server-port"},
      {"", ""},
      {"[ Report ]", "section-blanks unknown-section:Reports"},
      {"", ""},
      {"[Reports", "header-open no-server"},
      {"Server0=1", "key-numbering:Server1"},
      {"[Setup]", "section-not-ended repeated-section"},
      {"LogLineThreshold=20000", "repeated-key-differs"},
  };
  expectFindings(lines, "\r\n");
}

TEST(Findings, WhatALineEndHidesAndWhatIsMissing) {
  expectFindings({{"[Setup]", ""},
                  {"Port= 1", "blank-around-number"},
                  {"Pool1=a", ""},
                  {"LogLineThreshold=10001", "slow-log"},
                  {"", ""},
                  {"[a]", "section-not-ended"},
                  {"Server1=7", ""},
                  {"; the end", "keys-leak"},
                  {"", ""},
                  {"", ""},
                  {"[setup]", "unknown-section:Setup"},
                  {"x=1", ""},
                  {"Server2=8", ""},
                  {"words", ""}},
                 "\n");
  expectFindings(
      {{"[setup]", "section-case:[Setup] no-pools"}, {"Port=0", "port-zero"}, {"words", "without-equals"}},
      "\r\n");
  expectFindings({{"[Setup]", ""},
                  {"Port=\x01"
                   "1",
                   "not-a-number odd-bytes"},
                  {"Pool1=a\x01", "control-character"},
                  {"DebugMode=2\x01", "odd-bytes"},
                  {"BucketSize\x7F=3", "control-character"},
                  {"", ""},
                  {"[a\x01]", "control-character"},
                  {"Server1=\x1B"
                   "5912",
                   "control-character"}},
                 "\r\n");
  expectFindings({{"[Setup]", ""},
                  {"Port=1", ""},
                  {"Pool1=a", ""},
                  {"", ""},
                  {"[a]", ""},
                  {"Server1=\"10.0.0.5:5912\"", "server-quotes:10.0.0.5:5912"},
                  {"Server2='5913'", "server-quotes:5913"},
                  {"Server3=http://10.0.0.5:5914/x", "server-scheme:10.0.0.5:5914"},
                  {"Server4=tcp://dbhost", "server-scheme"},
                  {"Server5=[::1]:5912", "server-ipv6"},
                  {"Server6=fe80::1%eth0", "server-ipv6"},
                  {"Server7=1:2:3:4:5:6:7:8:5912", "server-ipv6"},
                  {"Server8=10.0.0.5:5915/app", "server-path:10.0.0.5:5915"},
                  {"Server9=10.0.0.5/24:80", "server-path:10.0.0.5:80"},
                  {"Server10=5916/x", "server-path:5916"},
                  {"Server11=10.0.0.5:1 // one", "no-server-port"},
                  {"Server12=app1", "host-name"},
                  {"Server13=app2", "host-name"}},
                 "\r\n");
  expectFindings({{"[Setup]", ""},
                  {"Port =5900", "blank-before-equals"},
                  {"Port=70000 ; one", "repeated-key-differs text-behind-number port-range"},
                  {"Pool1=a", ""},
                  {"pool2=A ", "key-case:Pool2 no-section blank-in-text"},
                  {"", ""},
                  {"[ a]", "section-blanks"},
                  {"Server1=5912", ""},
                  {"", ""},
                  {"[a]", "repeated-section"},
                  {"Server01=5912", "key-numbering:Server1 repeated-key"},
                  {"Server1=localhost:1", "repeated-key-differs host-name"}},
                 "\r\n");
  expectFindings({{"[Setup]", "no-pools"},
                  {"Port=1", ""},
                  {"debugmode 2", "swallows-key key-without-equals:DebugMode=2"},
                  {"BucketSize=7", ""},
                  {"Pool1: a", "without-equals key-without-equals:Pool1=a"}},
                 "\r\n");
  const std::pair<std::string, std::map<std::size_t, std::string>> cases[] = {
      {"", {{1, "no-port no-pools"}}},
      {"[Setpu]\r\nPort=1",
       {{1, "unknown-section:Setup no-port:[Setup] for [Setpu] no-pools:[Setup] for [Setpu]"}}},
      {"[Setup]\nPort=1\nPool1=a\n\n\n[a]\nServer1=1\n" + std::string(1, '\0') + "Server2=2",
       {{8, "nul-byte"}}},
      {"[Setup]\nPort=1\nPool1=a\n\n\n[a]\nServer1=1\rServer2=2", {{7, "lone-cr"}}},
      {"[Setup]\rPort=1\rPool1=a\r\r[a]\rServer1=1x", {{6, "no-server-port"}}},
      {std::string(kMostVisibleLines + 1, '\n'), {{1, "too-large"}}},
  };
  std::string ascii = "[Setup]\r\nPort=1\r\nPool1=a\r\n\r\n[a]\r\nServer1=1\r\n", wide, swapped;
  for (const char c : ascii) (wide += c) += '\0', (swapped += '\0') += c;
  for (const std::string& text : {wide, swapped, "\xFF\xFE" + wide, "\xFE\xFF" + swapped}) {
    EXPECT_EQ(findingsOf(text), (std::map<std::size_t, std::string>{{1, "utf-16"}}));
  }
  for (const auto& [text, found] : cases) EXPECT_EQ(findingsOf(text), found) << text.substr(0, 99);
}

TEST(Findings, TheLowestLimitOfTheControlGroupsCounts) {
  const TempFolder folder;
  std::filesystem::create_directories(folder.file("a/b"));
  const std::string groups = folder.write("groups", "1:cpu:/c\n0::/a/b\n");
  const std::pair<const char*, std::uint64_t> writes[] = {
      {"a/b/pids.max", 70}, {"pids.max", 60}, {"a/pids.max", 50}, {"c/pids.max", 50}};
  folder.write("a/pids.max", "max\n");
  EXPECT_EQ(mostTasks(groups, folder.path()), UINT64_MAX);
  std::filesystem::create_directory(folder.file("c"));
  for (const auto& [file, lowest] : writes) {
    folder.write(file, std::to_string(file[0] == 'c' ? 1 : lowest) + "\n");
    EXPECT_EQ(mostTasks(groups, folder.path()), lowest) << file;
  }
}

TEST(ProfileFix, RewritesWhereTheServiceThenLoadsWhatIsVisible) {
  const std::string end = "\r\n";
  const std::string good = "[Setup]\r\nPort=1\r\nPool1=a\r\n\r\n[a]\r\nServer1=127.0.0.1:7\r\n";
  const struct {
    const char* name;
    std::string before, after;
  } cases[] = {
      {"right as it is", good, ""},
      {"LF, one empty line", "[Setup]\nPort=1\nPool1=a\n\n[a]\nServer1=127.0.0.1:7", good},
      {"mark, case, blanks, zeros",
       "\xEF\xBB\xBF [SETUP]\n PORT = 1\n\n\n\npool01=a\n[A]\n\nServer1= 127.0.0.1:7 ", good},
      {"remarks", "x\n\n[Setup]\n; port\nPort=1 ; one\nPool1=a\n[a]\nServer1=127.0.0.1:7\n# the end\n",
       "x\r\n\r\n[Setup]\r\n;= port\r\n;= "
       "one\r\nPort=1\r\nPool1=a\r\n\r\n[a]\r\nServer1=127.0.0.1:7\r\n\r\n# the end\r\n"},
      {"a line without =", "[Setup]\nPort=1\nPool1=a\nServer\n[a]\nServer 1\nServer1=127.0.0.1:7", ""},
      {"a key without = at the end", good + "Server2:127.0.0.1:8\r\n", ""},
      {"a remark with = at the end", good + "# Server2=127.0.0.1:8\r\n", ""},
      {"an octal address", "[Setup]\nPort=1\nPool1=a\n[a]\nServer1=127.0.0.010:7", ""},
      {"a gap", "[Setup]\nPort=1\nPool1=a\n[a]\nServer2=127.0.0.1:7", ""},
      {"UTF-16", std::string("[\0S\0]\0\r\0\n\0", 10), ""},
  };
  for (const auto& row : cases) {
    const TempFolder folder;
    const std::string file = folder.write("p.ini", row.before);
    chmod(file.c_str(), 0604);
    const FixOutcome outcome = fixProfile(file);
    EXPECT_EQ(outcome.changed, !row.after.empty()) << row.name << ": " << outcome.why;
    EXPECT_EQ(folder.read("p.ini"), outcome.changed ? row.after : row.before) << row.name;
    EXPECT_EQ(folder.read("p.ini.bak"), outcome.changed ? row.before : "") << row.name;
    struct stat status {};
    stat(file.c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0604u) << row.name;
  }
}

TEST(ProfileFix, FollowsALinkKeepsFormerBackupsAndLeavesHardLinksAlone) {
  const TempFolder folder;
  const std::string text = "[Setup]\nPort=1\nPool1=a\n[a]\nServer1=7\n";
  const std::string file = folder.write("p.ini", text), link = folder.file("link"),
                    other = folder.file("other");
  folder.write("p.ini.bak", "mine");
  std::filesystem::create_symlink("p.ini", link);
  std::filesystem::create_hard_link(file, other);
  EXPECT_FALSE(fixProfile(link).changed);
  std::filesystem::remove(other);
  EXPECT_EQ(fixProfile(link).backup, std::filesystem::canonical(file).string() + ".bak.1");
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(folder.read("p.ini.bak") + folder.read("p.ini.bak.1"), "mine" + text);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 4)
      << "and no more is left";
}

TEST(Forecast, CountsWhatIsHandedOutUntilEveryCounterIsFull) {
  const PollResult idle{PollEnd::kAnswered, 0, {}, {1, 0, 0, 40}},
      slow{PollEnd::kAnswered, 0, {}, {1, 150, 5, 65}}, endless{PollEnd::kAnswered, 0, {}, {1, 0, 0, 0}},
      dead{PollEnd::kTimedOut, 0, {}, {}};
  const struct {
    const char* name;
    std::vector<PollResult> results;
    std::optional<std::int64_t> room;
    std::size_t withoutRoom;
    double busiest;
    std::optional<std::uint32_t> timer;
    const char* told;
  } cases[] = {
      {"two lists",
       {idle, slow},
       100,
       100,
       0.7,
       10,
       "gets all (100 requests); with a PollTimer up to 10 the next"},
      {"evenly",
       {idle, idle, idle, idle, idle},
       200,
       0,
       0.2,
       20,
       "20.0 s: the next poll comes before that, with a PollTimer up to 20\n"},
      {"no limit", {endless, slow, dead}, std::nullopt, 0, 1, std::nullopt, "never is every server full"},
      {"all dead", {dead, dead}, 0, 200, 1, 0, "all requests, with any PollTimer"}};
  for (const auto& row : cases) {
    const PoolEntry pool{"p", 20'000, std::vector<ServerEntry>(row.results.size())};
    const PoolForecast told = forecast(pool, row.results, 100, 10);
    EXPECT_EQ(told.room, row.room) << row.name;
    EXPECT_EQ(told.requests, 200u) << row.name;
    EXPECT_EQ(told.withoutRoom, row.withoutRoom) << row.name;
    EXPECT_DOUBLE_EQ(told.busiestShare, row.busiest) << row.name;
    EXPECT_EQ(told.longestTimer, row.timer) << row.name;
    ProfileReport report;
    report.forecasts = {told};
    EXPECT_NE(textOf(report).find(row.told), std::string::npos) << textOf(report);
  }
}

TEST(Check, TellsInTextAndJsonAndExitsWithItsStatus) {
  const TempFolder folder;
  folder.write("clean", "[Setup]\r\nPort=65537\r\nPort=1\r\n");
  folder.write("octal", "[Setup]\nPort=1\nPool1=a\n[a]\nServer1=010.1.1.1:1");
  folder.write("nimbolsp.ini", "[Setup]\r\nPort=1\r\nPool1=B\xFCro\r\n\r\n[B\xFCro]\r\nServer1=1\r\n");
  folder.write("fast",
               "[Setup]\r\nPort=1\r\nPool1=a\r\n\r\n[a]\r\nServer1=1\r\nPollTimer=8589935");  // 408 ms
  folder.write("wraps",
               "[Setup]\r\nPort=1\r\nPool1=a\r\n\r\n[a]\r\nServer1=1\r\nPollTimer=4294968");  // 704 ms
  folder.write("zero", "[Setup]\r\nPort=1\r\nPool1=a\r\n\r\n[a]\r\nServer1=1\r\nPollTimer=0");
  folder.write("below", "[Setup]\r\nPort=1\r\nPool1=a\r\n\r\n[a]\r\nServer1=1\r\nPollTimer=-1");
  folder.write("pools", "[Setup]\r\nPort=1\r\nPool1=a\r\nPool2=b\r\nPool3=c\r\n\r\n[a]\r\nServer1=1\r\n");
  folder.write("leak", "[Setup]\nPort=1\nPool1=a\nPool3=c\n\n\n[a]\n[b]\nServer1=1\n");
  folder.write("six", "[Setup]\r\nPort=1\r\nPool1=a\r\n\r\n[a]\r\nServer1=2001:db8::1\r\nServer2='1'\r\n");
  const auto run = [&](const std::string& arguments) {
    return WEXITSTATUS(std::system(
        ("cd " + folder.path() + "; exec >output 2>&1; " NIMBOLSPCTL_PROGRAM " check " + arguments).c_str()));
  };
  const struct {
    std::string arguments;
    int status;
    const char* told;
  } cases[] = {
      {"clean", 2,
       "clean:2: error: \"Port\": the daemon reads 65537 from \"65537\", port 1. Its low 16 bits count."},
      {"--rate 5", 1, "0 of 1 server answered"},
      {"--fix", 1, "nimbolsp.ini: not changed: it is written as --fix would write it\n"},
      {"--fix --profile octal", 2,
       "octal: not changed: it takes a decision, and a rewriting would leave these: octal-address\n"},
      {"fast", 2, "127.0.0.1:1  without a pause\n"},
      {"fast", 2, "\"PollTimer\": with \"8589935\" the daemon polls without a pause. Milliseconds are"},
      {"wraps", 2, "127.0.0.1:1    1 s\n"},
      {"wraps", 2, "with \"4294968\" the daemon polls every 1 s."},
      {"pools", 2, "no section \"[b]\": the daemon ends there, and does not read the pool behind it. A pool"},
      {"pools", 2, "no section \"[c]\": what stands in front keeps the daemon from getting there."},
      {"leak", 2, "pool \"a\" has no \"Server1\": the daemon takes something else for its servers."},
      {"six", 2, "\"2001:db8::1\" is an IPv6 address, and is polled at 0.0.7.209:0, where nothing answers."},
      {"six", 2, "\"'1'\" has quotes, and is polled at 127.0.0.1:0, where nothing answers."},
      {"zero", 2, "with \"0\" the daemon polls every 30 s. 0 stands for the default."},
      {"below", 2, "127.0.0.1:1  4294966 s (49.7 days)\n"},
      {"below", 2, "with \"-1\" the daemon polls every 4294966 s (49.7 days). Milliseconds are"},
      {"/sys/devices/system/cpu/online", kWrongCommandLine, "cannot be read: "},  // shorter than it says
      {"none", kWrongCommandLine, "nimbolspctl: none cannot be read"},
      {"clean --profile clean", kWrongCommandLine, "nimbolspctl: "},
      {">/dev/full", kOutputFailed, "nimbolspctl: standard output"},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(run(row.arguments), row.status) << row.arguments;
    EXPECT_NE(folder.read("output").find(row.told), std::string::npos)
        << row.arguments << folder.read("output");
  }
  run("--json");
  const auto json = nlohmann::json::parse(folder.read("output"));
  EXPECT_TRUE(json["starts"].get<bool>());
  EXPECT_EQ(json["pools"][0]["answersTo"], "B\u00DCRO");
  EXPECT_EQ(json["pools"][0]["servers"][0]["polledAt"], "127.0.0.1:1");
  EXPECT_EQ(json["findings"][0]["slug"], "odd-bytes");
  EXPECT_EQ(json["warnings"], 1);
}

}  // namespace
}  // namespace nimbolsp::tools
