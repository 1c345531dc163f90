// Starting and ending the font configuration library.
#include "compat/services/layer/fonts.h"

#include <fontconfig/fontconfig.h>

#include "nimboxi/layer.h"

namespace nimboxi {
namespace {

bool fontsStarted NIMBOXI_GUARDED_BY(layerGuard) = false;

}  // namespace

int32_t startFonts() {
  if (!fontsStarted) fontsStarted = FcInit() == FcTrue;
  return fontsStarted ? 0 : LAYER_FONTS_FAILED;
}

void stopFonts() {
  if (fontsStarted) FcFini();
  fontsStarted = false;
}

}  // namespace nimboxi
