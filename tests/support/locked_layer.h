// The layer's key and its lock alone, for tests that need neither settings nor fonts, and a layer profile
// that gives ports their devices. The working directory is a folder of its own meanwhile.
#pragma once

#include <string>

#include "compat/core/call_guard.h"
#include "compat/services/errors/last_error.h"
#include "compat/services/profile/profile_files.h"
#include "compat/services/profile/profile_path.h"
#include "tests/support/temp_folder.h"

class LockedLayer {
 public:
  LockedLayer() {
    nimboxi::createErrorStateKey();
    nimboxi::createLayerLock();
    setPorts("");
    std::filesystem::current_path(folder_.path());
  }
  ~LockedLayer() {
    std::filesystem::current_path(before_);
    nimboxi::dropProfileCache();
    nimboxi::setLayerProfilePath(nullptr);
    nimboxi::destroyLayerLock();
  }

  // Lines of the profile's section "Ports".
  void setPorts(const std::string& lines) {
    nimboxi::setLayerProfilePath(folder_.write("nimboxi.ini", "[Ports]\n" + lines).c_str());
    nimboxi::dropProfileCache();
  }
  const TempFolder& folder() const { return folder_; }

 private:
  TempFolder folder_;
  std::filesystem::path before_ = std::filesystem::current_path();
};
