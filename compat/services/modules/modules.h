// Loading and unloading modules, as the layer's start and end and the resource calls see it. Guarded by the
// layer guard.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "compat/services/modules/module_list.h"

namespace nimboxi {

// Unloads all libraries, whatever their counts, and forgets the main module.
void FreeAllLibraries() NIMBOXI_REQUIRES(layerGuard);

// The module's resource function. Looks for it when it is not bound yet, and lets it attach itself then.
// Null when the module, which may be null, has none.
RESOURCE_FUNCTION BindResourceFunction(ModuleRecord* module) NIMBOXI_REQUIRES(layerGuard);

// The file name of a library: cut at its last dot and ".so" added.
std::string libraryFileName(std::string_view name);

}  // namespace nimboxi
