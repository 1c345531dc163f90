// Reading the layer's settings and completing the layer profile.
#include "compat/services/layer/settings_reader.h"

#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "compat/services/layer/layer_settings.h"
#include "compat/services/layer/localized_texts.h"
#include "nimboxi/profile.h"
#include "nimboxi/text.h"

namespace nimboxi {
namespace {

constexpr const char* kSection = "Setup";
constexpr std::uint32_t kSlowestTimerRate = 1;
constexpr std::uint32_t kFastestTimerRate = 1000;
constexpr DWORD kSetupSize = 9;  // bytes of a value with its NUL
constexpr DWORD kValueSize = 255;
constexpr DWORD kLanguageSize = 256;
constexpr DWORD kNumberSize = 34;  // what IntToText may need
constexpr DWORD kKeySize = sizeof "Color" + kNumberSize;

struct Number {
  explicit Number(std::uint32_t value) { IntToText(static_cast<std::int32_t>(value), text, 10); }
  char text[kNumberSize];
};

struct ColourKey {
  explicit ColourKey(std::size_t index) {
    std::snprintf(text, sizeof text, "Color%s", Number(static_cast<std::uint32_t>(index + 1)).text);
  }
  char text[kKeySize];
};

// The low 32 bits of a number; 0 for a text that is none.
std::uint32_t parseNumber(const char* text) {
  return static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
}

std::uint32_t readSetupNumber(const char* key, const char* defaultValue) {
  char value[kSetupSize] = "";
  GetProfileString(kSection, key, defaultValue, value, kSetupSize);
  return parseNumber(value);
}

std::uint32_t readNumber(const char* key, const char* defaultValue) {
  char value[kValueSize] = "";
  GetProfileString(kSection, key, defaultValue, value, kValueSize);
  return parseNumber(value);
}

void writeNumber(const char* key, std::uint32_t value) {
  WriteProfileString(kSection, key, Number(value).text);
}

void readNoFreeLib() NIMBOXI_REQUIRES(layerGuard) {
  const std::uint32_t value = readNumber("NoFreeLib", "9");
  layerSettings.noFreeLib = value == 1;
  // Required(no-free-lib-rewritten): any other number, also that of a missing key, is replaced in the file.
  if (value > 1) WriteProfileString(kSection, "NoFreeLib", "0");
}

void readColours() NIMBOXI_REQUIRES(layerGuard) {
  for (std::size_t i = 0; i < kColourCount; ++i) {
    std::uint32_t& colour = layerSettings.colours[i];
    colour = readNumber(ColourKey(i).text, Number(colour).text);
  }
}

void writeBuiltInValues() NIMBOXI_REQUIRES(layerGuard) {
  writeNumber("Version", layerVersion.load(std::memory_order_relaxed));
  writeNumber("BellLevel", layerSettings.bellLevel);
  for (std::size_t i = 0; i < kColourCount; ++i) writeNumber(ColourKey(i).text, layerSettings.colours[i]);
  writeNumber("NoFreeLib", layerSettings.noFreeLib ? 1 : 0);
}

// Returns the timer rate that the profile asks for.
std::uint32_t readOrCreateSetup() NIMBOXI_REQUIRES(layerGuard) {
  char version[kValueSize] = "";
  GetProfileString(kSection, "Version", "?", version, kValueSize);
  if (version[0] == '?') {
    // Required(no-version-is-new): without a version the profile is new; whatever else it says is
    // overwritten, not read.
    writeBuiltInValues();
    return 0;
  }
  layerVersion.store(parseNumber(version), std::memory_order_relaxed);
  layerSettings.bellLevel = readNumber("BellLevel", "100");
  readColours();
  readNoFreeLib();
  return readNumber("TimerRate", "0");
}

void readLanguage(char* language) {
  GetProfileString("Localize", "Language", "", language, kLanguageSize);
  if (language[0] != '\0') return;
  WriteProfileString("Localize", "Language", "English");
  lstrcpy(language, "English");
}

}  // namespace

void readSetupSettings() {
  readSetupNumber("FileCaseMode", "0");  // Required(file-case-mode): read, and without any effect.
  layerSettings.useOverride = static_cast<std::uint8_t>(readSetupNumber("UseOverride", "0"));
  layerSettings.xPrinterMargin = readSetupNumber("XPrinterMargin", "10");
  layerSettings.yPrinterMargin = readSetupNumber("YPrinterMargin", "10");
}

void ReadLayerSettings() {
  const std::uint32_t rate = readOrCreateSetup();
  if (rate >= kSlowestTimerRate && rate <= kFastestTimerRate) {
    layerSettings.timerRate = rate;
  } else {
    writeNumber("TimerRate", layerSettings.timerRate);
  }
  char language[kLanguageSize] = "";
  readLanguage(language);
  readLocalizedTexts(language);
}

}  // namespace nimboxi
