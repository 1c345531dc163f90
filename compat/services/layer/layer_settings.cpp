// The layer's settings and their built-in values.
#include "compat/services/layer/layer_settings.h"

namespace nimboxi {
namespace {

constexpr std::uint32_t kBuiltInVersion = 4;

}  // namespace

constinit LayerSettings layerSettings;
constinit std::atomic<std::uint32_t> layerVersion{kBuiltInVersion};

void resetLayerSettings() {
  layerSettings = LayerSettings{};
  layerVersion.store(kBuiltInVersion, std::memory_order_relaxed);
}

}  // namespace nimboxi
