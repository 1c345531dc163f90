// The layer's start and end: where the profile stands and what is read from it and written back, what runs
// without a lock, what is there afterwards.
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include "compat/services/layer/layer_settings.h"
#include "compat/services/layer/startup.h"
#include "compat/services/profile/profile_path.h"
#include "nimboxi/errors.h"
#include "nimboxi/files.h"
#include "nimboxi/system.h"
#include "nimboxi/text.h"
#include "tests/support/started_layer.h"

using namespace nimboxi;

// Pins(root-profile)
TEST(LayerStartup, ProfileStandsWhereTheEnvironmentSaysElseBesideTheProgram) {
  for (const std::string& directory :
       {std::string(MAX_PATH_BYTES, '/'), std::string(), std::string("/no/where")}) {
    SCOPED_TRACE(directory);
    const TempFolder program;
    setLayerProfilePath("");
    setenv("NIMBOXIDIR", directory.c_str(), 1);
    EXPECT_EQ(LayerStartup(program.file("program").c_str(), nullptr, 0), 0);
    unsetenv("NIMBOXIDIR");
    EXPECT_STREQ(GetLocalizedText(2), "OK");
    LayerShutdown();
    EXPECT_EQ(program.read("nimboxi.ini").empty(), directory == "/no/where");
  }
  EXPECT_EQ(layerProfileFolder("/opt/a.b/nimbolsp"), "/opt/a.b");
  EXPECT_EQ(layerProfileFolder("nimbolsp"), "");
}

TEST(LayerStartup, NeedsNoThreadKeys) {
  std::vector<pthread_key_t> keys;
  for (pthread_key_t key; pthread_key_create(&key, nullptr) == 0;) keys.push_back(key);
  alarm(30);  // ends a wait for a lock that is never given back
  const StartedLayer layer;
  EXPECT_NE(layer.profile().find("\r\n135=Restore defaults\r\n"), std::string::npos);
  const auto use = [] {
    CallGuard guard;
    EXPECT_TRUE(lstrlen("nested") == 6 && guardDepth() == 1);
    SetLastError(ERROR_GEN_FAILURE);
    EXPECT_EQ(GetLastError(), 0) << "nothing can be kept";
  };
  std::thread(use).join();
  use();
  const std::string file = layer.folder().file("nimboxi.ini");
  EXPECT_TRUE(CopyFile(file.c_str(), (file + ".new").c_str(), TRUE)) << "nothing is in its way";
  for (const pthread_key_t key : keys) pthread_key_delete(key);
}

TEST(LayerShutdown, MayBeRepeatedAndFollowedByAStart) {
  const TempFolder folder;
  const std::string path = folder.file(std::string(MAX_PATH_BYTES, 'p'));
  setLayerProfilePath(folder.file("nimboxi.ini").c_str());
  const auto expect = [](bool started, std::uint32_t depth, const std::string& programPath) {
    CallGuard guard;
    EXPECT_TRUE(layerState.started == started && layerState.shuttingDown == !started);
    EXPECT_EQ(guardDepth(), depth);
    EXPECT_EQ(layerState.programPath == nullptr ? "" : layerState.programPath, programPath);
    EXPECT_EQ(GetLocalizedText(2) != nullptr, started);
    char errorText[9] = "";
    GetLastErrorText(errorText, sizeof errorText);
    EXPECT_STREQ(errorText, started ? "text" : "");
  };
  for (const int32_t withoutLock : {0, 0, 1}) {
    EXPECT_EQ(LayerStartup(path.c_str(), nullptr, withoutLock), 0);
    EXPECT_LT(GetTickCount() + 25, 60000U) << "milliseconds since the start";
    SetLastErrorText("text");
    expect(true, withoutLock == 0 ? 1 : 0, path.substr(0, MAX_PATH_BYTES - 1));
    for (int i = 0; i < 2; ++i) LayerShutdown(), expect(false, 0, "");
  }
}

TEST(LayerSettings, FirstStartCreatesACompleteProfileAndTheNextLeavesIt) {
  const StartedLayer layer;
  const std::string written = layer.profile(), file = layer.folder().file("nimboxi.ini");
  std::uint64_t hash = 0xCBF29CE484222325;  // FNV-1a: stands for a text that is too long to be written here
  for (const char byte : written) hash = (hash ^ static_cast<std::uint8_t>(byte)) * 0x100000001B3;
  EXPECT_EQ(hash, 12114034405724774947u) << "a colour or a text is another:\n" << written;
  LayerShutdown();
  std::filesystem::last_write_time(file, {});
  EXPECT_EQ(LayerStartup(nullptr, nullptr, 0), 0);
  EXPECT_EQ(std::filesystem::last_write_time(file), std::filesystem::file_time_type{}) << "not even opened";
}

// Pins(no-free-lib-rewritten) Pins(no-version-is-new) Pins(file-case-mode)
TEST(LayerSettings, NumbersAndWhatIsWrittenInTheirPlace) {
  // What lines of the profile give: version, NoFreeLib, timer rate, bell level; and what stands there then.
  const auto expect = [](const std::string& lines, const std::string& settings, const std::string& written) {
    SCOPED_TRACE(lines);
    const StartedLayer layer(
        "[Setup]\r\nFileCaseMode=5\r\nUseOverride=258\r\nXPrinterMargin=123456789\r\nYPrinterMargin=7\r\n" +
        lines + "\r\nColor2=4294967295\r\n");
    CallGuard guard;
    EXPECT_EQ(std::to_string(GetVersion()) + " " + std::to_string(layerSettings.noFreeLib) + " " +
                  std::to_string(layerSettings.timerRate) + " " + std::to_string(layerSettings.bellLevel),
              settings);
    EXPECT_EQ(layerSettings.useOverride, 2U) << "the low byte, whatever the file case mode";
    EXPECT_EQ(layerSettings.xPrinterMargin + layerSettings.yPrinterMargin, 12345678U + 7U) << "8 digits";
    ColourTable colours = kBuiltInColours;
    if (lines[8] != '?') colours[1] = 0xFFFFFFFF;
    EXPECT_EQ(layerSettings.colours, colours);
    EXPECT_NE(layer.profile().find("\r\n" + written + "\r\n"), std::string::npos);
  };
  expect("Version=4294967303\r\nNoFreeLib=1\r\nTimerRate=1", "7 1 1 100", "NoFreeLib=1\r\nTimerRate=1");
  expect("Version=4\r\nNoFreeLib=2\r\nTimerRate=1000", "4 0 1000 100", "NoFreeLib=0\r\nTimerRate=1000");
  expect("Version=4\r\nNoFreeLib=yes\r\nTimerRate=1001", "4 0 50 100", "NoFreeLib=yes\r\nTimerRate=50");
  expect("Version=4", "4 0 50 100", "NoFreeLib=0\r\nTimerRate=50");
  expect("Version=4\r\nBellLevel=4294967295\r\nTimerRate=0", "4 0 50 4294967295",
         "BellLevel=4294967295\r\nTimerRate=50");
  expect("Version=?4\r\nBellLevel=7\r\nNoFreeLib=1", "4 0 50 100", "BellLevel=100\r\nNoFreeLib=0");
}

TEST(LocalizedTexts, ComeFromTheLanguageUnlessSetBefore) {
  for (const char* text : {"other", "Letter", static_cast<const char*>(nullptr)}) SetLocalizedText(22, text);
  const std::string longText(300, 'x');
  StartedLayer layer("[Setup]\nVersion=4\n[Localize]\nLanguage=Dansk\n\n\n[Dansk]\n6=" + longText + "\n7=\n");
  EXPECT_STREQ(GetLocalizedTextByIndex(22), "Letter");
  EXPECT_EQ(GetLocalizedText(5), longText.substr(0, 254));
  EXPECT_STREQ(GetLocalizedText(6), "Ignore") << "an empty one";
  EXPECT_NE(layer.profile().find("\n7=Ignore\r\n1=\r\n2=\r\n3=OK\r\n"), std::string::npos);
  EXPECT_NE(layer.profile().find("\r\n23=A4\r\n"), std::string::npos);
  for (int32_t index : {-1, 135, INT32_MIN, INT32_MAX}) {
    SetLocalizedText(index, "no");
    EXPECT_EQ(GetLocalizedText(index), nullptr);
  }
  EXPECT_STREQ(GetLocalizedText(134), "Restore defaults");
}
