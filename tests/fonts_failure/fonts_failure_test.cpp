// The layer's start when the font configuration cannot be initialised: this program's own FcInit fails.
#include <fontconfig/fontconfig.h>
#include <gtest/gtest.h>

#include "compat/services/layer/startup.h"
#include "tests/support/started_layer.h"

extern "C" FcBool FcInit() {
  return FcFalse;
}

// Pins(started-without-fonts)
TEST(FontsFailure, ShutsTheLayerDownAndTellsIt) {
  StartedLayer layer;
  EXPECT_EQ(layer.result(), LAYER_FONTS_FAILED);
  EXPECT_NE(layer.profile().find("135=Restore defaults\r\n"), std::string::npos) << "fonts start last";
  nimboxi::CallGuard guard;
  EXPECT_EQ(nimboxi::guardDepth(), 0U) << "no lock, so no guard";
  EXPECT_TRUE(nimboxi::layerState.started && nimboxi::layerState.shuttingDown);
}
