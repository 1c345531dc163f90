// The user-interface texts: reading, getting, setting, freeing.
#include "compat/services/layer/localized_texts.h"

#include <cstdlib>
#include <cstring>

#include "nimboxi/profile.h"
#include "nimboxi/text.h"

namespace nimboxi {
namespace {

constexpr DWORD kTextSize = 255;  // bytes of a text in the profile with its NUL
constexpr DWORD kKeySize = 34;    // what IntToText may need

// Owned copies; null for an empty slot.
char* localizedTexts[LOCALIZED_TEXT_COUNT] NIMBOXI_GUARDED_BY(layerGuard);

bool isTextIndex(int32_t index) {
  return index >= 0 && index < LOCALIZED_TEXT_COUNT;
}

// Replaces the text of a slot; without memory the old one stays.
void setText(char** slot, const char* text) {
  char* copy = strdup(text);
  if (copy == nullptr) return;
  std::free(*slot);
  *slot = copy;
}

// Whether a section has a key, be its value empty.
bool hasKey(const char* section, const char* key) {
  char value[2];
  GetProfileString(section, key, "?", value, sizeof value);
  return value[0] != '?';
}

// Writes the built-in text of a key that is missing or empty. One that has no text and stands in the profile
// as such is not written again: the file is not opened at every start.
void writeBuiltInText(const char* section, const char* key, const char* text) {
  if (*text != '\0' || !hasKey(section, key)) WriteProfileString(section, key, text);
}

}  // namespace

void readLocalizedTexts(const char* section) {
  for (int32_t i = 0; i < LOCALIZED_TEXT_COUNT; ++i) {
    char key[kKeySize];
    char value[kTextSize] = "";
    IntToText(i + 1, key, 10);
    GetProfileString(section, key, "", value, kTextSize);
    const char* text = value;
    if (value[0] == '\0') {
      text = kBuiltInTexts[static_cast<std::size_t>(i)];
      writeBuiltInText(section, key, text);
    }
    if (localizedTexts[i] == nullptr) setText(&localizedTexts[i], text);
  }
}

}  // namespace nimboxi

using namespace nimboxi;

const char* GetLocalizedText(int32_t index) {
  CallGuard guard;
  return isTextIndex(index) ? localizedTexts[index] : nullptr;
}

const char* GetLocalizedTextByIndex(int32_t index) {
  return GetLocalizedText(index);
}

void SetLocalizedText(int32_t index, const char* text) {
  CallGuard guard;
  if (isTextIndex(index) && text != nullptr) setText(&localizedTexts[index], text);
}

void FreeLocalizedTexts() {
  CallGuard guard;
  for (char*& text : localizedTexts) {
    std::free(text);
    text = nullptr;
  }
}
