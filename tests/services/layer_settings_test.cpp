// The layer's settings: what the profile says, and what is written back to it.
#include "compat/services/layer_settings.h"

#include <gtest/gtest.h>

#include "compat/services/localized_texts.h"
#include "nimboxi/profile.h"
#include "nimboxi/system.h"
#include "tests/support/started_layer.h"

using namespace nimboxi;

namespace {

LayerSettings currentSettings() {
  CallGuard guard;
  return layerSettings;
}

std::string profileValue(const char* section, const char* key) {
  char value[256] = "";
  GetProfileString(section, key, "", value, sizeof value);
  return value;
}

std::string firstProfile() {
  std::string profile = "[Setup]\r\nVersion=4\r\nBellLevel=100\r\n";
  int key = 0;
  const auto add = [&](const std::string& before, const std::string& value) {
    profile += before + std::to_string(++key) + "=" + value + "\r\n";
  };
  for (const std::uint32_t colour : kBuiltInColours) add("Color", std::to_string(colour));
  profile += "NoFreeLib=0\r\nTimerRate=50\r\n\r\n[Localize]\r\nLanguage=English\r\n\r\n[English]\r\n";
  key = 0;
  for (const char* text : kBuiltInTexts) add("", text);
  return profile;
}

}  // namespace

TEST(LayerSettings, FirstStartCreatesACompleteProfileAndTheNextLeavesIt) {
  const std::string written = StartedLayer().profile();
  EXPECT_EQ(written, firstProfile());
  EXPECT_NE(written.find("\r\nColor57=8388608\r\n"), std::string::npos);
  EXPECT_NE(written.find("\r\n15=%s_This file does not exist__Create the file?\r\n"), std::string::npos);
  StartedLayer layer(written);
  EXPECT_EQ(layer.profile(), written);
}

TEST(LayerSettings, RefusedNumbersAreReplacedInTheProfile) {
  const struct {
    const char *key, *value, *written;
    std::uint32_t taken;
  } cases[] = {
      {"NoFreeLib", "1", "1", 1},   {"NoFreeLib", "2", "0", 0},          {"NoFreeLib", "yes", "yes", 0},
      {"TimerRate", "0", "50", 50}, {"TimerRate", "1000", "1000", 1000}, {"TimerRate", "1001", "50", 50},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.key) + "=" + c.value);
    StartedLayer layer(std::string("[Setup]\r\nVersion=4\r\n") + c.key + "=" + c.value + "\r\n");
    const LayerSettings settings = currentSettings();
    EXPECT_EQ(*c.key == 'T' ? settings.timerRate : std::uint32_t{settings.noFreeLib}, c.taken);
    EXPECT_EQ(profileValue("Setup", c.key), c.written);
  }
}

TEST(LayerSettings, OddNumbersOfTheProfile) {
  StartedLayer layer(
      "[Setup]\r\nVersion=4\r\nFileCaseMode=5\r\nUseOverride=258\r\nXPrinterMargin=123456789\r\n");
  EXPECT_EQ(currentSettings().useOverride, 2U) << "the low byte, whatever the file case mode";
  EXPECT_EQ(currentSettings().xPrinterMargin, 12345678U) << "8 digits are kept";
}

TEST(LayerSettings, ProfileWithoutVersionIsRewrittenWithBuiltInValues) {
  StartedLayer layer("[Setup]\r\nVersion=?4\r\nBellLevel=7\r\nNoFreeLib=1\r\n");
  EXPECT_EQ(currentSettings().bellLevel, 100U);
  EXPECT_EQ(profileValue("Setup", "BellLevel"), "100");
}

TEST(LocalizedTexts, ComeFromTheLanguageUnlessSetBefore) {
  SetLocalizedText(22, "Letter");
  StartedLayer layer("[Setup]\r\nVersion=4\r\n[Localize]\r\nLanguage=Dansk\r\n\r\n[Dansk]\r\n6=" +
                     std::string(300, 'x') + "\r\n");
  EXPECT_STREQ(GetLocalizedText(22), "Letter");
  EXPECT_STREQ(GetLocalizedText(5), std::string(254, 'x').c_str());
  EXPECT_EQ(profileValue("Dansk", "23"), "A4");
  for (int32_t index : {-1, 135, INT32_MIN, INT32_MAX}) {
    SetLocalizedText(index, "no");
    EXPECT_EQ(GetLocalizedText(index), nullptr);
  }
}
