// Where the layer profile is, and which file a profile call means. The path has a fixed place, so that no
// call needs memory to know it.
#include "compat/services/profile/profile_path.h"

#include <cstdio>
#include <cstring>

#include "nimboxi/modules.h"

namespace nimboxi {
namespace {

// Room for the longest path of a folder, a slash and the name. Empty until it is known.
char layerPath[MAX_PATH_BYTES + 16] NIMBOXI_GUARDED_BY(layerGuard);

}  // namespace

void setLayerProfilePath(const char* path) {
  CallGuard guard;
  std::snprintf(layerPath, sizeof layerPath, "%s", path == nullptr ? "" : path);
}

const char* layerProfilePath() {
  if (layerPath[0] == '\0') {
    char program[MAX_PATH_BYTES] = "";
    GetModuleFileName(MAIN_MODULE_HANDLE, program, sizeof program);
    const std::string_view folder = layerProfileFolder(program);
    std::snprintf(layerPath, sizeof layerPath, "%.*s/%s", static_cast<int>(folder.size()), folder.data(),
                  kLayerProfileName);
  }
  return layerPath;
}

std::string_view layerProfileFolder(std::string_view programPath) {
  // Required(root-profile): a program found through the search path has no directory in its name, and its
  // layer profile stands at the root of the file system.
  const std::size_t slash = programPath.rfind('/');
  return programPath.substr(0, slash == std::string_view::npos ? 0 : slash);
}

const char* ResolveProfileName(const char* fileName) {
  const char* layerProfile = layerProfilePath();
  const bool isLayerProfile =
      std::strcmp(fileName, kLayerProfileAlias) == 0 || std::strcmp(fileName, kLayerProfileName) == 0;
  return isLayerProfile ? layerProfile : fileName;
}

}  // namespace nimboxi
