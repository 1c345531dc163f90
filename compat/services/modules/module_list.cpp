// The list of modules: registering, finding and naming them.
#include "compat/services/modules/module_list.h"

#include <algorithm>
#include <cstring>

#include "compat/services/system/ticks.h"
#include "nimboxi/errors.h"
#include "nimboxi/memory.h"

namespace nimboxi {
namespace {

ModuleRecord* moduleList NIMBOXI_GUARDED_BY(layerGuard) = nullptr;
std::uint64_t lastSerial NIMBOXI_GUARDED_BY(layerGuard) = 0;

// The name cut to what a path buffer holds, in a block; null without memory.
char* newName(std::string_view name) {
  const std::size_t length = std::min<std::size_t>(name.size(), MAX_PATH_BYTES - 1);
  auto* copy = static_cast<char*>(AllocBlock(BLOCK_ZEROED, static_cast<std::int32_t>(length + 1)));
  if (copy != nullptr) std::memcpy(copy, name.data(), length);
  return copy;
}

}  // namespace

void RegisterMainModule(const char* programPath, RESOURCE_FUNCTION resourceFunction) {
  startTickCount();
  ModuleRecord* record = appendModule(programPath, MAIN_MODULE_HANDLE);
  if (record != nullptr) record->resourceFunction = resourceFunction;
}

ModuleRecord* appendModule(std::string_view name, HMODULE handle) {
  auto* record = static_cast<ModuleRecord*>(AllocBlock(BLOCK_ZEROED, sizeof(ModuleRecord)));
  char* copy = newName(name);
  if (record == nullptr || copy == nullptr) {
    FreeBlock(record);
    FreeBlock(copy);
    return nullptr;
  }
  record->name = copy;
  record->handle = handle;
  record->refCount = 1;
  record->serial = ++lastSerial;
  ModuleRecord** end = &moduleList;
  while (*end != nullptr) end = &(*end)->next;
  *end = record;
  return record;
}

void removeModule(ModuleRecord* record) {
  ModuleRecord** link = &moduleList;
  while (*link != nullptr && *link != record) link = &(*link)->next;
  if (*link != nullptr) *link = record->next;
  FreeBlock(record->name);
  FreeBlock(record);
}

ModuleRecord* firstModule() {
  return moduleList;
}

ModuleRecord* findModule(HMODULE handle) {
  ModuleRecord* record = moduleList;
  while (record != nullptr && record->handle != handle) record = record->next;
  return record;
}

ModuleRecord* findModuleBySerial(std::uint64_t serial) {
  ModuleRecord* record = moduleList;
  while (record != nullptr && record->serial != serial) record = record->next;
  return record;
}

}  // namespace nimboxi

using namespace nimboxi;

DWORD GetModuleFileName(HMODULE module, char* buffer, DWORD /*size*/) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  const ModuleRecord* record = findModule(module);
  const char* name = record == nullptr ? "" : record->name;
  const std::size_t length = std::strlen(name);
  std::memcpy(buffer, name, length + 1);
  return static_cast<DWORD>(length);
}
