// The layer's user-interface texts. A slot that SetLocalizedText filled keeps its text when the profile is
// read.
#pragma once

#include <array>

#include "compat/core/call_guard.h"
#include "nimboxi/layer.h"

namespace nimboxi {

// The texts in English, by index: text number 1 first. An underscore stands for a line break.
extern const std::array<const char*, LOCALIZED_TEXT_COUNT> kBuiltInTexts;

// Fills the empty slots from the keys "1" to "135" of a section of the layer profile, and writes the keys
// that are missing or empty there with the built-in texts.
void readLocalizedTexts(const char* section) NIMBOXI_REQUIRES(layerGuard);

}  // namespace nimboxi
