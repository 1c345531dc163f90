// The layer's start and end, and its texts.
#pragma once

#include "nimboxi/modules.h"
#include "nimboxi/types.h"

inline constexpr int32_t LAYER_FONTS_FAILED =
    3;  // LayerStartup: the font configuration cannot be initialised
inline constexpr int32_t LOCALIZED_TEXT_COUNT = 135;

extern "C" {

// Starts the layer: first thing, before other threads use it; again only after LayerShutdown. Reads the layer
// profile "nimboxi.ini" (in the directory that NIMBOXIDIR names, else in the program's) and writes what is
// missing there.
//   programPath       the command line's argument 0, exactly as given; null stands for the empty string
//   resourceFunction  answers for the main module's resources; may be null
//   runWithoutLock    0: the layer has its lock; else only one thread may use it
// Returns 0, or LAYER_FONTS_FAILED after shutting itself down again.
int32_t LayerStartup(const char* programPath, RESOURCE_FUNCTION resourceFunction, int32_t runWithoutLock);

// Ends the layer: frees the texts, the libraries and the lock. The calling thread is the only one in the
// layer: all others have come out of their last call before, none comes in meanwhile, and it is not between
// EnterLayer and LeaveLayer itself. Afterwards calls still work and take no lock, so one thread alone may
// make them; those that need what was freed find nothing. A second call does nothing harmful.
void LayerShutdown();

// The layer's user-interface text number `index` + 1, 0 to 134; null outside, and when there is none. Owned
// by the layer, valid until the text is set again or freed, at the latest by LayerShutdown. The two are the
// same.
const char* GetLocalizedText(int32_t index);
const char* GetLocalizedTextByIndex(int32_t index);

// Replaces a text by a copy; an index outside 0 to 134 or a null text is ignored, and without memory the old
// one stays. A text set before LayerStartup stays through it.
void SetLocalizedText(int32_t index, const char* text);

// Frees all texts; the getters give null from then on.
void FreeLocalizedTexts();
}
