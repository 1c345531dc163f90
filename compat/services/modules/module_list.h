// The list of modules, the main module first, then the libraries in the order in which they were loaded; and
// what a module is called. Owns the records. Guarded by the layer guard.
#pragma once

#include <cstdint>
#include <string_view>

#include "compat/core/call_guard.h"
#include "nimboxi/modules.h"

namespace nimboxi {

// One loaded module.
struct ModuleRecord {
  char* name;  // a block: the program path, or the name that the dynamic loader was given
  HMODULE handle;
  RESOURCE_FUNCTION resourceFunction;  // null until bound
  std::int32_t refCount;
  std::uint64_t serial;  // no other module ever has it, while a handle or an address comes back
  ModuleRecord* next;
};

// Puts the main program into the list and takes the time from which GetTickCount counts.
//   programPath       its name, cut to MAX_PATH_BYTES - 1 bytes
//   resourceFunction  may be null; it never gets the attach operation
void RegisterMainModule(const char* programPath, RESOURCE_FUNCTION resourceFunction)
    NIMBOXI_REQUIRES(layerGuard);

// Adds a module with a count of 1 at the list's end, its name cut to MAX_PATH_BYTES - 1 bytes; null without
// memory.
ModuleRecord* appendModule(std::string_view name, HMODULE handle) NIMBOXI_REQUIRES(layerGuard);

// Takes a record out of the list and frees it.
void removeModule(ModuleRecord* record) NIMBOXI_REQUIRES(layerGuard);

// The list's head; null when it is empty.
ModuleRecord* firstModule() NIMBOXI_REQUIRES(layerGuard);

// The record of a module; null for an unknown one.
ModuleRecord* findModule(HMODULE handle) NIMBOXI_REQUIRES(layerGuard);

// The record with this serial number; null once it has left the list.
ModuleRecord* findModuleBySerial(std::uint64_t serial) NIMBOXI_REQUIRES(layerGuard);

}  // namespace nimboxi
