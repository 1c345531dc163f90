// The layer's settings: what the profile says, and what is written back to it.
#include "compat/services/layer/layer_settings.h"

#include <gtest/gtest.h>

#include "nimboxi/layer.h"
#include "tests/support/started_layer.h"

using namespace nimboxi;

namespace {

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
  const char* language = "\r\nTimerRate=50\r\n\r\n[Localize]\r\nLanguage=English\r\n\r\n[English]\r\n1=\r\n";
  EXPECT_NE(written.find(language), std::string::npos);
  EXPECT_EQ(hashOf(written), 12114034405724774947u) << "a colour or a text is another:\n" << written;
  EXPECT_EQ(StartedLayer(written).profile(), written);
}

// Pins(no-free-lib-rewritten) Pins(no-version-is-new) Pins(file-case-mode)
TEST(LayerSettings, NumbersAndWhatIsWrittenInTheirPlace) {
  // What lines of the profile give: NoFreeLib, timer rate, bell level; and a line that stands there
  // afterwards.
  const auto expect = [](const std::string& lines, const std::string& settings, const std::string& written) {
    SCOPED_TRACE(lines);
    const std::string always = "FileCaseMode=5\r\nUseOverride=258\r\nXPrinterMargin=123456789\r\n";
    const StartedLayer layer("[Setup]\r\n" + always + lines + "\r\n");
    CallGuard guard;
    EXPECT_EQ(std::to_string(layerSettings.noFreeLib) + " " + std::to_string(layerSettings.timerRate) + " " +
                  std::to_string(layerSettings.bellLevel),
              settings);
    EXPECT_EQ(layerSettings.useOverride, 2U) << "the low byte, whatever the file case mode";
    EXPECT_EQ(layerSettings.xPrinterMargin, 12345678U) << "8 digits are kept";
    EXPECT_NE(layer.profile().find("\r\n" + written + "\r\n"), std::string::npos);
  };
  expect("Version=4\r\nNoFreeLib=1", "1 50 100", "NoFreeLib=1");
  expect("Version=4\r\nNoFreeLib=2", "0 50 100", "NoFreeLib=0");
  expect("Version=4\r\nNoFreeLib=yes", "0 50 100", "NoFreeLib=yes");
  expect("Version=4", "0 50 100", "NoFreeLib=0");
  expect("Version=4\r\nTimerRate=0", "0 50 100", "TimerRate=50");
  expect("Version=4\r\nTimerRate=1000", "0 1000 100", "TimerRate=1000");
  expect("Version=4\r\nTimerRate=1001", "0 50 100", "TimerRate=50");
  expect("Version=4\r\nBellLevel=7", "0 50 7", "BellLevel=7");
  expect("Version=?4\r\nBellLevel=7\r\nNoFreeLib=1", "0 50 100", "BellLevel=100");
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
