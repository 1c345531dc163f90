// Modules (the main program, and libraries loaded at run time) and their resources. Every call enters the
// call guard and sets last error 0 first. A module answers for its resources with the function `OSresFunc`.
// That, and whatever runs when a library is loaded or unloaded, runs inside the guard: it must not wait for a
// thread that needs the layer.
#pragma once

#include "nimboxi/types.h"

// Operation codes of a module's resource function.
inline constexpr intptr_t RESOURCE_FIND = 0;
inline constexpr intptr_t RESOURCE_LOAD = 1;
inline constexpr intptr_t RESOURCE_FREE = 2;
inline constexpr intptr_t RESOURCE_LOCK = 3;
inline constexpr intptr_t RESOURCE_UNLOCK = 4;
inline constexpr intptr_t RESOURCE_SIZE = 5;
inline constexpr intptr_t RESOURCE_LOAD_STRING = 6;
inline constexpr intptr_t RESOURCE_CONSTANT = 7;
inline constexpr intptr_t RESOURCE_HIGHEST_ID = 8;
inline constexpr intptr_t RESOURCE_ATTACH = 9;
inline constexpr intptr_t RESOURCE_DETACH = 10;

// Resource types.
inline constexpr uintptr_t RT_CURSOR = 1;
inline constexpr uintptr_t RT_BITMAP = 2;
inline constexpr uintptr_t RT_DIALOG = 5;
inline constexpr uintptr_t RT_STRING = 6;
inline constexpr uintptr_t RT_RCDATA = 10;

extern "C" {

// A module's resource function; the layer calls it inside the call guard.
typedef intptr_t (*RESOURCE_FUNCTION)(intptr_t operation, intptr_t a, intptr_t b, intptr_t c);

// A library's optional entry point "DllMain": reason 1 when it has been loaded, 0 before it is unloaded.
typedef intptr_t (*MODULE_ENTRY)(HMODULE module, intptr_t reason, intptr_t load);

struct ResourceInfo;  // a resource that was found, and after LoadResource loaded

// Loads a library, or counts one more use of it. The name is cut at its last dot, unless that is its first
// byte, and gets ".so"; the dynamic loader then looks for it in its own places.
// Returns the module; 0 for a null or empty name; 0 with last error 31 and the loader's message as the error
// text when it cannot be loaded.
HMODULE LoadLibrary(const char* name);

// Ends one use of a library and unloads it with the last, unless the setting "NoFreeLib" keeps all. The main
// program is merely forgotten, with its resources. Returns 1, or 0 for an unknown module.
BOOL FreeLibrary(HMODULE module);

// The address of a library's symbol; null when it has none, for a null argument and for the main program.
//   module  what LoadLibrary returned, and still loaded: other values are not noticed
void* GetProcAddress(HMODULE module, const char* symbol);

// The module with a name as LoadLibrary takes it, or 0. A relative name counts from the directory of the
// layer profile. A module that was loaded by a name without a directory is found by it in any directory; one
// that was loaded by a relative name with a directory is never found. Last error: 8 without memory.
HMODULE GetModuleHandle(const char* name);

// Copies the module's name: the program path as the command line had it, or the library name that was loaded.
//   buffer  holds at least MAX_PATH_BYTES; no name is longer
//   size    not used
// Returns the name's length; 0 and an empty name for an unknown module.
DWORD GetModuleFileName(HMODULE module, char* buffer, DWORD size);

// Finds a resource by number, or by name for raw data and named types.
//   type  a number of the RT_ values, or a pointer to the type's name
// Returns what the next calls take; null when there is none, and without memory (last error 8). FreeResource
// frees it.
ResourceInfo* FindResource(HMODULE module, const char* name, const char* type);

// Loads a found resource; one that is loaded stays as it is. Returns `resource` itself, loaded or not; null
// for a null one and for a module that is unknown or has no resource function.
ResourceInfo* LoadResource(HMODULE module, ResourceInfo* resource);

// The data of a loaded resource, owned by it and valid until FreeResource or until its module is unloaded;
// null when there is none, and after that.
void* LockResource(ResourceInfo* resource);

// Tells the module that the data is not looked at any more. Returns 1; 0 for null.
BOOL UnlockResource(ResourceInfo* resource);

// Frees a resource, loaded or merely found. Returns 1; 0 for null.
BOOL FreeResource(ResourceInfo* resource);

// The size of a resource in bytes; 0 for null, and once its module has been unloaded. `module` is not used.
DWORD SizeofResource(HMODULE module, ResourceInfo* resource);

// Copies the text of string resource `id` into `buffer`. What follows holds for modules that answer as they
// should; the result is their own.
//   size  bytes that `buffer` holds
// Returns the number of characters, or `size` when the text had to be cut to `size` - 1; 0 and an empty text
// without such a string; 0 and an untouched buffer for a module that is unknown or has no resource function.
int32_t LoadString(HMODULE module, DWORD id, char* buffer, int32_t size);
}
