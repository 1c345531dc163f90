// The path of the layer profile, and the names that stand for it. Guarded by the layer guard.
#pragma once

#include <string_view>

#include "compat/core/call_guard.h"

namespace nimboxi {

// The layer profile's own name, and the other one that stands for it in a profile call.
inline constexpr char kLayerProfileName[] = "nimboxi.ini";
inline constexpr const char* kLayerProfileAlias = "win.ini";

// Sets the full path of the layer profile, which NIMBOXIDIR and the name are not too long for. Called by
// LayerStartup with a path under NIMBOXIDIR; null or the empty string: the first use computes it from the
// program's own path.
void setLayerProfilePath(const char* path);

// The full path of the layer profile. Valid until it is set anew.
const char* layerProfilePath() NIMBOXI_REQUIRES(layerGuard);

// The folder of a program's layer profile, without a closing slash: its own, by the path that its command
// line had.
std::string_view layerProfileFolder(std::string_view programPath);

// The path of the file that a profile call means by `fileName`, which is not null: the layer profile for
// "win.ini" and "nimboxi.ini", else the name itself. Valid as long as the name and until the layer profile
// path is set anew.
const char* ResolveProfileName(const char* fileName) NIMBOXI_REQUIRES(layerGuard);

}  // namespace nimboxi
