// The layer's settings: what the profile says, and what is written back to it.
#include "compat/services/layer/layer_settings.h"
#include "compat/services/layer/settings_reader.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "compat/services/layer/localized_texts.h"
#include "nimboxi/system.h"
#include "tests/support/started_layer.h"

using namespace nimboxi;

namespace {

LayerSettings currentSettings() {
  CallGuard guard;
  return layerSettings;
}

}  // namespace

TEST(LayerSettings, FirstStartCreatesACompleteProfileAndTheNextLeavesIt) {
  std::string expected = "[Setup]\r\nVersion=4\r\nBellLevel=100\r\n";
  int key = 0;
  for (const std::uint32_t colour : kBuiltInColours)
    expected += "Color" + std::to_string(++key) + "=" + std::to_string(colour) + "\r\n";
  expected += "NoFreeLib=0\r\nTimerRate=50\r\n\r\n[Localize]\r\nLanguage=English\r\n\r\n[English]\r\n";
  key = 0;
  for (const char* text : kBuiltInTexts) expected += std::to_string(++key) + "=" + text + "\r\n";
  const std::string written = StartedLayer().profile();
  EXPECT_EQ(written, expected);
  EXPECT_NE(written.find("\r\nColor57=8388608\r\n"), std::string::npos);
  EXPECT_NE(written.find("\r\n15=%s_This file does not exist__Create the file?\r\n"), std::string::npos);
  EXPECT_EQ(StartedLayer(written).profile(), written);
}

TEST(LayerSettings, RefusedNumbersAreReplacedInTheProfile) {
  const std::vector<std::tuple<std::string, std::string, int, std::uint32_t>> cases = {
      {"NoFreeLib=1", "NoFreeLib=1", 1, 50},         {"NoFreeLib=2", "NoFreeLib=0", 0, 50},
      {"NoFreeLib=yes", "NoFreeLib=yes", 0, 50},     {"TimerRate=0", "TimerRate=50", 0, 50},
      {"TimerRate=1000", "TimerRate=1000", 0, 1000}, {"TimerRate=1001", "TimerRate=50", 0, 50},
  };
  for (const auto& [line, written, noFreeLib, timerRate] : cases) {
    SCOPED_TRACE(line);
    StartedLayer layer("[Setup]\r\nVersion=4\r\n" + line + "\r\n");
    EXPECT_EQ(currentSettings().noFreeLib, noFreeLib);
    EXPECT_EQ(currentSettings().timerRate, timerRate);
    EXPECT_NE(layer.profile().find("\r\n" + written + "\r\n"), std::string::npos);
  }
}

TEST(LayerSettings, OddNumbersAndProfileWithoutVersion) {
  const std::string profile =
      "BellLevel=7\r\nFileCaseMode=5\r\nUseOverride=258\r\nXPrinterMargin=123456789\r\n";
  StartedLayer("[Setup]\r\nVersion=4\r\n" + profile);
  EXPECT_EQ(currentSettings().useOverride, 2U) << "the low byte, whatever the file case mode";
  EXPECT_EQ(currentSettings().xPrinterMargin, 12345678U) << "8 digits are kept";
  StartedLayer layer("[Setup]\r\nVersion=?4\r\n" + profile);
  EXPECT_EQ(currentSettings().bellLevel, 100U);
  EXPECT_NE(layer.profile().find("\r\nBellLevel=100\r\n"), std::string::npos);
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
