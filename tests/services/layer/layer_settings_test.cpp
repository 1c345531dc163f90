// The layer's settings: what the profile says, and what is written back to it.
#include "compat/services/layer/layer_settings.h"

#include <gtest/gtest.h>

#include "nimboxi/layer.h"
#include "nimboxi/system.h"
#include "tests/support/started_layer.h"

using namespace nimboxi;

namespace {

LayerSettings currentSettings() {
  CallGuard guard;
  return layerSettings;
}

// FNV-1a: stands for a text that is too long to be written down twice.
std::uint64_t hashOf(const std::string& text) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char byte : text) hash = (hash ^ static_cast<std::uint8_t>(byte)) * 0x100000001B3;
  return hash;
}

}  // namespace

TEST(LayerSettings, FirstStartCreatesACompleteProfileAndTheNextLeavesIt) {
  const std::string written = StartedLayer().profile();
  EXPECT_EQ(written.substr(0, 52), "[Setup]\r\nVersion=4\r\nBellLevel=100\r\nColor1=14208192\r\n");
  EXPECT_NE(written.find("\r\nTimerRate=50\r\n\r\n[Localize]\r\nLanguage=English\r\n\r\n[English]\r\n1=\r\n"),
            std::string::npos);
  EXPECT_NE(written.find("\r\n15=%s_This file does not exist__Create the file?\r\n"), std::string::npos);
  EXPECT_EQ(hashOf(written), 12114034405724774947u) << "a colour or a text is not what profiles hold:\n"
                                                    << written;
  EXPECT_EQ(StartedLayer(written).profile(), written);
}

// Pins(no-free-lib-rewritten) Pins(no-version-is-new) Pins(file-case-mode)
TEST(LayerSettings, NumbersAndWhatIsWrittenInTheirPlace) {
  // Lines of the profile, a line of it afterwards, and the settings that they give.
  const auto expect = [](const std::string& lines, const std::string& written, bool noFreeLib,
                         std::uint32_t timerRate, std::uint32_t bellLevel) {
    SCOPED_TRACE(lines);
    const StartedLayer layer("[Setup]\r\nFileCaseMode=5\r\nUseOverride=258\r\nXPrinterMargin=123456789\r\n" +
                             lines + "\r\n");
    const LayerSettings settings = currentSettings();
    EXPECT_EQ(settings.noFreeLib, noFreeLib);
    EXPECT_EQ(settings.timerRate, timerRate);
    EXPECT_EQ(settings.bellLevel, bellLevel);
    EXPECT_EQ(settings.useOverride, 2U) << "the low byte, whatever the file case mode";
    EXPECT_EQ(settings.xPrinterMargin, 12345678U) << "8 digits are kept";
    EXPECT_NE(layer.profile().find("\r\n" + written + "\r\n"), std::string::npos);
  };
  expect("Version=4\r\nNoFreeLib=1", "NoFreeLib=1", true, 50, 100);
  expect("Version=4\r\nNoFreeLib=2", "NoFreeLib=0", false, 50, 100);
  expect("Version=4\r\nNoFreeLib=yes", "NoFreeLib=yes", false, 50, 100);
  expect("Version=4", "NoFreeLib=0", false, 50, 100);
  expect("Version=4\r\nTimerRate=0", "TimerRate=50", false, 50, 100);
  expect("Version=4\r\nTimerRate=1000", "TimerRate=1000", false, 1000, 100);
  expect("Version=4\r\nTimerRate=1001", "TimerRate=50", false, 50, 100);
  expect("Version=4\r\nBellLevel=7", "BellLevel=7", false, 50, 7);
  expect("Version=?4\r\nBellLevel=7\r\nNoFreeLib=1", "BellLevel=100", false, 50, 100);
}

TEST(LocalizedTexts, ComeFromTheLanguageUnlessSetBefore) {
  SetLocalizedText(22, "Letter");
  const std::string longText(300, 'x');
  StartedLayer layer("[Setup]\nVersion=4\n[Localize]\nLanguage=Dansk\n\n\n[Dansk]\n6=" + longText + "\n");
  EXPECT_STREQ(GetLocalizedText(22), "Letter");
  EXPECT_EQ(GetLocalizedText(5), longText.substr(0, 254));
  EXPECT_NE(layer.profile().find("\r\n23=A4\r\n"), std::string::npos);
  for (int32_t index : {-1, 135, INT32_MIN, INT32_MAX}) {
    SetLocalizedText(index, "no");
    EXPECT_EQ(GetLocalizedText(index), nullptr);
  }
}
