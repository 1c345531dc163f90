// The layer's own settings and their built-in values; settings_reader fills them from the layer profile.
// Guarded by the layer guard but for the version, which is asked for outside.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "compat/core/call_guard.h"

namespace nimboxi {

inline constexpr std::size_t kColourCount = 63;
using ColourTable = std::array<std::uint32_t, kColourCount>;  // red in the low byte, then green, then blue

inline constexpr ColourTable kBuiltInColours = {
    14208192, 8421376,  8388608,  8421504, 15724527, 16777215, 0,        0,        0,
    16777215, 15724527, 15724527, 8421504, 12937777, 16777215, 15724527, 8421504,  8421504,
    0,        15724527, 16777215, 0,       15724527, 0,        14811135, 12164479, 0,
    0,        0,        0,        0,       8388608,  32768,    8421376,  128,      8388736,
    32896,    8421504,  16711680, 65280,   16776960, 255,      16711935, 65535,    12632256,
    16777215, 16777215, 0,        0,       0,        8421376,  15724527, 8421504,  16777215,
    16777215, 16777215, 8388608,  0,       0,        0,        0,        0,        0};

// What nothing here reads is kept for graphical programs: the override, the printing margins, the resolution.
struct LayerSettings {
  std::uint8_t useOverride = 0;
  std::uint32_t xPrinterMargin = 10;
  std::uint32_t yPrinterMargin = 10;
  std::uint32_t xResolution = 96;  // of the display, in dots per inch
  std::uint32_t yResolution = 96;
  std::uint32_t bellLevel = 100;
  ColourTable colours = kBuiltInColours;
  bool noFreeLib = false;  // FreeLibrary leaves libraries loaded
  std::uint32_t timerRate = 50;
};

extern LayerSettings layerSettings NIMBOXI_GUARDED_BY(layerGuard);

// Atomic, as GetVersion does not enter the guard.
extern std::atomic<std::uint32_t> layerVersion;

// Sets all settings to their built-in values.
void resetLayerSettings() NIMBOXI_REQUIRES(layerGuard);

}  // namespace nimboxi
