// The module list, as the layer's start and end see it. Guarded by the layer guard.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "compat/core/call_guard.h"
#include "nimboxi/modules.h"

namespace nimboxi {

// One loaded module. In the list in order of registration, the main module first.
struct ModuleRecord {
  char* name;  // a block: the program path, or the name that the dynamic loader was given
  HMODULE handle;
  RESOURCE_FUNCTION resourceFunction;  // null until bound
  std::int32_t refCount;
  ModuleRecord* next;
};

// Sets the number of loaded libraries to 0.
void resetLoadedLibraryCount() NIMBOXI_REQUIRES(layerGuard);

// The number of libraries that are loaded.
std::uint32_t loadedLibraryCount() NIMBOXI_REQUIRES(layerGuard);

// Puts the main program into the list and takes the time from which GetTickCount counts.
//   programPath       its name, cut to MAX_PATH_BYTES - 1 bytes
//   resourceFunction  may be null; it never gets the attach operation
void RegisterMainModule(const char* programPath, RESOURCE_FUNCTION resourceFunction)
    NIMBOXI_REQUIRES(layerGuard);

// Unloads all libraries, whatever their counts, and forgets the main module.
void FreeAllLibraries() NIMBOXI_REQUIRES(layerGuard);

// The record of a module; null for an unknown one.
ModuleRecord* findModule(HMODULE handle) NIMBOXI_REQUIRES(layerGuard);

// Whether a record is still in the list; the record is not looked at.
bool isListed(const ModuleRecord* record) NIMBOXI_REQUIRES(layerGuard);

// The module's resource function. Looks for it when it is not bound yet, and lets it attach itself then.
// Null when the module, which may be null, has none.
RESOURCE_FUNCTION BindResourceFunction(ModuleRecord* module) NIMBOXI_REQUIRES(layerGuard);

// The file name of a library: cut at its last dot and ".so" added.
std::string libraryFileName(std::string_view name);

}  // namespace nimboxi
