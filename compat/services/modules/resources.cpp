// The resource calls. Each asks the resource function of the resource's module, inside the guard.
#include <new>

#include "compat/services/modules/modules.h"
#include "nimboxi/errors.h"
#include "nimboxi/memory.h"

struct ResourceInfo {
  std::uint64_t module;  // its serial number
  intptr_t found;        // what the module's find operation gave
  intptr_t loaded;       // what its load operation gave; 0 until then
};

namespace nimboxi {
namespace {

// Asks the module of a resource about one of its values; 0 when the module has been unloaded since.
intptr_t askModule(const ResourceInfo* resource, intptr_t operation, intptr_t value)
    NIMBOXI_REQUIRES(layerGuard) {
  const ModuleRecord* module = findModuleBySerial(resource->module);
  if (module == nullptr || module->resourceFunction == nullptr) return 0;
  return module->resourceFunction(operation, 0, value, 0);
}

}  // namespace
}  // namespace nimboxi

using namespace nimboxi;

ResourceInfo* FindResource(HMODULE module, const char* name, const char* type) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  ModuleRecord* record = findModule(module);
  RESOURCE_FUNCTION function = BindResourceFunction(record);
  if (function == nullptr) return nullptr;
  const intptr_t found =
      function(RESOURCE_FIND, reinterpret_cast<intptr_t>(name), reinterpret_cast<intptr_t>(type), 0);
  if (found == 0) return nullptr;
  void* block = AllocBlock(BLOCK_ZEROED, sizeof(ResourceInfo));
  return block == nullptr ? nullptr : new (block) ResourceInfo{record->serial, found, 0};
}

ResourceInfo* LoadResource(HMODULE module, ResourceInfo* resource) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  RESOURCE_FUNCTION function = BindResourceFunction(findModule(module));
  if (function == nullptr || resource == nullptr) return nullptr;
  // Loaded once: what LockResource gave stays valid, and FreeResource frees all there is.
  if (resource->loaded == 0 && findModuleBySerial(resource->module) != nullptr) {
    resource->loaded = function(RESOURCE_LOAD, resource->found, 0, 0);
  }
  return resource;
}

void* LockResource(ResourceInfo* resource) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (resource == nullptr) return nullptr;
  return reinterpret_cast<void*>(askModule(resource, RESOURCE_LOCK, resource->loaded));
}

BOOL UnlockResource(ResourceInfo* resource) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (resource == nullptr) return FALSE;
  askModule(resource, RESOURCE_UNLOCK, resource->loaded);
  return TRUE;
}

BOOL FreeResource(ResourceInfo* resource) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (resource == nullptr) return FALSE;
  askModule(resource, RESOURCE_FREE, resource->loaded);
  FreeBlock(resource);
  return TRUE;
}

DWORD SizeofResource(HMODULE /*module*/, ResourceInfo* resource) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (resource == nullptr) return 0;
  return static_cast<DWORD>(askModule(resource, RESOURCE_SIZE, resource->found));
}

int32_t LoadString(HMODULE module, DWORD id, char* buffer, int32_t size) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  RESOURCE_FUNCTION function = BindResourceFunction(findModule(module));
  if (function == nullptr) return 0;
  return static_cast<int32_t>(
      function(RESOURCE_LOAD_STRING, static_cast<intptr_t>(id), reinterpret_cast<intptr_t>(buffer), size));
}
