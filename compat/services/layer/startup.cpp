// The order of the layer's start and end.
#include "compat/services/layer/startup.h"

#include <cstring>

#include "compat/services/errors/last_error.h"
#include "compat/services/layer/fonts.h"
#include "compat/services/layer/layer_settings.h"
#include "compat/services/layer/printing.h"
#include "compat/services/layer/settings_reader.h"
#include "compat/services/modules/modules.h"
#include "compat/services/profile/profile_files.h"
#include "compat/services/profile/profile_path.h"
#include "nimboxi/errors.h"
#include "nimboxi/layer.h"
#include "nimboxi/memory.h"
#include "nimboxi/system.h"
#include "nimboxi/text.h"

namespace nimboxi {

constinit LayerState layerState;

namespace {

// NIMBOXIDIR names the directory of the layer profile; one that is too long counts as not set.
void takeProfileDirectory() {
  char path[MAX_PATH_BYTES + sizeof kLayerProfileName] = "";
  GetEnvironmentVariable("NIMBOXIDIR", path, MAX_PATH_BYTES);
  if (path[0] != '\0') setLayerProfilePath(lstrcat(lstrcat(path, "/"), kLayerProfileName));
}

void keepProgramPath(const char* programPath) NIMBOXI_REQUIRES(layerGuard) {
  FreeBlock(layerState.programPath);
  layerState.programPath = static_cast<char*>(AllocBlock(BLOCK_ZEROED, MAX_PATH_BYTES));
  if (layerState.programPath == nullptr) return;
  std::memcpy(layerState.programPath, programPath, strnlen(programPath, MAX_PATH_BYTES - 1));
}

// 1. Reset what an earlier life of the layer left behind.
// 2. Find the layer profile and register the main module, whose directory is the profile's other place.
// 3. Read the settings, then the layer settings, which completes the profile.
// 4. Start the fonts.
// Returns 0, or why the fonts failed.
int32_t startServices(const char* programPath, RESOURCE_FUNCTION resourceFunction) {
  CallGuard guard;
  resetLayerSettings();
  layerState.shuttingDown = false;
  takeProfileDirectory();
  keepProgramPath(programPath);
  RegisterMainModule(programPath, resourceFunction);
  readSetupSettings();
  ReadLayerSettings();
  return startFonts();
}

}  // namespace
}  // namespace nimboxi

using namespace nimboxi;

int32_t LayerStartup(const char* programPath, RESOURCE_FUNCTION resourceFunction, int32_t runWithoutLock) {
  createErrorStateKey();
  if (runWithoutLock == 0) createLayerLock();
  const int32_t fonts = startServices(programPath == nullptr ? "" : programPath, resourceFunction);
  if (fonts != 0) LayerShutdown();
  startPrinting();
  CallGuard guard;
  // Required(started-without-fonts): the layer counts as started also after its fonts failed.
  layerState.started = true;
  return fonts;
}

// 1. Inside the guard: fonts, texts, program path, error text, modules, printing, the profile cache. Calls
//    that come later find nothing there.
// 2. Outside: the lock itself, which no other thread wants any more.
void LayerShutdown() {
  {
    CallGuard guard;
    layerState.started = false;
    layerState.shuttingDown = true;
    stopFonts();
    FreeLocalizedTexts();
    FreeBlock(layerState.programPath);
    layerState.programPath = nullptr;
    SetLastErrorText(nullptr);
    FreeAllLibraries();
    stopPrinting();
    dropProfileCache();
  }
  destroyLayerLock();
}
