// Where the layer profile is, and which file a profile call means. The path is leaked at exit.
#include "compat/services/profile/profile_path.h"

#include <cstring>

#include "nimboxi/modules.h"

namespace nimboxi {
namespace {

constexpr const char* kLayerProfileName = "nimboxi.ini";

std::string* layerPath NIMBOXI_GUARDED_BY(layerGuard) = nullptr;

}  // namespace

void setLayerProfilePath(const char* path) {
  CallGuard guard;
  if (layerPath == nullptr) layerPath = new std::string;
  *layerPath = path == nullptr ? "" : path;
}

const std::string& layerProfilePath() {
  if (layerPath == nullptr) layerPath = new std::string;
  if (layerPath->empty()) {
    char program[MAX_PATH_BYTES] = "";
    GetModuleFileName(MAIN_MODULE_HANDLE, program, sizeof program);
    *layerPath = layerProfilePathBeside(program);
  }
  return *layerPath;
}

std::string layerProfilePathBeside(std::string_view programPath) {
  // Required(root-profile): a program found through the search path has no directory in its name, and its
  // layer profile stands at the root of the file system.
  const std::size_t slash = programPath.rfind('/');
  std::string path(programPath.substr(0, slash == std::string_view::npos ? 0 : slash));
  return path.append("/").append(kLayerProfileName);
}

const char* ResolveProfileName(const char* fileName) {
  const bool isLayerProfile =
      std::strcmp(fileName, kLayerProfileAlias) == 0 || std::strcmp(fileName, kLayerProfileName) == 0;
  const std::string& layerProfile = layerProfilePath();
  return isLayerProfile ? layerProfile.c_str() : fileName;
}

}  // namespace nimboxi
