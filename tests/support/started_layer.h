// The layer, started for a test with a layer profile in a folder of its own, and shut down at the end.
#pragma once

#include <cstdlib>
#include <string>

#include "nimboxi/layer.h"
#include "tests/support/temp_folder.h"

class StartedLayer {
 public:
  // `profile` is the text of nimboxi.ini; the empty one leaves the file to the layer.
  explicit StartedLayer(const std::string& profile = "", RESOURCE_FUNCTION resourceFunction = nullptr,
                        const char* programPath = "bin/program") {
    if (!profile.empty()) folder_.write("nimboxi.ini", profile);
    setenv("NIMBOXIDIR", folder_.path().c_str(), 1);
    result_ = LayerStartup(programPath, resourceFunction, 0);
    unsetenv("NIMBOXIDIR");
  }
  ~StartedLayer() { LayerShutdown(); }

  int32_t result() const { return result_; }
  const TempFolder& folder() const { return folder_; }
  std::string profile() const { return folder_.read("nimboxi.ini"); }

 private:
  TempFolder folder_;
  int32_t result_;
};
