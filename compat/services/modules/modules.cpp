// Loading, unloading and finding modules by name, binding their resource functions.
#include "compat/services/modules/modules.h"

#include <dlfcn.h>

#include <cstring>
#include <new>

#include "compat/core/errors/fail.h"
#include "compat/services/layer/layer_settings.h"
#include "compat/services/profile/profile_path.h"

namespace nimboxi {
namespace {

constexpr std::intptr_t kReasonLoaded = 1;
constexpr std::intptr_t kReasonUnload = 0;

void callEntry(HMODULE handle, std::intptr_t reason) {
  if (void* symbol = dlsym(handle, "DllMain")) {
    reinterpret_cast<MODULE_ENTRY>(symbol)(handle, reason, reason);
  }
}

std::string directoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(0, slash);
}

// The module that LoadLibrary would take for `name`. A relative name is looked for in the directory of the
// layer profile. A record whose own name is relative is compared with the last part alone: one without a
// directory is found in any, one with a directory never.
ModuleRecord* FindModuleByName(std::string_view name) NIMBOXI_REQUIRES(layerGuard) {
  std::string path(name);
  if (!name.starts_with('/')) path = directoryOf(layerProfilePath()).append("/").append(name);
  path = libraryFileName(path);
  const std::size_t slash = path.rfind('/');
  const bool hasBaseName = slash != 0 && slash != std::string::npos;
  const char* baseName = path.c_str() + (hasBaseName ? slash + 1 : 0);
  for (ModuleRecord* record = firstModule(); record != nullptr; record = record->next) {
    const bool isWhole = record->name[0] == '/';
    if (!isWhole && !hasBaseName) continue;
    if (std::strcmp(record->name, isWhole ? path.c_str() : baseName) == 0) return record;
  }
  return nullptr;
}

HMODULE failLoading(const char* text) {
  SetLastErrorText(text);
  return fail<HMODULE>(ERROR_GEN_FAILURE);
}

HMODULE openLibrary(const std::string& fileName) NIMBOXI_REQUIRES(layerGuard) {
  HMODULE handle = dlopen(fileName.c_str(), RTLD_LAZY);
  if (handle == nullptr) return failLoading(dlerror());
  if (appendModule(fileName, handle) == nullptr) {
    dlclose(handle);
    return failLoading("Not enough memory");
  }
  callEntry(handle, kReasonLoaded);
  SetLastError(ERROR_SUCCESS);
  return handle;
}

HMODULE loadLibrary(const std::string& fileName) NIMBOXI_REQUIRES(layerGuard) {
  if (fileName.size() >= MAX_PATH_BYTES) return failLoading("The library name is too long");
  ModuleRecord* record = FindModuleByName(fileName);
  if (record == nullptr) return openLibrary(fileName);
  if (record->refCount < INT32_MAX) ++record->refCount;
  return record->handle;
}

void unload(ModuleRecord* record) NIMBOXI_REQUIRES(layerGuard) {
  HMODULE handle = record->handle;
  removeModule(record);
  if (handle == MAIN_MODULE_HANDLE) return;
  dlclose(handle);
}

}  // namespace

void FreeAllLibraries() {
  layerSettings.noFreeLib = false;
  while (const ModuleRecord* first = firstModule()) FreeLibrary(first->handle);
}

RESOURCE_FUNCTION BindResourceFunction(ModuleRecord* module) {
  if (module == nullptr) return nullptr;
  const bool isLibrary = module->handle != MAIN_MODULE_HANDLE && module->handle != nullptr;
  if (module->resourceFunction == nullptr && isLibrary) {
    module->resourceFunction = reinterpret_cast<RESOURCE_FUNCTION>(dlsym(module->handle, "OSresFunc"));
    if (module->resourceFunction != nullptr) {
      module->resourceFunction(RESOURCE_ATTACH, reinterpret_cast<intptr_t>(module->handle), 0, 0);
    }
  }
  return module->resourceFunction;
}

std::string libraryFileName(std::string_view name) {
  // Required(directory-dot): the dot of a directory counts when the last part has none: "lib/x.d/engine"
  // becomes "lib/x.so".
  const std::size_t dot = name.rfind('.');
  const bool isCut = dot != std::string_view::npos && dot != 0;
  return std::string(name.substr(0, isCut ? dot : name.size())).append(".so");
}

}  // namespace nimboxi

using namespace nimboxi;

HMODULE LoadLibrary(const char* name) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (name == nullptr || *name == '\0') return nullptr;
  try {
    return loadLibrary(libraryFileName(name));
  } catch (const std::bad_alloc&) {
    return failLoading("Not enough memory");
  }
}

BOOL FreeLibrary(HMODULE module) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  ModuleRecord* record = findModule(module);
  if (record == nullptr) return FALSE;
  if (layerSettings.noFreeLib) return TRUE;
  if (record->refCount == 1 && module != MAIN_MODULE_HANDLE) {
    const std::uint64_t serial = record->serial;
    if (record->resourceFunction != nullptr) record->resourceFunction(RESOURCE_DETACH, 0, 0, 0);
    callEntry(module, kReasonUnload);
    record = findModuleBySerial(serial);
    if (record == nullptr) return TRUE;  // it has freed itself in there
  }
  if (--record->refCount == 0) unload(record);
  return TRUE;
}

void* GetProcAddress(HMODULE module, const char* symbol) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  // The main program's handle is none of the dynamic loader's, which would read through it.
  if (module == nullptr || module == MAIN_MODULE_HANDLE || symbol == nullptr) return nullptr;
  return dlsym(module, symbol);
}

HMODULE GetModuleHandle(const char* name) {
  CallGuard guard;
  SetLastError(ERROR_SUCCESS);
  if (name == nullptr) return nullptr;
  try {
    const ModuleRecord* record = FindModuleByName(name);
    return record == nullptr ? nullptr : record->handle;
  } catch (const std::bad_alloc&) {
    return fail<HMODULE>(ERROR_NOT_ENOUGH_MEMORY);
  }
}
